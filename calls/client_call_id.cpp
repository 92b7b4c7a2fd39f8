#include "calls/client_call_id.h"

#include <windows.h>
#include <rpc.h>

#include <new>
#include <stdexcept>

#include "platform/scope_exit.h"

namespace brivelnox {

std::wstring NewClientCallId() {
    UUID uuid = {};
    const RPC_STATUS status = UuidCreate(&uuid);
    // Where the machine has no network address the id is unique on it alone, which is enough here.
    if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
        throw std::runtime_error("no UUID can be made");
    }
    RPC_WSTR text = nullptr;
    if (UuidToStringW(&uuid, &text) != RPC_S_OK) {
        throw std::bad_alloc();
    }
    const scope_exit free_text([&] { (void)RpcStringFreeW(&text); });
    return reinterpret_cast<const wchar_t*>(text);
}

}  // namespace brivelnox
