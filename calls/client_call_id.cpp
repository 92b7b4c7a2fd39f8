#include "calls/client_call_id.h"

#include <windows.h>

#include <new>

#include <rpc.h>

namespace brivelnox {

std::wstring NewClientCallId() {
    UUID uuid = {};
    // Also unique where the machine has no network address: the result then says "local only", which is
    // enough here.
    (void)UuidCreate(&uuid);
    RPC_WSTR text = nullptr;
    if (UuidToStringW(&uuid, &text) != RPC_S_OK) {
        throw std::bad_alloc();
    }
    struct rpc_string_owner {
        RPC_WSTR* text;
        ~rpc_string_owner() { (void)RpcStringFreeW(text); }
    } const owner{&text};
    return reinterpret_cast<const wchar_t*>(text);
}

}  // namespace brivelnox
