#include "tests/stress/process_figures.h"

#include <windows.h>
#include <shlobj.h>

#include <string>

#include "platform/unique_handle.h"
#include "tests/dll/process_usage_helper.h"

namespace brivelnox::stress {

namespace {

constexpr wchar_t kLogFile[] = L"\\Brivelnox\\Brivelnox.Tsp\\logs\\Brivelnox.Tsp.log";
constexpr wchar_t kEarlierSuffix[] = L".earlier";
constexpr DWORD kLargestLog = 256U << 20U;

}  // namespace

process_figures TakeFigures() {
    return {test::HandleCount(), test::PrivateBytes()};
}

void LimitProviderLog() {
    wchar_t folder[MAX_PATH] = {};
    if (SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, folder) != S_OK) {
        return;
    }
    const std::wstring path = std::wstring(folder) + kLogFile;
    WIN32_FIND_DATAW found = {};
    const unique_find search(FindFirstFileW(path.c_str(), &found));
    if (search && (found.nFileSizeHigh != 0 || found.nFileSizeLow > kLargestLog)) {
        (void)MoveFileExW(path.c_str(), (path + kEarlierSuffix).c_str(), MOVEFILE_REPLACE_EXISTING);
    }
}

}  // namespace brivelnox::stress
