#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <string>

#include "shim/misuse.h"
#include "shim/text_conversion.h"

namespace {

/// Copies a converted text to a caller's buffer; the result of both conversion functions.
template <class Character>
int Deliver(const std::basic_string<Character>& converted, Character* to, int size) {
    const int length = static_cast<int>(converted.size());
    if (size == 0) {
        return length;
    }
    if (length > size) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::copy(converted.begin(), converted.end(), to);
    return length;
}

void CheckCodePage(UINT code_page, DWORD flags) {
    if ((code_page != CP_ACP && code_page != GetACP()) || flags != 0) {
        brivelnox::native::Misuse("a code page or flag that is not known here");
    }
}

}  // namespace

UINT GetACP() {
    return 1252;
}

int WideCharToMultiByte(UINT code_page, DWORD flags, const wchar_t* text, int length, char* bytes, int size,
                        const char* default_character, BOOL* used_default) {
    CheckCodePage(code_page, flags);
    const std::size_t count = length < 0 ? std::wcslen(text) + 1 : static_cast<std::size_t>(length);
    bool used = false;
    const std::string converted = brivelnox::native::ToAnsiBytes(
        {text, count}, default_character != nullptr ? *default_character : '?', used);
    if (used_default != nullptr) {
        *used_default = used ? TRUE : FALSE;
    }
    return Deliver(converted, bytes, size);
}

int MultiByteToWideChar(UINT code_page, DWORD flags, const char* bytes, int length, wchar_t* text, int size) {
    CheckCodePage(code_page, flags);
    const std::size_t count = length < 0 ? std::strlen(bytes) + 1 : static_cast<std::size_t>(length);
    return Deliver(brivelnox::native::FromAnsi({bytes, count}), text, size);
}

int _vsnwprintf_s(wchar_t* text, std::size_t size, std::size_t count, const wchar_t* format,
                  std::va_list arguments) {
    if (count != _TRUNCATE) {
        brivelnox::native::Misuse("a count of characters is not known here, only cutting");
    }
    const std::wstring whole = brivelnox::native::FormatWide(format, arguments);
    const std::size_t length = std::min(whole.size(), size - 1);
    std::copy_n(whole.begin(), length, text);
    text[length] = L'\0';
    return length < whole.size() ? -1 : static_cast<int>(length);
}

int _snwprintf_s(wchar_t* text, std::size_t size, std::size_t count, const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = _vsnwprintf_s(text, size, count, format, arguments);
    va_end(arguments);
    return result;
}

errno_t wcscpy_s(wchar_t* destination, std::size_t size, const wchar_t* source) {
    if (destination == nullptr || size == 0) {
        return EINVAL;
    }
    const std::size_t length = source != nullptr ? std::wcslen(source) : size;
    if (length >= size) {
        destination[0] = L'\0';
        return source != nullptr ? ERANGE : EINVAL;
    }
    std::copy_n(source, length + 1, destination);
    return 0;
}

int _wcsicmp(const wchar_t* left, const wchar_t* right) {
    // Letters outside ASCII are told apart, as in the "C" locale of the Windows library.
    const auto lower = [](wchar_t character) {
        return character >= L'A' && character <= L'Z' ? character - L'A' + L'a' : character;
    };
    while (*left != L'\0' && lower(*left) == lower(*right)) {
        ++left;
        ++right;
    }
    return lower(*left) - lower(*right);
}
