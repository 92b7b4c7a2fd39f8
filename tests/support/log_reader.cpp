#include "tests/support/log_reader.h"

#include <shlobj.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <utility>

#include "platform/unique_handle.h"

namespace brivelnox::test {

namespace {

constexpr std::size_t kTimeCharacters = 14;
constexpr std::size_t kCategoryCharacters = 20;
constexpr DWORD kLookAgainMilliseconds = 5;

unique_file OpenShared(const std::wstring& path) {
    return unique_file(CreateFileW(path.c_str(), GENERIC_READ,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::uint64_t SizeOf(const unique_file& file) {
    LARGE_INTEGER size = {};
    if (!file || !GetFileSizeEx(file.get(), &size)) {
        return 0;
    }
    return static_cast<std::uint64_t>(size.QuadPart);
}

/// Time, one blank, category in a field of 20 characters (a longer one whole), one blank, text.
log_line Split(std::string_view line) {
    log_line result;
    result.time = line.substr(0, kTimeCharacters);
    line.remove_prefix(std::min(line.size(), kTimeCharacters + 1));
    result.category = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(line.size(), std::max(result.category.size(), kCategoryCharacters) + 1));
    result.text = line;
    return result;
}

std::vector<log_line> SplitAll(const std::string& bytes) {
    std::vector<log_line> lines;
    std::size_t at = 0;
    for (std::size_t end = bytes.find("\r\n"); end != std::string::npos; end = bytes.find("\r\n", at)) {
        lines.push_back(Split(std::string_view(bytes).substr(at, end - at)));
        at = end + 2;
    }
    return lines;
}

std::vector<std::string> TextsOf(const std::vector<log_line>& lines) {
    std::vector<std::string> texts;
    for (const log_line& line : lines) {
        texts.push_back(line.text);
    }
    return texts;
}

/// Looks again until the condition holds. A file has nothing to wait on, so this is the one place of the
/// tests that looks at intervals.
bool Until(std::chrono::milliseconds timeout, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        Sleep(kLookAgainMilliseconds);
    }
    return true;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const log_line& line) {
    return out << '[' << line.category << "] \"" << line.text << '"';
}

log_reader::log_reader(std::wstring path) : path_(std::move(path)) {
    Skip();
}

std::wstring log_reader::PathOf(bool use_common_application_data, const std::wstring& log_name) {
    wchar_t folder[MAX_PATH] = {};
    if (use_common_application_data) {
        (void)SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, folder);
    } else {
        (void)GetTempPathW(MAX_PATH, folder);
    }
    std::wstring path = folder;
    if (!path.empty() && path.back() != L'\\') {
        path += L'\\';
    }
    return path + L"Brivelnox\\" + log_name + L"\\logs\\" + log_name + L".log";
}

log_reader log_reader::OfProvider() {
    return log_reader(PathOf(true, L"Brivelnox.Tsp"));
}

void log_reader::Skip() {
    start_ = FileSize();
}

std::uint64_t log_reader::FileSize() const {
    return SizeOf(OpenShared(path_));
}

std::string log_reader::Bytes() const {
    const unique_file file = OpenShared(path_);
    const std::uint64_t size = SizeOf(file);
    // A file that is shorter than before has been put away at midnight, and this is its successor.
    const std::uint64_t start = size < start_ ? 0 : start_;
    LARGE_INTEGER from = {};
    from.QuadPart = static_cast<LONGLONG>(start);
    std::string bytes(static_cast<std::size_t>(size - start), '\0');
    if (bytes.empty() || !SetFilePointerEx(file.get(), from, nullptr, FILE_BEGIN)) {
        return {};
    }
    DWORD read = 0;
    if (!ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
        return {};
    }
    bytes.resize(read);
    return bytes;
}

std::vector<log_line> log_reader::Lines() const {
    return SplitAll(Bytes());
}

std::vector<log_line> log_reader::Lines(std::string_view category) const {
    std::vector<log_line> lines = Lines();
    std::erase_if(lines, [&](const log_line& line) { return line.category != category; });
    return lines;
}

std::vector<std::string> log_reader::Texts() const {
    return TextsOf(Lines());
}

std::vector<std::string> log_reader::Texts(std::string_view category) const {
    return TextsOf(Lines(category));
}

std::size_t log_reader::Count(std::string_view category, std::string_view text) const {
    const std::vector<std::string> texts = Texts(category);
    return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
}

std::size_t log_reader::CountStarting(std::string_view category, std::string_view beginning) const {
    const std::vector<std::string> texts = Texts(category);
    return static_cast<std::size_t>(std::count_if(
        texts.begin(), texts.end(), [&](const std::string& text) { return text.starts_with(beginning); }));
}

bool log_reader::WaitFor(std::string_view category, std::string_view text, milliseconds timeout,
                         std::size_t count) const {
    return Until(timeout, [&] { return Count(category, text) >= count; });
}

bool log_reader::WaitForStarting(std::string_view category, std::string_view beginning, milliseconds timeout,
                                 std::size_t count) const {
    return Until(timeout, [&] { return CountStarting(category, beginning) >= count; });
}

}  // namespace brivelnox::test
