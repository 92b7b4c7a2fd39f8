#include "tests/registry_service/client_fixture_helper.h"

#include <algorithm>

#include "platform/ansi_text.h"

namespace brivelnox::test {

namespace {

constexpr DWORD kLookAgainMilliseconds = 5;

}  // namespace

std::string ToText(const client_registration& registration) {
    return std::to_string(registration.permanentLineId) + " " + ToAnsi(registration.tapiLineName) + " " +
           std::to_string(registration.tcpPort) + (registration.clientConnected ? " 1" : " 0") +
           (registration.sipConnected ? " 1" : " 0");
}

std::string ToText(const client_registration_list& registrations) {
    std::string text;
    for (const client_registration& registration : registrations) {
        text += "[" + ToText(registration) + "]";
    }
    return text;
}

std::vector<std::string> recording_handler::Events() const {
    const std::lock_guard guard(lock_);
    return events_;
}

std::vector<std::string> recording_handler::WaitForEvents(std::size_t count) const {
    std::unique_lock guard(lock_);
    (void)more_.wait_for(guard, kSoon, [&] { return events_.size() >= count; });
    return events_;
}

std::vector<client_call_state> recording_handler::CallStates() const {
    const std::lock_guard guard(lock_);
    return call_states_;
}

std::vector<std::thread::id> recording_handler::Threads() const {
    const std::lock_guard guard(lock_);
    return threads_;
}

void recording_handler::Note(const std::string& event) {
    {
        const std::lock_guard guard(lock_);
        events_.push_back(event);
        if (std::find(threads_.begin(), threads_.end(), std::this_thread::get_id()) == threads_.end()) {
            threads_.push_back(std::this_thread::get_id());
        }
    }
    more_.notify_all();
    on_event(event);
}

void recording_handler::OnRegistrationList(const client_registration_list& registrations, bool initial) {
    Note((initial ? "initial list " : "list ") + ToText(registrations));
}

void recording_handler::OnClientRegistered(const client_registration& registration) {
    Note("registered " + ToText(registration));
}

void recording_handler::OnClientRefreshed(const client_registration& registration) {
    Note("refreshed " + ToText(registration));
}

void recording_handler::OnClientUnregistered(const client_registration& registration) {
    Note("unregistered " + ToText(registration));
}

void recording_handler::OnCallState(std::int32_t permanent_line_id, const client_call_state& state) {
    {
        const std::lock_guard guard(lock_);
        call_states_.push_back(state);
    }
    Note("call state " + std::to_string(permanent_line_id) + " " + ToAnsi(state.clientCallId) + " " +
         ToAnsi(state.callState));
}

void recording_handler::OnCallRemoved(std::int32_t permanent_line_id, const char* client_call_id) {
    Note("call removed " + std::to_string(permanent_line_id) + " " + client_call_id);
}

rs_tsp_client_fixture::~rs_tsp_client_fixture() {
    if (owner_ != nullptr) {
        owner_->client.Stop();
    }
}

void rs_tsp_client_fixture::Make(const rs_tsp_client_timing& timing) {
    owner_ = std::make_shared<client_owner>(timing);
}

void rs_tsp_client_fixture::Start(const rs_tsp_client_timing& timing) {
    Make(timing);
    Client().Start(owner_);
}

server_connection rs_tsp_client_fixture::StartConnected(const rs_tsp_client_timing& timing) {
    key_.Publish(server_.Port());
    Start(timing);
    EXPECT_TRUE(Client().IsConnected());
    return server_.Accept();
}

void rs_tsp_client_fixture::Disconnect(server_connection& service) {
    service.Close();
    // The client tells nobody that its connection is gone, so there is nothing to wait on.
    const stopwatch watch;
    while (Client().IsConnected()) {
        ASSERT_LT(watch.Elapsed(), kSoon);
        Sleep(kLookAgainMilliseconds);
    }
}

void rs_tsp_client_fixture::Receive(const std::string& message) {
    Client().Feed(message.data(), message.size());
}

}  // namespace brivelnox::test
