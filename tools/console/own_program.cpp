#include "tools/console/own_program.h"

#include <windows.h>
#include <shellapi.h>

namespace brivelnox::console {

std::filesystem::path OwnFolder() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

std::vector<std::wstring> CommandLineWords() {
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> result(words + 1, words + count);
    (void)LocalFree(words);
    return result;
}

}  // namespace brivelnox::console
