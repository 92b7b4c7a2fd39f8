#include "tools/setup/setup_log.h"

#include <windows.h>

#include <array>
#include <cstdio>

#include "tools/setup/failure.h"
#include "tools/setup/path_text.h"

namespace brivelnox::setup {

namespace {

std::string Now() {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    std::array<char, 32> text = {};
    (void)std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d ", now.wYear, now.wMonth,
                        now.wDay, now.wHour, now.wMinute, now.wSecond);
    return text.data();
}

}  // namespace

setup_log::setup_log(const std::filesystem::path& file, console::line_writer& screen) : screen_(screen) {
    (void)CreateDirectoryW(file.parent_path().c_str(), nullptr);
    file_.reset(CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file_) {
        return;
    }
    if (GetLastError() == ERROR_SHARING_VIOLATION) {
        throw failure("another setup is running: it writes " + PathText(file));
    }
    FailWithLastError(PathText(file) + " cannot be written");
}

void setup_log::Write(const std::string& line) {
    (void)screen_.Write(line);
    const std::string bytes = Now() + line + "\r\n";
    DWORD written = 0;
    (void)WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

}  // namespace brivelnox::setup
