#pragma once

#include "api/types.h"

using UUID = GUID;
using RPC_STATUS = LONG;
using RPC_WSTR = wchar_t*;

inline constexpr RPC_STATUS RPC_S_OK = 0;
inline constexpr RPC_STATUS RPC_S_UUID_NO_ADDRESS = 1739;
inline constexpr RPC_STATUS RPC_S_UUID_LOCAL_ONLY = 1824;

RPC_STATUS UuidCreate(UUID* uuid);
RPC_STATUS UuidToStringW(const UUID* uuid, RPC_WSTR* text);
RPC_STATUS RpcStringFreeW(RPC_WSTR* text);
