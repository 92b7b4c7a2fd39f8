#include "tests/dll/process_usage_helper.h"

#include <psapi.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "platform/unique_handle.h"

namespace brivelnox::test {

namespace {

// The list of all handles of the system. Wine knows it, unlike the count that a process could be asked for.
constexpr ULONG kSystemHandleInformation = 16;

struct handle_entry {
    ULONG owner;
    BYTE type;
    BYTE flags;
    USHORT handle;
    void* object;
    ULONG access;
};

using query_system_information = NTSTATUS(NTAPI*)(ULONG, void*, ULONG, ULONG*);

std::vector<std::byte> AllHandles() {
    const auto query = reinterpret_cast<query_system_information>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<std::byte> bytes(std::size_t{1} << 20);
    for (;;) {
        ULONG used = 0;
        const NTSTATUS status =
            query(kSystemHandleInformation, bytes.data(), static_cast<ULONG>(bytes.size()), &used);
        if (status >= 0) {
            return bytes;
        }
        if (bytes.size() > (std::size_t{1} << 28)) {
            throw std::runtime_error("the system does not tell its handles");
        }
        bytes.resize(bytes.size() * 2);
    }
}

}  // namespace

std::size_t HandleCount() {
    const std::vector<std::byte> bytes = AllHandles();
    ULONG count = 0;
    std::memcpy(&count, bytes.data(), sizeof count);
    std::size_t own = 0;
    for (ULONG i = 0; i < count; ++i) {
        handle_entry entry = {};
        std::memcpy(&entry, bytes.data() + alignof(handle_entry) + i * sizeof entry, sizeof entry);
        own += entry.owner == GetCurrentProcessId();
    }
    return own;
}

std::size_t ThreadCount() {
    const unique_file snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    std::size_t own = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more != FALSE;
         more = Thread32Next(snapshot.get(), &entry)) {
        own += entry.th32OwnerProcessID == GetCurrentProcessId();
    }
    return own;
}

std::size_t PrivateBytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) {
        throw std::runtime_error("the system does not tell the memory in use");
    }
    return counters.PagefileUsage;
}

}  // namespace brivelnox::test
