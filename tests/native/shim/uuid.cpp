#include <windows.h>

#include <cstring>

#include <rpc.h>

#include <sys/random.h>

#include "shim/misuse.h"

RPC_STATUS UuidCreate(UUID* uuid) {
    if (getrandom(uuid, sizeof(*uuid), 0) != static_cast<ssize_t>(sizeof(*uuid))) {
        brivelnox::native::Misuse("the system has no random numbers");
    }
    // A random one says so, in the two places that are made for it.
    uuid->Data3 = static_cast<WORD>((uuid->Data3 & 0x0FFF) | 0x4000);
    uuid->Data4[0] = static_cast<BYTE>((uuid->Data4[0] & 0x3F) | 0x80);
    return RPC_S_OK;
}

RPC_STATUS UuidToStringW(const UUID* uuid, RPC_WSTR* text) {
    constexpr std::size_t kCharacters = 37;
    auto* const written = new wchar_t[kCharacters];
    const BYTE* const last = uuid->Data4;
    (void)_snwprintf_s(written, kCharacters, _TRUNCATE, L"%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                       uuid->Data1, uuid->Data2, uuid->Data3, last[0], last[1], last[2], last[3], last[4],
                       last[5], last[6], last[7]);
    *text = written;
    return RPC_S_OK;
}

RPC_STATUS RpcStringFreeW(RPC_WSTR* text) {
    delete[] * text;
    *text = nullptr;
    return RPC_S_OK;
}
