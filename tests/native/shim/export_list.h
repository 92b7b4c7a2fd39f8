#pragma once

#include <windows.h>

#include <span>

namespace brivelnox::native {

struct exported_function {
    const char* name;
    FARPROC address;
};

/// What the provider's export list names. The build makes the table from the list.
std::span<const exported_function> ExportList();

}  // namespace brivelnox::native
