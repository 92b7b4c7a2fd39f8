#include "tests/tapi32/stand_in/provider_list.h"

#include <cstddef>
#include <system_error>

namespace brivelnox::tapi32 {

namespace {

constexpr wchar_t kKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Telephony\\Providers";
constexpr wchar_t kCount[] = L"NumProviders";
constexpr wchar_t kNextId[] = L"NextProviderID";
constexpr wchar_t kId[] = L"ProviderID";
constexpr wchar_t kFile[] = L"ProviderFileName";

/// The value of one entry: its name and the entry's position.
std::wstring Of(const wchar_t* name, std::size_t position) {
    return name + std::to_wstring(position);
}

DWORD ReadNumber(const std::wstring& name, DWORD missing) {
    DWORD number = 0;
    DWORD size = sizeof number;
    const LSTATUS status =
        RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name.c_str(), RRF_RT_REG_DWORD, nullptr, &number, &size);
    return status == ERROR_SUCCESS ? number : missing;
}

std::wstring ReadText(const std::wstring& name) {
    std::wstring text(MAX_PATH, L'\0');
    auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    const LSTATUS status =
        RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name.c_str(), RRF_RT_REG_SZ, nullptr, text.data(), &size);
    return status == ERROR_SUCCESS ? text.substr(0, text.find(L'\0')) : std::wstring();
}

void Write(const std::wstring& name, DWORD type, const void* data, std::size_t size) {
    const LSTATUS status =
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, name.c_str(), type, data, static_cast<DWORD>(size));
    if (status != ERROR_SUCCESS) {
        throw std::system_error(status, std::system_category(), "the list of providers cannot be written");
    }
}

void WriteNumber(const std::wstring& name, DWORD number) {
    Write(name, REG_DWORD, &number, sizeof number);
}

void WriteEntry(std::size_t position, const listed_provider& entry) {
    WriteNumber(Of(kId, position), entry.id);
    Write(Of(kFile, position), REG_SZ, entry.file.c_str(), (entry.file.size() + 1) * sizeof(wchar_t));
}

}  // namespace

std::vector<listed_provider> ListedProviders() {
    std::vector<listed_provider> providers(ReadNumber(kCount, 0));
    for (std::size_t i = 0; i < providers.size(); ++i) {
        providers[i] = {ReadNumber(Of(kId, i), 0), ReadText(Of(kFile, i))};
    }
    return providers;
}

DWORD NextProviderId() {
    return ReadNumber(kNextId, 1);
}

void AddListedProvider(const std::wstring& file) {
    const DWORD id = NextProviderId();
    const DWORD count = ReadNumber(kCount, 0);
    // The count comes last: whoever reads meanwhile finds whole entries only.
    WriteNumber(kNextId, id + 1);
    WriteEntry(count, {id, file});
    WriteNumber(kCount, count + 1);
}

void RemoveListedProvider(DWORD id) {
    std::vector<listed_provider> providers = ListedProviders();
    const std::size_t before = providers.size();
    std::erase_if(providers, [id](const listed_provider& each) { return each.id == id; });
    for (std::size_t i = 0; i < providers.size(); ++i) {
        WriteEntry(i, providers[i]);
    }
    WriteNumber(kCount, static_cast<DWORD>(providers.size()));
    for (std::size_t i = providers.size(); i < before; ++i) {
        (void)RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, Of(kId, i).c_str());
        (void)RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, Of(kFile, i).c_str());
    }
}

}  // namespace brivelnox::tapi32
