#pragma once

#include <windows.h>
#include <tspi.h>

#include <stdexcept>

#include "provider/provider_log.h"

namespace brivelnox {

/// Runs the body of an entry point. Nothing escapes to TAPI: an exception is logged as `message` (null: not
/// logged) and becomes LINEERR_OPERATIONFAILED.
template <class Body>
LONG Guarded(const wchar_t* message, Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        if (message != nullptr) {
            ProviderLog(L"%s", message);
        }
        return LINEERR_OPERATIONFAILED;
    }
}

/// The object at an address that TAPI has given. Throws when there is none, which makes the request fail
/// before it has done anything.
template <class T>
T& Require(T* pointer) {
    if (pointer == nullptr) {
        throw std::invalid_argument("null pointer from TAPI");
    }
    return *pointer;
}

/// The version test: a TSPI version passes when its high 16 bits are exactly 2, whatever its low word.
constexpr bool IsSupportedVersion(DWORD version) {
    return (version & 0xFFFF0000) == 0x00020000;
}

}  // namespace brivelnox
