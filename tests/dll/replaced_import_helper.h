#pragma once

#include <windows.h>

namespace brivelnox::test {

/// Leads a function that a loaded module imports by name to another one, as long as this object lives. Other
/// modules keep the function as it is.
class replaced_import {
  public:
    replaced_import(HMODULE module, const char* name, void* replacement);
    ~replaced_import();
    replaced_import(const replaced_import&) = delete;
    replaced_import& operator=(const replaced_import&) = delete;

    /// False where the module does not import the function.
    [[nodiscard]] bool IsInPlace() const { return slot_ != nullptr; }

  private:
    void* Exchange(void* address);

    void** const slot_;
    void* original_ = nullptr;
};

}  // namespace brivelnox::test
