// The system cannot name the provider's own file. No path brings this about, so the provider's import of the
// function that tells the name is replaced in the loaded module.

#if defined(_WIN32)  // a build for another system has no table of imports

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <array>
#include <cstddef>

#include "tests/dll/provider_fixture_helper.h"
#include "tests/dll/replaced_import_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

constexpr std::size_t kNameCharacters = 130;
constexpr wchar_t kUntouched = 0xA5A5;

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
