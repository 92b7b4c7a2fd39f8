// The same input has to do the same every time, so the ids that the provider proposes are counted. Takes the
// place of the stand-in's random ones.

#include "fixed_uuids.h"

#include <windows.h>
#include <rpc.h>

#include <cstddef>
#include <cstdint>
#include <cwchar>

namespace brivelnox::fuzz {

namespace {

std::uint32_t made = 0;

}  // namespace

void StartUuidsAnew() {
    made = 0;
}

}  // namespace brivelnox::fuzz

RPC_STATUS UuidCreate(UUID* uuid) {
    *uuid = {};
    uuid->Data1 = ++brivelnox::fuzz::made;
    return RPC_S_OK;
}

RPC_STATUS UuidToStringW(const UUID* uuid, RPC_WSTR* text) {
    constexpr std::size_t kCharacters = 37;
    *text = new wchar_t[kCharacters];
    (void)std::swprintf(*text, kCharacters, L"%08x-0000-4000-8000-000000000000", uuid->Data1);
    return RPC_S_OK;
}

RPC_STATUS RpcStringFreeW(RPC_WSTR* text) {
    delete[] * text;
    *text = nullptr;
    return RPC_S_OK;
}
