#include "tests/dll/byte_pattern_helper.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {

patterned_structure::patterned_structure(std::size_t size, std::size_t total_size)
    : bytes_(size + kBehind, kPattern) {
    Set(0, static_cast<DWORD>(total_size));
}

patterned_structure& patterned_structure::Set(std::size_t offset, DWORD value) {
    std::memcpy(&bytes_.at(offset), &value, sizeof value);
    return *this;
}

patterned_structure& patterned_structure::SetText(std::size_t offset, std::wstring_view text) {
    const std::wstring terminated(text);
    const std::size_t size = (terminated.size() + 1) * sizeof(wchar_t);
    (void)bytes_.at(offset + size - 1);
    std::memcpy(&bytes_.at(offset), terminated.c_str(), size);
    return *this;
}

DWORD patterned_structure::At(std::size_t offset) const {
    DWORD value = 0;
    std::memcpy(&value, &bytes_.at(offset), sizeof value);
    return value;
}

testing::AssertionResult SameBytes(const patterned_structure& expected, const patterned_structure& actual) {
    if (expected.bytes_ == actual.bytes_) {
        return testing::AssertionSuccess();
    }
    testing::AssertionResult result = testing::AssertionFailure();
    result << "expected " << expected.bytes_.size() << " bytes, got " << actual.bytes_.size() << "\n";
    const std::size_t common = std::min(expected.bytes_.size(), actual.bytes_.size());
    for (std::size_t offset = 0; offset + sizeof(DWORD) <= common; offset += sizeof(DWORD)) {
        const DWORD wanted = expected.At(offset);
        const DWORD found = actual.At(offset);
        if (wanted != found) {
            result << Text("at %u: expected 0x%08X, got 0x%08X\n", static_cast<unsigned>(offset),
                           static_cast<unsigned>(wanted), static_cast<unsigned>(found));
        }
    }
    return result;
}

}  // namespace brivelnox::test
