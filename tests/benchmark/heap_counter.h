#pragma once

#include <windows.h>

#include <cstdint>

#include "tests/dll/replaced_import_helper.h"

namespace brivelnox::benchmark {

/// What has been taken from the heap.
struct heap_use {
    std::int64_t allocations = 0;
    /// What was taken and not given back; negative where more was given back.
    std::int64_t bytes_kept = 0;
};

/// Counts what a module takes from the heap and gives back, as long as this object lives. What the system
/// takes for it inside its calls is not counted. There is one at a time.
class heap_counter {
  public:
    explicit heap_counter(HMODULE module);

    [[nodiscard]] heap_use Use() const;

  private:
    test::replaced_import malloc_;
    test::replaced_import calloc_;
    test::replaced_import realloc_;
    test::replaced_import strdup_;
    test::replaced_import free_;
};

}  // namespace brivelnox::benchmark
