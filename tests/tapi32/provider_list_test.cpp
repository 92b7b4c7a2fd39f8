// The list of the machine's providers, and what a provider is asked when it is put there, taken off or
// configured.

#include <cstddef>
#include <cstring>
#include <string>

#include "platform/unique_handle.h"
#include "tests/tapi32/played_provider/played_provider.h"
#include "tests/tapi32/tapi_application_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Telephony\\Providers";

DWORD Number(const wchar_t* name) {
    DWORD number = 0;
    DWORD size = sizeof number;
    EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name, RRF_RT_REG_DWORD, nullptr, &number, &size), 0)
        << name;
    return number;
}

std::wstring Text(const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof text;
    EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name, RRF_RT_REG_SZ, nullptr, text, &size), 0) << name;
    return text;
}

TEST_F(provider_list, names_each_provider_as_often_as_it_was_added) {
    EXPECT_THAT(ListedIds(), IsEmpty());
    const DWORD first = Add(BuiltProvider());
    const DWORD second = Add(BuiltProvider());
    EXPECT_THAT(ListedIds(), ElementsAre(first, second));
    EXPECT_EQ(lineRemoveProvider(first, nullptr), 0);
    EXPECT_THAT(ListedIds(), ElementsAre(second));
    const DWORD third = Add(BuiltProvider());
    EXPECT_THAT(ListedIds(), ElementsAre(second, third));
    EXPECT_GT(third, second);
    EXPECT_GT(second, first);
}

TEST_F(provider_list, stands_in_the_registry) {
    const DWORD first = Add(PlayedProviderFile());
    const DWORD second = Add(BuiltProvider());
    EXPECT_EQ(lineRemoveProvider(first, nullptr), 0);
    EXPECT_EQ(Number(L"NumProviders"), 1U);
    EXPECT_EQ(Number(L"ProviderID0"), second);
    EXPECT_EQ(Text(L"ProviderFileName0"), BuiltProvider());
    EXPECT_EQ(Number(L"NextProviderID"), second + 1);
    EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"ProviderID1", RRF_RT_ANY, nullptr, nullptr, nullptr),
              ERROR_FILE_NOT_FOUND);
}

TEST_F(provider_list, is_written_where_there_is_room_for_all_of_it) {
    (void)Add(BuiltProvider());
    std::byte bytes[1024] = {};
    auto* const list = reinterpret_cast<LINEPROVIDERLIST*>(bytes);
    list->dwTotalSize = sizeof(LINEPROVIDERLIST);
    EXPECT_EQ(lineGetProviderListW(kVersion, list), 0);
    EXPECT_EQ(list->dwNumProviders, 0U);
    const DWORD needed = list->dwNeededSize;
    EXPECT_EQ(needed, sizeof(LINEPROVIDERLIST) + sizeof(LINEPROVIDERENTRY) +
                          (BuiltProvider().size() + 1) * sizeof(wchar_t));
    list->dwTotalSize = needed;
    EXPECT_EQ(lineGetProviderListW(kVersion, list), 0);
    EXPECT_EQ(list->dwNumProviders, 1U);
    EXPECT_EQ(list->dwUsedSize, needed);
    LINEPROVIDERENTRY entry;
    std::memcpy(&entry, bytes + list->dwProviderListOffset, sizeof entry);
    EXPECT_EQ(reinterpret_cast<const wchar_t*>(bytes + entry.dwProviderFilenameOffset), BuiltProvider());
    list->dwTotalSize = sizeof(LINEPROVIDERLIST) - 1;
    EXPECT_EQ(lineGetProviderListW(kVersion, list), kTooSmall);
}

TEST_F(provider_list, takes_no_file_that_is_not_a_provider) {
    DWORD id = 0;
    EXPECT_EQ(lineAddProviderW(L"missing.tsp", nullptr, &id), kFailed);
    EXPECT_EQ(lineAddProviderW(L"kernel32.dll", nullptr, &id), kFailed);
    EXPECT_THAT(ListedIds(), IsEmpty());
    EXPECT_EQ(lineRemoveProvider(4711, nullptr), kInvalidParameter);
    EXPECT_EQ(lineConfigProvider(nullptr, 4711), kInvalidParameter);
}

TEST_F(provider_list, a_provider_takes_part_in_its_installation_and_may_refuse_it) {
    const unique_module kept(LoadLibraryW(PlayedProviderFile().c_str()));
    ASSERT_TRUE(kept);
    auto& provider = reinterpret_cast<get_played_provider>(
        reinterpret_cast<void*>(GetProcAddress(kept.get(), "PlayedProvider")))();
    auto* const owner = reinterpret_cast<HWND>(0x4711);
    DWORD id = 0;
    provider.install_result = static_cast<LONG>(LINEERR_NOMULTIPLEINSTANCE);
    EXPECT_EQ(lineAddProviderW(PlayedProviderFile().c_str(), owner, &id), provider.install_result);
    EXPECT_EQ(provider.owner, owner);
    EXPECT_THAT(ListedIds(), IsEmpty());
    provider.install_result = 0;
    id = Add(PlayedProviderFile());
    EXPECT_EQ(provider.id, id);
    provider.config_result = kNotOwner;  // whatever the dialog says
    EXPECT_EQ(lineConfigProvider(owner, id), kNotOwner);
    EXPECT_EQ(provider.owner, owner);
    EXPECT_EQ(provider.id, id);
}

}  // namespace
}  // namespace brivelnox::test
