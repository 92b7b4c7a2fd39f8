#include "tools/setup/status.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/unique_handle.h"
#include "tools/console/command_words.h"
#include "tools/setup/files.h"
#include "tools/setup/path_text.h"

namespace brivelnox::setup {

namespace {

// Length, length of the value, type, and the name "VS_VERSION_INFO" with its end stand before the numbers,
// which begin at a multiple of four.
constexpr std::size_t kNumbersOffset = 40;

const char* StateName(DWORD state) {
    return state == SERVICE_RUNNING ? "runs" : state == SERVICE_STOPPED ? "is stopped" : "starts or stops";
}

}  // namespace

std::optional<std::string> FileVersion(const std::filesystem::path& file) {
    const unique_module module(
        LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
    HRSRC const found =
        module ? FindResourceW(module.get(), MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION) : nullptr;
    if (found == nullptr || SizeofResource(module.get(), found) < kNumbersOffset + sizeof(VS_FIXEDFILEINFO)) {
        return std::nullopt;
    }
    const void* const resource = LockResource(LoadResource(module.get(), found));
    if (resource == nullptr) {
        return std::nullopt;
    }
    VS_FIXEDFILEINFO numbers = {};
    std::memcpy(&numbers, static_cast<const std::byte*>(resource) + kNumbersOffset, sizeof numbers);
    std::array<char, 32> text = {};
    (void)std::snprintf(text.data(), text.size(), "%d.%d.%d.%d", HIWORD(numbers.dwFileVersionMS),
                        LOWORD(numbers.dwFileVersionMS), HIWORD(numbers.dwFileVersionLS),
                        LOWORD(numbers.dwFileVersionLS));
    return text.data();
}

bool ReportStatus(const places& where, service_manager& services, provider_list& providers,
                  const reporter& report) {
    const bool is_there = IsThere(where.provider);
    report("file           " + PathText(where.provider) + ": " +
           (is_there ? "version " + FileVersion(where.provider).value_or("unknown") : "not there"));

    std::string entries;
    const std::vector<DWORD> ids = OwnEntries(providers);
    for (const DWORD id : ids) {
        entries += (entries.empty() ? "number " : ", ") + std::to_string(id);
    }
    report("provider list  " + (entries.empty() ? "not in it" : entries));
    report("log folder     " + PathText(where.LogFolder()) +
           (IsThere(where.LogFolder()) ? "" : ": not there"));
    report(std::string("service        ") + console::ToUtf8(kTelephonyService) + " " +
           StateName(services.State(kTelephonyService)));
    return is_there && ids.size() == 1;
}

}  // namespace brivelnox::setup
