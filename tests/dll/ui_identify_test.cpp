// The provider names its own file as the one with its user interface.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>

#include "tests/dll/pe_image_helper.h"
#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

constexpr std::size_t kNameCharacters = 130;
constexpr wchar_t kUntouched = 0xA5A5;

/// A copy of the provider whose full path has exactly that many characters. Removed with this object.
class provider_copy {
  public:
    explicit provider_copy(std::size_t path_characters) {
        folder_ = std::filesystem::temp_directory_path() / "BrivelnoxUi";
        std::filesystem::path folder = folder_;
        const std::wstring name = L"\\Brivelnox.tsp";
        while (folder.wstring().size() + name.size() < path_characters) {
            // A folder takes at least two characters, its backslash included.
            const std::size_t missing = path_characters - folder.wstring().size() - name.size();
            const std::size_t characters = missing > 42 ? 40 : missing - 1;
            folder /= std::wstring(characters, L'd');
        }
        std::filesystem::create_directories(folder);
        path_ = folder / L"Brivelnox.tsp";
        std::filesystem::copy_file(BuiltProviderPath(), path_,
                                   std::filesystem::copy_options::overwrite_existing);
    }
    ~provider_copy() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    provider_copy(const provider_copy&) = delete;
    provider_copy& operator=(const provider_copy&) = delete;

    [[nodiscard]] std::wstring Path() const { return path_.wstring(); }

  private:
    std::filesystem::path folder_;
    std::filesystem::path path_;
};

/// The 130 characters that TAPI hands over, and some that it does not.
struct name_room {
    name_room() { characters.fill(kUntouched); }
    std::array<wchar_t, kNameCharacters + 30> characters;
};

TEST(ui_identify, writes_the_full_path_of_the_providers_own_file) {
    const provider_copy copy(90);
    ASSERT_EQ(copy.Path().size(), 90u);
    const host::provider_module module(copy.Path());
    name_room room;
    ASSERT_EQ(module.TSPI_providerUIIdentify(room.characters.data()), 0);
    EXPECT_STREQ(room.characters.data(), copy.Path().c_str());
    for (std::size_t i = kNameCharacters; i < room.characters.size(); ++i) {
        EXPECT_EQ(room.characters[i], kUntouched) << "written behind the room at " << i;
    }
}

TEST(ui_identify, fills_the_room_up_to_its_last_character) {
    const provider_copy copy(kNameCharacters - 1);
    ASSERT_EQ(copy.Path().size(), kNameCharacters - 1);
    const host::provider_module module(copy.Path());
    name_room room;
    ASSERT_EQ(module.TSPI_providerUIIdentify(room.characters.data()), 0);
    EXPECT_STREQ(room.characters.data(), copy.Path().c_str());
    EXPECT_EQ(room.characters[kNameCharacters], kUntouched);
}

TEST(ui_identify, fails_for_a_path_that_does_not_fit) {
    for (const std::size_t characters : {kNameCharacters, kNameCharacters + 1, kNameCharacters + 30}) {
        const provider_copy copy(characters);
        ASSERT_EQ(copy.Path().size(), characters);
        const host::provider_module module(copy.Path());
        name_room room;
        EXPECT_EQ(module.TSPI_providerUIIdentify(room.characters.data()), kOperationFailed) << characters;
        for (std::size_t i = kNameCharacters; i < room.characters.size(); ++i) {
            EXPECT_EQ(room.characters[i], kUntouched) << "written behind the room at " << i;
        }
    }
}

TEST(ui_identify, needs_neither_initialisation_nor_a_log_line) {
    const provider_copy copy(80);
    const host::provider_module module(copy.Path());
    const log_reader log = log_reader::OfProvider();
    name_room room;
    EXPECT_EQ(module.TSPI_providerUIIdentify(room.characters.data()), 0);
    EXPECT_EQ(module.TSPI_providerUIIdentify(nullptr), kOperationFailed);
    EXPECT_THAT(log.Lines(), testing::IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
