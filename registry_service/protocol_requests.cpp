#include "registry_service/protocol_requests.h"

#include <cstdarg>
#include <cstdio>

namespace brivelnox {

std::optional<std::string> FormatRequest(const char* format, ...) {
    char text[kRequestBufferSize] = {};
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof(text)) {
        return std::nullopt;
    }
    return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace brivelnox
