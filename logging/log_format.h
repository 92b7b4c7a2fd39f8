#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace brivelnox {

/// What a printf conversion of a log text expects.
enum class log_argument { text, number };

/// The kind of one argument type. Only wide text and numbers of at most 32 bits can be logged; a handle is
/// cut with Low32 first.
template <class T>
consteval log_argument LogArgumentOf() {
    if constexpr (std::is_same_v<T, const wchar_t*> || std::is_same_v<T, wchar_t*>) {
        return log_argument::text;
    } else {
        static_assert(std::is_integral_v<T> && sizeof(T) <= sizeof(std::int32_t),
                      "log arguments are wide text or numbers of at most 32 bits");
        return log_argument::number;
    }
}

/// A log text whose conversions have been compared with the arguments at compile time. The log knows three
/// conversions: %s (wide text), %d and %08X. A text with any other, or with more or fewer conversions than
/// arguments, does not compile.
template <class... Args>
class log_format {
  public:
    // Not explicit: a log call is written with the plain text, and the check happens on the way.
    consteval log_format(const wchar_t* text) : text_(text) {
        constexpr std::size_t count = sizeof...(Args);
        constexpr log_argument expected[count + 1] = {LogArgumentOf<Args>()..., log_argument::number};
        std::size_t used = 0;
        for (const wchar_t* at = text; *at != L'\0'; ++at) {
            if (*at != L'%') {
                continue;
            }
            ++at;
            const bool is_text = *at == L's';
            const bool is_hexadecimal = at[0] == L'0' && at[1] == L'8' && at[2] == L'X';
            if (!is_text && !is_hexadecimal && *at != L'd') {
                throw "conversion is none of %s, %d, %08X";
            }
            if (used == count || (expected[used] == log_argument::text) != is_text) {
                throw "conversions and arguments differ";
            }
            ++used;
            at += is_hexadecimal ? 2 : 0;
        }
        if (used != count) {
            throw "more arguments than conversions";
        }
    }

    [[nodiscard]] constexpr const wchar_t* Text() const { return text_; }

  private:
    const wchar_t* text_;
};

}  // namespace brivelnox
