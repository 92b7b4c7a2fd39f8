#include "tools/setup/provider_list.h"

#include <tapi.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "tools/setup/failure.h"
#include "tools/setup/tapi_library.h"

namespace brivelnox::setup {

namespace {

constexpr DWORD kTapiVersion = 0x00020002;

void Check(LONG result, const std::string& what) {
    if (result != 0) {
        std::array<char, 16> code = {};
        (void)std::snprintf(code.data(), code.size(), "0x%08lX", static_cast<unsigned long>(result));
        throw failure(what + ": TAPI answers " + code.data());
    }
}

/// Whether the entry, which may be a whole path, names the provider's file.
bool NamesTheProvider(const std::wstring& entry) {
    const std::wstring name = entry.substr(entry.find_last_of(L"\\/") + 1);
    return CompareStringOrdinal(name.c_str(), -1, kProviderFile, -1, TRUE) == CSTR_EQUAL;
}

}  // namespace

std::vector<listed_provider> tapi_provider_list::Read() {
    const unique_module tapi = LoadTapi();
    auto* const get_list = FindInTapi<decltype(lineGetProviderListW)>(tapi, "lineGetProviderListW");
    std::vector<std::byte> bytes(sizeof(LINEPROVIDERLIST));
    auto* list = reinterpret_cast<LINEPROVIDERLIST*>(bytes.data());
    for (list->dwNeededSize = sizeof *list; list->dwNeededSize > list->dwTotalSize;) {
        bytes.resize(list->dwNeededSize);
        list = reinterpret_cast<LINEPROVIDERLIST*>(bytes.data());
        list->dwTotalSize = static_cast<DWORD>(bytes.size());
        Check(get_list(kTapiVersion, list), "the provider list cannot be read");
    }
    std::vector<listed_provider> result;
    for (DWORD i = 0; i < list->dwNumProviders; ++i) {
        LINEPROVIDERENTRY entry = {};
        std::memcpy(&entry, bytes.data() + list->dwProviderListOffset + i * sizeof entry, sizeof entry);
        std::wstring file(entry.dwProviderFilenameSize / sizeof(wchar_t), L'\0');
        std::memcpy(file.data(), bytes.data() + entry.dwProviderFilenameOffset,
                    file.size() * sizeof(wchar_t));
        // The size counts the end of the string.
        result.push_back({entry.dwPermanentProviderID, file.c_str()});
    }
    return result;
}

DWORD tapi_provider_list::Add(const std::wstring& file) {
    const unique_module tapi = LoadTapi();
    DWORD id = 0;
    Check(FindInTapi<decltype(lineAddProviderW)>(tapi, "lineAddProviderW")(file.c_str(), nullptr, &id),
          "the provider list does not take the provider");
    return id;
}

void tapi_provider_list::Remove(DWORD id) {
    const unique_module tapi = LoadTapi();
    Check(FindInTapi<decltype(lineRemoveProvider)>(tapi, "lineRemoveProvider")(id, nullptr),
          "the provider list keeps the provider");
}

std::vector<DWORD> OwnEntries(provider_list& providers) {
    std::vector<DWORD> ids;
    for (const listed_provider& entry : providers.Read()) {
        if (NamesTheProvider(entry.file)) {
            ids.push_back(entry.id);
        }
    }
    return ids;
}

std::string enter_in_list::Do() {
    if (!OwnEntries(providers_).empty()) {
        return "it is there";
    }
    added_ = providers_.Add(kProviderFile);
    has_added_ = true;
    return "as number " + std::to_string(added_);
}

bool enter_in_list::Undo() {
    if (has_added_) {
        providers_.Remove(added_);
    }
    return has_added_;
}

std::string take_out_of_list::Do() {
    for (const DWORD id : OwnEntries(providers_)) {
        providers_.Remove(id);
        ++taken_;
    }
    return taken_ == 1 ? "1 entry" : std::to_string(taken_) + " entries";
}

bool take_out_of_list::Undo() {
    for (std::size_t back = 0; back < taken_; ++back) {
        (void)providers_.Add(kProviderFile);
    }
    return taken_ != 0;
}

}  // namespace brivelnox::setup
