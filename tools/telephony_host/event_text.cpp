#include "tools/telephony_host/event_text.h"

#include <cstdint>
#include <cstdio>

#include "tools/telephony_host/names.h"

namespace brivelnox::host {

namespace {

DWORD Low(DWORD_PTR value) {
    return static_cast<DWORD>(value);
}

std::string Number(DWORD_PTR value) {
    return HandleText(reinterpret_cast<const void*>(value));
}

std::string CallStateText(const tapi_event& event) {
    std::string text = " " + CallStateName(Low(event.param1));
    if (event.param1 == LINECALLSTATE_DISCONNECTED || event.param2 != 0) {
        text += " " + DisconnectModeName(Low(event.param2));
    }
    return text;
}

std::string MessageText(const tapi_event& event) {
    const std::string name = MessageName(event.message);
    switch (event.message) {
        case static_cast<DWORD>(LINE_NEWCALL):
            return name + " " + HandleText(event.new_call) + " on line " + HandleText(event.line) +
                   " (driver call " + std::to_string(event.param1) + ")";
        case static_cast<DWORD>(LINE_CREATE):
            return name + " temporary id " + std::to_string(Low(event.param2));
        case static_cast<DWORD>(LINE_CALLSTATE):
            return name + " " + HandleText(event.call) + CallStateText(event);
        case static_cast<DWORD>(LINE_CALLINFO):
            return name + " " + HandleText(event.call) + " " + CallInfoName(Low(event.param1));
        default:
            return name + " line " + HandleText(event.line) + " call " + HandleText(event.call) + " " +
                   Number(event.param1) + " " + Number(event.param2) + " " + Number(event.param3);
    }
}

}  // namespace

std::string HandleText(const void* handle) {
    char text[24];
    (void)std::snprintf(text, sizeof(text), "0x%08llX",
                        static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)));
    return text;
}

std::string EventText(const tapi_event& event) {
    if (event.kind == event_kind::kCompletion) {
        return "request " + std::to_string(event.request_id) + " completed: " + ResultName(event.result);
    }
    return MessageText(event);
}

}  // namespace brivelnox::host
