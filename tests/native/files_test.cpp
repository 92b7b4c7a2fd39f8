// The stand-in's files, registry and texts.

#include <windows.h>
#include <rpc.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdarg>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"

namespace brivelnox::native {
namespace {

constexpr wchar_t kPath[] = L"C:\\Temp\\text \x00E4.log";
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

unique_file Open(const wchar_t* path, DWORD access, DWORD share, DWORD disposition) {
    return unique_file(
        CreateFileW(path, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

void Append(const wchar_t* path, const std::string& text) {
    const unique_file file = Open(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
    ASSERT_EQ(written, text.size());
}

std::string Content(const wchar_t* path) {
    const unique_file file = Open(path, GENERIC_READ, kShareAll, OPEN_EXISTING);
    std::string bytes(100, '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(file.get(), bytes.data(), 100, &read, nullptr));
    return bytes.substr(0, read);
}

class native_files : public testing::Test {
  protected:
    ~native_files() override { (void)DeleteFileW(kPath); }
};

TEST_F(native_files, what_is_appended_comes_behind_what_is_there) {
    Append(kPath, "one ");
    Append(kPath, "two");
    EXPECT_EQ(Content(kPath), "one two");
}

TEST_F(native_files, missing_file_cannot_be_opened) {
    EXPECT_FALSE(Open(kPath, GENERIC_READ, kShareAll, OPEN_EXISTING));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(native_files, handles_that_do_not_share_exclude_each_other) {
    Append(kPath, "text");
    const unique_file reader = Open(kPath, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    ASSERT_TRUE(reader);
    EXPECT_FALSE(Open(kPath, FILE_APPEND_DATA, kShareAll, OPEN_EXISTING));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_FALSE(Open(kPath, GENERIC_READ, FILE_SHARE_WRITE, OPEN_EXISTING));
    EXPECT_TRUE(Open(kPath, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING));
    EXPECT_FALSE(DeleteFileW(kPath));
    EXPECT_FALSE(MoveFileW(kPath, L"C:\\Temp\\other"));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
}

TEST_F(native_files, moving_does_not_replace_and_keeps_the_time_of_creation) {
    constexpr wchar_t kOther[] = L"C:\\Temp\\other.log";
    const FILETIME long_ago = {1, 0x01D00000};
    Append(kPath, "text");
    ASSERT_TRUE(SetFileTime(Open(kPath, FILE_WRITE_ATTRIBUTES, kShareAll, OPEN_EXISTING).get(), &long_ago,
                            nullptr, nullptr));
    Append(kOther, "other");
    EXPECT_FALSE(MoveFileW(kPath, kOther));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    ASSERT_TRUE(DeleteFileW(kOther));
    ASSERT_TRUE(MoveFileW(kPath, kOther));
    WIN32_FIND_DATAW found = {};
    const unique_find search(FindFirstFileW(L"C:\\Temp\\*.log", &found));
    ASSERT_TRUE(search);
    EXPECT_STREQ(found.cFileName, L"other.log");
    EXPECT_EQ(CompareFileTime(&found.ftCreationTime, &long_ago), 0);
    EXPECT_FALSE(FindNextFileW(search.get(), &found));
    EXPECT_TRUE(DeleteFileW(kOther));
}

TEST(native_folders, application_data_and_temporary_folder_are_there) {
    wchar_t folder[MAX_PATH] = {};
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, folder), S_OK);
    EXPECT_EQ(GetFileAttributesW(folder), FILE_ATTRIBUTE_DIRECTORY);
    ASSERT_TRUE(PathAppendW(folder, L"more"));
    EXPECT_STREQ(folder, L"C:\\ProgramData\\more");
    EXPECT_EQ(GetFileAttributesW(folder), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetTempPathW(MAX_PATH, folder), 8u);
    EXPECT_STREQ(folder, L"C:\\Temp\\");
}

TEST(native_folders, folder_is_opened_only_by_those_who_ask_for_one) {
    wchar_t temporary[MAX_PATH] = {};
    ASSERT_NE(GetTempPathW(MAX_PATH, temporary), 0u);
    const auto open = [&](DWORD flags) {
        return unique_file(CreateFileW(temporary, FILE_READ_ATTRIBUTES, FILE_SHARE_READ, nullptr,
                                       OPEN_EXISTING, flags, nullptr));
    };
    EXPECT_FALSE(open(FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(open(FILE_FLAG_BACKUP_SEMANTICS));
}

TEST(native_registry, values_are_found_without_regard_to_case_until_their_key_is_deleted) {
    const DWORD written = 4711;
    {
        unique_registry_key key;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Native\\Key", 0, nullptr, 0, KEY_WRITE,
                                  nullptr, key.put(), nullptr),
                  LSTATUS{ERROR_SUCCESS});
        ASSERT_EQ(RegSetValueExW(key.get(), L"Port", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&written),
                                 sizeof(written)),
                  LSTATUS{ERROR_SUCCESS});
    }
    unique_registry_key key;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "software\\NATIVE\\key", 0, KEY_READ, key.put()),
              LSTATUS{ERROR_SUCCESS});
    DWORD read = 0;
    DWORD size = 2;
    auto* const bytes = reinterpret_cast<BYTE*>(&read);
    EXPECT_EQ(RegQueryValueExA(key.get(), "PORT", nullptr, nullptr, bytes, &size), LSTATUS{ERROR_MORE_DATA});
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(RegQueryValueExA(key.get(), "PORT", nullptr, nullptr, bytes, &size), LSTATUS{ERROR_SUCCESS});
    EXPECT_EQ(read, written);
    EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Native"), LSTATUS{ERROR_ACCESS_DENIED});
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Native"), LSTATUS{ERROR_SUCCESS});
    EXPECT_EQ(RegQueryValueExA(key.get(), "Port", nullptr, nullptr, bytes, &size),
              LSTATUS{ERROR_FILE_NOT_FOUND});
}

std::wstring Format(const wchar_t* format, ...) {
    wchar_t text[32] = {};
    std::va_list arguments;
    va_start(arguments, format);
    (void)_vsnwprintf_s(text, std::size(text), _TRUNCATE, format, arguments);
    va_end(arguments);
    return text;
}

TEST(native_formats, wide_formats_take_wide_text) {
    EXPECT_EQ(Format(L"%s|%hs|%S", L"wide", "narrow", "narrow"), L"wide|narrow|narrow");
    EXPECT_EQ(Format(L"%s", nullptr), L"(null)");
    EXPECT_EQ(Format(L"%5s|%-5s|%.2s", L"abc", L"abc", L"abc"), L"  abc|abc  |ab");
}

TEST(native_formats, numbers_are_padded_and_cut_to_32_bits) {
    EXPECT_EQ(Format(L"0x%08X %02d %d", 0xABCDu, 7, -12), L"0x0000ABCD 07 -12");
    EXPECT_EQ(Format(L"%d %u %x", 0x80000000u, 0xFFFFFFFFu, 255), L"-2147483648 4294967295 ff");
    EXPECT_EQ(Format(L"100%% %c", L'x'), L"100% x");
}

TEST(native_formats, what_does_not_fit_is_cut_and_reported) {
    wchar_t text[4] = {};
    EXPECT_EQ(_snwprintf_s(text, std::size(text), _TRUNCATE, L"%s", L"abcd"), -1);
    EXPECT_STREQ(text, L"abc");
    EXPECT_EQ(wcscpy_s(text, std::size(text), L"abcd"), ERANGE);
    EXPECT_STREQ(text, L"");
}

TEST(native_texts, code_page_has_the_euro_and_what_it_lacks_becomes_a_question_mark) {
    const std::wstring text = L"\x20AC\x00FC\x4E2D";
    char bytes[8] = {};
    ASSERT_EQ(WideCharToMultiByte(CP_ACP, 0, text.data(), 3, bytes, 8, nullptr, nullptr), 3);
    EXPECT_STREQ(bytes, "\x80\xFC?");
    wchar_t wide[8] = {};
    ASSERT_EQ(MultiByteToWideChar(CP_ACP, 0, bytes, 2, wide, 8), 2);
    EXPECT_STREQ(wide, L"\x20AC\x00FC");
}

TEST(native_times, system_times_and_file_times_agree) {
    const SYSTEMTIME time = {2026, 11, 1, 16, 9, 5, 3, 250};
    FILETIME file_time = {};
    ASSERT_TRUE(SystemTimeToFileTime(&time, &file_time));
    SYSTEMTIME back = {};
    ASSERT_TRUE(FileTimeToSystemTime(&file_time, &back));
    EXPECT_EQ(back.wYear, 2026);
    EXPECT_EQ(back.wMonth, 11);
    EXPECT_EQ(back.wDayOfWeek, 1);
    EXPECT_EQ(back.wDay, 16);
    EXPECT_EQ(back.wMilliseconds, 250);
    const SYSTEMTIME epoch = {1970, 1, 4, 1, 0, 0, 0, 0};
    ASSERT_TRUE(SystemTimeToFileTime(&epoch, &file_time));
    EXPECT_EQ(file_time.dwHighDateTime, 0x019DB1DEu);
    EXPECT_EQ(file_time.dwLowDateTime, 0xD53E8000u);
    const SYSTEMTIME none = {2026, 2, 0, 30, 0, 0, 0, 0};
    EXPECT_FALSE(SystemTimeToFileTime(&none, &file_time));
}

TEST(native_uuids, text_has_36_characters_and_is_never_the_same) {
    UUID first = {};
    UUID second = {};
    ASSERT_EQ(UuidCreate(&first), RPC_S_OK);
    ASSERT_EQ(UuidCreate(&second), RPC_S_OK);
    RPC_WSTR text = nullptr;
    RPC_WSTR other = nullptr;
    ASSERT_EQ(UuidToStringW(&first, &text), RPC_S_OK);
    ASSERT_EQ(UuidToStringW(&second, &other), RPC_S_OK);
    EXPECT_EQ(std::wstring(text).size(), 36u);
    EXPECT_STRNE(text, other);
    EXPECT_EQ(RpcStringFreeW(&text), RPC_S_OK);
    EXPECT_EQ(RpcStringFreeW(&other), RPC_S_OK);
    EXPECT_EQ(text, nullptr);
}

}  // namespace
}  // namespace brivelnox::native
