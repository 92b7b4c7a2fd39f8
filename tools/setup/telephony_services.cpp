#include "tools/setup/telephony_services.h"

#include <algorithm>
#include <thread>

#include "tools/console/command_words.h"
#include "tools/setup/failure.h"

namespace brivelnox::setup {

namespace {

using clock = std::chrono::steady_clock;

// The service manager tells nobody when a service has reached a state; it has to be asked.
constexpr std::chrono::milliseconds kAskAgain{25};

std::string Joined(const std::vector<std::wstring>& names) {
    std::string text;
    for (const std::wstring& name : names) {
        text += (text.empty() ? "" : ", ") + console::ToUtf8(name);
    }
    return text.empty() ? "nothing ran" : text;
}

}  // namespace

telephony_services::telephony_services(service_manager& manager, std::chrono::milliseconds patience)
    : manager_(manager), patience_(patience) {
    if (manager_.State(kTelephonyService) != SERVICE_STOPPED) {
        remembered_ = manager_.ActiveDependents(kTelephonyService);
        remembered_.emplace_back(kTelephonyService);
        std::ranges::reverse(remembered_);
    }
}

void telephony_services::Stop() {
    const auto end = clock::now() + patience_;
    while (!AskToStop()) {
        if (clock::now() >= end) {
            throw failure("the telephony service, or one that depends on it, does not stop");
        }
        std::this_thread::sleep_for(kAskAgain);
    }
}

bool telephony_services::AskToStop() {
    if (manager_.State(kTelephonyService) == SERVICE_STOPPED) {
        return true;
    }
    const std::vector<std::wstring> dependents = manager_.ActiveDependents(kTelephonyService);
    for (const std::wstring& service : dependents) {
        manager_.AskToStop(service);
    }
    if (dependents.empty()) {
        manager_.AskToStop(kTelephonyService);
    }
    return false;
}

void telephony_services::StartAgain() {
    for (const std::wstring& service : remembered_) {
        Start(service);
    }
}

void telephony_services::Start(const std::wstring& service) {
    const auto end = clock::now() + patience_;
    bool was_asked = false;
    for (DWORD state = manager_.State(service); state != SERVICE_RUNNING; state = manager_.State(service)) {
        if (clock::now() >= end || (was_asked && state == SERVICE_STOPPED)) {
            throw failure("the service " + console::ToUtf8(service) + " does not start");
        }
        if (state == SERVICE_STOPPED) {
            manager_.AskToStart(service);
            was_asked = true;
        } else {
            std::this_thread::sleep_for(kAskAgain);
        }
    }
}

std::string stop_services::Do() {
    services_.Stop();
    return Joined(services_.Remembered());
}

bool stop_services::Undo() {
    services_.StartAgain();
    return !services_.Remembered().empty();
}

std::string start_services::Do() {
    services_.StartAgain();
    return Joined(services_.Remembered());
}

}  // namespace brivelnox::setup
