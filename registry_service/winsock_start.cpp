#include "registry_service/winsock_start.h"

#include <winsock2.h>

#include "platform/locks.h"

namespace brivelnox {

void StartWinsock() {
    static mutex start_lock;
    static bool started = false;
    const WORD version = MAKEWORD(2, 2);

    const lock_guard guard(start_lock);
    WSADATA data = {};
    if (started || WSAStartup(version, &data) != 0) {
        return;
    }
    started = data.wVersion == version;
    if (!started) {
        (void)WSACleanup();
    }
}

}  // namespace brivelnox
