#include "tools/setup/service_manager.h"

#include <algorithm>
#include <cstddef>

#include "tools/console/command_words.h"
#include "tools/setup/failure.h"

namespace brivelnox::setup {

namespace {

// A service answers so while it starts, stops or still has others that depend on it, and when it has stopped.
constexpr DWORD kNotNow[] = {ERROR_SERVICE_NOT_ACTIVE, ERROR_SERVICE_CANNOT_ACCEPT_CTRL,
                             ERROR_INVALID_SERVICE_CONTROL, ERROR_DEPENDENT_SERVICES_RUNNING};

std::string Named(const std::wstring& service, const char* what) {
    return "the service " + console::ToUtf8(service) + " " + what;
}

}  // namespace

windows_service_manager::windows_service_manager()
    : manager_(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)) {
    if (!manager_) {
        FailWithLastError("the service manager does not answer");
    }
}

windows_service_manager::unique_service windows_service_manager::Open(const std::wstring& service,
                                                                      DWORD access) const {
    unique_service opened(OpenServiceW(manager_.get(), service.c_str(), access));
    if (!opened) {
        FailWithLastError(Named(service, "cannot be opened"));
    }
    return opened;
}

DWORD windows_service_manager::State(const std::wstring& service) {
    SERVICE_STATUS status = {};
    if (!QueryServiceStatus(Open(service, SERVICE_QUERY_STATUS).get(), &status)) {
        FailWithLastError(Named(service, "does not tell its state"));
    }
    return status.dwCurrentState;
}

std::vector<std::wstring> windows_service_manager::ActiveDependents(const std::wstring& service) {
    const unique_service opened = Open(service, SERVICE_ENUMERATE_DEPENDENTS);
    std::vector<ENUM_SERVICE_STATUSW> entries(1);
    DWORD count = 0;
    DWORD needed = 0;
    // The names stand behind the entries, in the same memory. There may be more of them at the next look.
    while (!EnumDependentServicesW(opened.get(), SERVICE_ACTIVE, entries.data(),
                                   static_cast<DWORD>(entries.size() * sizeof entries[0]), &needed, &count)) {
        if (GetLastError() != ERROR_MORE_DATA) {
            FailWithLastError(Named(service, "does not tell what depends on it"));
        }
        entries.resize(needed / sizeof entries[0] + 1);
    }
    std::vector<std::wstring> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.emplace_back(entries[i].lpServiceName);
    }
    return names;
}

void windows_service_manager::AskToStop(const std::wstring& service) {
    SERVICE_STATUS status = {};
    if (!ControlService(Open(service, SERVICE_STOP).get(), SERVICE_CONTROL_STOP, &status) &&
        std::ranges::find(kNotNow, GetLastError()) == std::end(kNotNow)) {
        FailWithLastError(Named(service, "cannot be stopped"));
    }
}

void windows_service_manager::AskToStart(const std::wstring& service) {
    if (!StartServiceW(Open(service, SERVICE_START).get(), 0, nullptr) &&
        GetLastError() != ERROR_SERVICE_ALREADY_RUNNING) {
        FailWithLastError(Named(service, "cannot be started"));
    }
}

}  // namespace brivelnox::setup
