#include "shim/uuid.h"

#include <windows.h>
#include <rpc.h>
#include <sys/random.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "shim/misuse.h"

namespace {

/// With this variable in the environment the same ids are made each time, in the same order: what is kept in
/// the order of ids is then met in the same order again.
constexpr char kSeedVariable[] = "BRIVELNOX_UUID_SEED";

std::atomic<RPC_STATUS> status_to_return{RPC_S_OK};

std::uint64_t Scramble(std::uint64_t number) {
    number = (number ^ (number >> 31)) * 0xD6E8FEB86659FD93;
    number = (number ^ (number >> 32)) * 0xD6E8FEB86659FD93;
    return number ^ (number >> 32);
}

void MakeFromSeed(UUID* uuid, std::uint64_t seed) {
    static std::atomic<std::uint64_t> made{0};
    const std::uint64_t number = made.fetch_add(1, std::memory_order_relaxed);
    const std::uint64_t halves[] = {Scramble(seed + 2 * number + 1), Scramble(~seed - 2 * number)};
    static_assert(sizeof(halves) == sizeof(*uuid));
    std::memcpy(uuid, halves, sizeof(*uuid));
}

}  // namespace

namespace brivelnox::native {

uuid_status::uuid_status(RPC_STATUS status) {
    status_to_return.store(status, std::memory_order_relaxed);
}

uuid_status::~uuid_status() {
    status_to_return.store(RPC_S_OK, std::memory_order_relaxed);
}

}  // namespace brivelnox::native

RPC_STATUS UuidCreate(UUID* uuid) {
    const RPC_STATUS status = status_to_return.load(std::memory_order_relaxed);
    if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
        return status;
    }
    static const char* const seed = std::getenv(kSeedVariable);
    if (seed != nullptr) {
        MakeFromSeed(uuid, std::strtoull(seed, nullptr, 10));
    } else if (getrandom(uuid, sizeof(*uuid), 0) != static_cast<ssize_t>(sizeof(*uuid))) {
        brivelnox::native::Misuse("the system has no random numbers");
    }
    // A random one says so, in the two places that are made for it.
    uuid->Data3 = static_cast<WORD>((uuid->Data3 & 0x0FFF) | 0x4000);
    uuid->Data4[0] = static_cast<BYTE>((uuid->Data4[0] & 0x3F) | 0x80);
    return status;
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
