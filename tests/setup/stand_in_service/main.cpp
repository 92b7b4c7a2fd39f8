// stand_in_service: a service that runs until it is stopped, in the place of the telephony service and of one
// that depends on it. Its name is its only argument.

#include <windows.h>
#include <shellapi.h>

#include <iterator>
#include <string>

#include "platform/unique_handle.h"

namespace {

std::wstring name;
brivelnox::unique_event stop_asked;
SERVICE_STATUS_HANDLE status_handle = nullptr;

void Tell(DWORD state) {
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
    (void)SetServiceStatus(status_handle, &status);
}

DWORD WINAPI OnControl(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP) {
        Tell(SERVICE_STOP_PENDING);
        (void)SetEvent(stop_asked.get());
    }
    return NO_ERROR;
}

void WINAPI Serve(DWORD, wchar_t**) {
    status_handle = RegisterServiceCtrlHandlerExW(name.c_str(), &OnControl, nullptr);
    Tell(SERVICE_RUNNING);
    (void)WaitForSingleObject(stop_asked.get(), INFINITE);
    Tell(SERVICE_STOPPED);
}

}  // namespace

int main() {
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count != 2) {
        return 1;
    }
    name = words[1];
    (void)LocalFree(words);
    stop_asked.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const SERVICE_TABLE_ENTRYW services[] = {{name.data(), &Serve}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(services) ? 0 : 1;
}
