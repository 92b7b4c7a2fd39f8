#include "tests/dll/replaced_import_helper.h"

#include <cstddef>
#include <cstring>

namespace brivelnox::test {

namespace {

template <class T>
T* At(std::byte* base, std::size_t offset) {
    return reinterpret_cast<T*>(base + offset);
}

/// Where the module keeps the address of the function; null when it does not import it.
void** FindSlot(std::byte* base, const char* name) {
    const auto header_offset = static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(base, 0)->e_lfanew);
    const auto* const headers = At<IMAGE_NT_HEADERS64>(base, header_offset);
    const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* from = At<IMAGE_IMPORT_DESCRIPTOR>(base, imports); from->Name != 0; ++from) {
        const auto* const names = At<IMAGE_THUNK_DATA64>(base, from->OriginalFirstThunk);
        auto* const addresses = At<void*>(base, from->FirstThunk);
        for (std::size_t i = 0; names[i].u1.AddressOfData != 0; ++i) {
            if (!IMAGE_SNAP_BY_ORDINAL64(names[i].u1.Ordinal) &&
                std::strcmp(At<IMAGE_IMPORT_BY_NAME>(base, names[i].u1.AddressOfData)->Name, name) == 0) {
                return addresses + i;
            }
        }
    }
    return nullptr;
}

}  // namespace

replaced_import::replaced_import(HMODULE module, const char* name, void* replacement)
    : slot_(FindSlot(reinterpret_cast<std::byte*>(module), name)) {
    if (slot_ != nullptr) {
        original_ = Exchange(replacement);
    }
}

replaced_import::~replaced_import() {
    if (slot_ != nullptr) {
        (void)Exchange(original_);
    }
}

void* replaced_import::Exchange(void* address) {
    DWORD before = 0;
    (void)VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &before);
    void* const old = *slot_;
    *slot_ = address;
    (void)VirtualProtect(slot_, sizeof *slot_, before, &before);
    return old;
}

}  // namespace brivelnox::test
