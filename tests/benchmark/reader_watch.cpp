#include "tests/benchmark/reader_watch.h"

#include <winsock2.h>

#include <stdexcept>

#include "tests/benchmark/idle_mark.h"

namespace brivelnox::benchmark {

namespace {

idle_mark reader;

int WSAAPI Receive(SOCKET socket, char* bytes, int size, int flags) {
    reader.SetBusy(true);
    return recv(socket, bytes, size, flags);
}

DWORD WINAPI Wait(HANDLE object, DWORD milliseconds) {
    // Only the reader waits without a bound.
    if (milliseconds == INFINITE) {
        reader.SetBusy(false);
    }
    return WaitForSingleObject(object, milliseconds);
}

}  // namespace

reader_watch::reader_watch(HMODULE provider)
    : receive_(provider, "recv", reinterpret_cast<void*>(&Receive)),
      wait_(provider, "WaitForSingleObject", reinterpret_cast<void*>(&Wait)) {
    if (!receive_.IsInPlace() || !wait_.IsInPlace()) {
        throw std::runtime_error("the provider receives by other calls than expected");
    }
}

void reader_watch::WaitUntilIdle() const {
    reader.WaitUntilIdle();
}

}  // namespace brivelnox::benchmark
