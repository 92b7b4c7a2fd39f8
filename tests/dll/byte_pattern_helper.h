#pragma once

// Structures compared byte by byte, by numbers alone: the layout that applications were built against must
// not depend on what the compiler's headers declare.

#include <windows.h>

#include <cstddef>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace brivelnox::test {

/// The memory of a structure, filled with 0xA5, with more of the same behind it that nobody may write to.
class patterned_structure {
  public:
    static constexpr unsigned char kPattern = 0xA5;
    static constexpr std::size_t kBehind = 128;

    /// `size` bytes belong to the structure. Its first field, the total size, is set to them.
    explicit patterned_structure(std::size_t size) : patterned_structure(size, size) {}
    /// The same with another value in the first field.
    patterned_structure(std::size_t size, std::size_t total_size);

    /// The structure as the entry points take it.
    template <class T>
    [[nodiscard]] T* As() {
        return reinterpret_cast<T*>(bytes_.data());
    }

    /// Writes 32 bits at an offset.
    patterned_structure& Set(std::size_t offset, DWORD value);
    /// Writes a text at an offset, with its terminating null.
    patterned_structure& SetText(std::size_t offset, std::wstring_view text);
    /// 32 bits at an offset.
    [[nodiscard]] DWORD At(std::size_t offset) const;

    /// Success, or a list of the offsets at which the two differ.
    friend testing::AssertionResult SameBytes(const patterned_structure& expected,
                                              const patterned_structure& actual);

  private:
    std::vector<unsigned char> bytes_;
};

testing::AssertionResult SameBytes(const patterned_structure& expected, const patterned_structure& actual);

}  // namespace brivelnox::test
