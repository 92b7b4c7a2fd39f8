#pragma once

// One message or completion that the provider sent to its telephony service.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdint>

namespace brivelnox::host {

enum class event_kind {
    kMessage,     ///< the line-create procedure or a line's event procedure was called
    kCompletion,  ///< the completion procedure was called
};

struct tapi_event {
    std::uint64_t index = 0;  ///< counts from 0 over the host's life, in the order of the calls
    event_kind kind = event_kind::kMessage;
    std::chrono::steady_clock::time_point time;
    DWORD thread_id = 0;  ///< the thread that the provider called on

    // A message.
    HTAPILINE line = nullptr;
    HTAPICALL call = nullptr;
    DWORD message = 0;
    DWORD_PTR param1 = 0;
    DWORD_PTR param2 = 0;
    DWORD_PTR param3 = 0;
    HTAPICALL new_call = nullptr;  ///< LINE_NEWCALL: the handle that was handed out, null if it was refused

    // A completion.
    DRV_REQUESTID request_id = 0;
    LONG result = 0;

    [[nodiscard]] bool IsMessage(DWORD which) const {
        return kind == event_kind::kMessage && message == which;
    }
};

}  // namespace brivelnox::host
