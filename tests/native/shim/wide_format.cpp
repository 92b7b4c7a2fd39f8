#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

#include "shim/misuse.h"
#include "shim/text_conversion.h"

namespace brivelnox::native {

namespace {

struct conversion {
    bool zeros = false;
    bool left = false;
    std::size_t width = 0;
    std::size_t precision = std::wstring::npos;
    int size = 0;  // -1: h, 1: l, 2: 64 bits
    wchar_t kind = 0;
};

/// A va_list that functions can hand to each other.
struct arguments {
    std::va_list list;
};

std::size_t ReadNumber(const wchar_t*& at) {
    std::size_t number = 0;
    for (; *at >= L'0' && *at <= L'9'; ++at) {
        number = number * 10 + static_cast<std::size_t>(*at - L'0');
    }
    return number;
}

/// Reads what follows a percent sign and moves behind it.
conversion ReadConversion(const wchar_t*& at) {
    conversion read;
    for (; *at == L'0' || *at == L'-'; ++at) {
        (*at == L'0' ? read.zeros : read.left) = true;
    }
    read.width = ReadNumber(at);
    if (*at == L'.') {
        read.precision = ReadNumber(++at);
    }
    for (; *at == L'l' || *at == L'h' || *at == L'w' || *at == L'z'; ++at) {
        // On Windows a long has 32 bits.
        read.size = *at == L'h' ? -1 : *at == L'z' || read.size == 1 ? 2 : 1;
    }
    read.kind = *at++;
    return read;
}

std::wstring Digits(std::uint64_t value, unsigned base, bool capitals) {
    const wchar_t* const digits = capitals ? L"0123456789ABCDEF" : L"0123456789abcdef";
    std::wstring text;
    do {
        text.insert(text.begin(), digits[value % base]);
        value /= base;
    } while (value != 0);
    return text;
}

std::uint64_t NextUnsigned(const conversion& format, arguments& from) {
    if (format.size == 2) {
        return va_arg(from.list, std::uint64_t);
    }
    const auto value = va_arg(from.list, std::uint32_t);
    return format.size == -1 ? value & 0xFFFF : value;
}

std::wstring NextSigned(const conversion& format, arguments& from) {
    const std::int64_t value =
        format.size == 2 ? va_arg(from.list, std::int64_t) : va_arg(from.list, std::int32_t);
    const auto magnitude = static_cast<std::uint64_t>(value);
    return value < 0 ? L"-" + Digits(0 - magnitude, 10, false) : Digits(magnitude, 10, false);
}

std::wstring NextText(bool wide, arguments& from) {
    if (wide) {
        const wchar_t* const text = va_arg(from.list, const wchar_t*);
        return text != nullptr ? text : L"(null)";
    }
    const char* const text = va_arg(from.list, const char*);
    return text != nullptr ? FromAnsi(text) : L"(null)";
}

std::wstring Convert(const conversion& format, arguments& from) {
    switch (format.kind) {
        case L's':
        case L'S':
            return NextText((format.kind == L's') != (format.size == -1) || format.size > 0, from)
                .substr(0, format.precision);
        case L'c':
            return std::wstring(1, static_cast<wchar_t>(va_arg(from.list, int)));
        case L'd':
        case L'i':
            return NextSigned(format, from);
        case L'u':
            return Digits(NextUnsigned(format, from), 10, false);
        case L'x':
        case L'X':
            return Digits(NextUnsigned(format, from), 16, format.kind == L'X');
        case L'%':
            return L"%";
        default:
            Misuse("a conversion that is not known here");
    }
}

void Pad(std::wstring& text, const conversion& format) {
    if (text.size() >= format.width) {
        return;
    }
    const std::size_t missing = format.width - text.size();
    if (format.left) {
        text.append(missing, L' ');
    } else if (format.zeros) {
        text.insert(text.starts_with(L'-') ? 1 : 0, missing, L'0');
    } else {
        text.insert(0, missing, L' ');
    }
}

}  // namespace

std::wstring FormatWide(const wchar_t* format, std::va_list list) {
    arguments from;
    va_copy(from.list, list);
    std::wstring result;
    while (*format != L'\0') {
        if (*format != L'%') {
            result += *format++;
            continue;
        }
        const conversion next = ReadConversion(++format);
        std::wstring text = Convert(next, from);
        Pad(text, next);
        result += text;
    }
    va_end(from.list);
    return result;
}

}  // namespace brivelnox::native
