#pragma once

namespace brivelnox::native {

/// References to the one module that are held at this moment, beside the program's own.
long ModuleReferences();
/// Message boxes that would have been shown.
long MessageBoxes();

}  // namespace brivelnox::native
