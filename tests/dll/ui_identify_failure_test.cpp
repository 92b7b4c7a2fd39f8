// The system cannot name the provider's own file. No path brings this about, so the provider's import of the
// function that tells the name is replaced in the loaded module.

#if defined(_WIN32)  // a build for another system has no table of imports

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

constexpr std::size_t kNameCharacters = 130;
constexpr wchar_t kUntouched = 0xA5A5;

/// Leads a function that a loaded module imports by name to another one, as long as this object lives.
class replaced_import {
  public:
    replaced_import(HMODULE module, const char* name, void* replacement)
        : slot_(Find(reinterpret_cast<std::byte*>(module), name)) {
        if (slot_ != nullptr) {
            original_ = Exchange(replacement);
        }
    }
    ~replaced_import() {
        if (slot_ != nullptr) {
            (void)Exchange(original_);
        }
    }
    replaced_import(const replaced_import&) = delete;
    replaced_import& operator=(const replaced_import&) = delete;

    [[nodiscard]] bool IsInPlace() const { return slot_ != nullptr; }

  private:
    template <class T>
    static T* At(std::byte* base, std::size_t offset) {
        return reinterpret_cast<T*>(base + offset);
    }

    /// Where the module keeps the address of the function; null when it does not import it.
    static void** Find(std::byte* base, const char* name) {
        const auto header_offset = static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(base, 0)->e_lfanew);
        const auto* const headers = At<IMAGE_NT_HEADERS64>(base, header_offset);
        const DWORD imports =
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
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

    void* Exchange(void* address) {
        DWORD before = 0;
        (void)VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &before);
        void* const old = *slot_;
        *slot_ = address;
        (void)VirtualProtect(slot_, sizeof *slot_, before, &before);
        return old;
    }

    void** const slot_;
    void* original_ = nullptr;
};

/// Stands in for GetModuleFileNameW.
template <DWORD kLength>
DWORD WINAPI TellLength(HMODULE, wchar_t*, DWORD) {
    return kLength;
}

class ui_identify_failure : public loaded_provider {
  protected:
    /// Asks for the name while the system answers with the function, and checks that none is written.
    LONG Identify(DWORD(WINAPI* answer)(HMODULE, wchar_t*, DWORD)) {
        const replaced_import replaced(module_.Module(), "GetModuleFileNameW",
                                       reinterpret_cast<void*>(answer));
        EXPECT_TRUE(replaced.IsInPlace());
        std::array<wchar_t, kNameCharacters> room;
        room.fill(kUntouched);
        const LONG result = module_.TSPI_providerUIIdentify(room.data());
        for (const wchar_t character : room) {
            EXPECT_EQ(character, kUntouched);
        }
        return result;
    }
};

TEST_F(ui_identify_failure, to_get_a_name_is_logged_and_told_as_no_memory) {
    log_.Skip();
    EXPECT_EQ(Identify(&TellLength<0>), kNoMemory);
    EXPECT_THAT(ManagerLog(), ElementsAre("Error getting path for UI DLL"));
    EXPECT_EQ(log_.Lines().size(), 1u);
}

TEST_F(ui_identify_failure, to_get_it_into_130_characters_is_the_same) {
    log_.Skip();
    EXPECT_EQ(Identify(&TellLength<kNameCharacters + 1>), kNoMemory);
    EXPECT_THAT(ManagerLog(), ElementsAre("Error getting path for UI DLL"));
}

TEST_F(ui_identify_failure, is_over_with_the_next_question) {
    EXPECT_EQ(Identify(&TellLength<0>), kNoMemory);
    log_.Skip();
    std::array<wchar_t, kNameCharacters> room = {};
    EXPECT_EQ(module_.TSPI_providerUIIdentify(room.data()), 0);
    EXPECT_NE(room.front(), L'\0');
    EXPECT_THAT(log_.Lines(), testing::IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test

#endif
