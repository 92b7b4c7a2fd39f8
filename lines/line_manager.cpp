#include "lines/line_manager.h"

#include <utility>

#include "lines/tapi_event_sender.h"
#include "logging/category_log.h"
#include "platform/ansi_text.h"
#include "platform/low32.h"
#include "platform/scope_exit.h"

namespace brivelnox {

namespace {

constexpr category_log Log{L"LineManager"};

constexpr std::int32_t kNoPermanentLineId = -1;
constexpr std::chrono::milliseconds kCleanUpLockWait{5000};
constexpr std::chrono::milliseconds kLastMessageWait{1000};

template <class Index>
line* FindIn(const Index& index, typename Index::key_type key) {
    const auto found = index.find(key);
    return found != index.end() ? found->second : nullptr;
}

}  // namespace

std::shared_ptr<line_manager> line_manager::Create(std::shared_ptr<call_manager> calls,
                                                   LINEEVENT line_create_procedure, HPROVIDER provider_handle,
                                                   std::uint32_t device_id_base,
                                                   const rs_tsp_client_timing& timing) {
    // The constructor is private so that no manager exists without its shared_ptr; make_shared cannot reach
    // it.
    std::shared_ptr<line_manager> manager(
        new line_manager(std::move(calls), line_create_procedure, provider_handle, device_id_base, timing));
    manager->Start();
    return manager;
}

line_manager::line_manager(std::shared_ptr<call_manager> calls, LINEEVENT line_create_procedure,
                           HPROVIDER provider_handle, std::uint32_t device_id_base,
                           const rs_tsp_client_timing& timing)
    : call_manager_(std::move(calls)),
      line_create_procedure_(line_create_procedure),
      provider_handle_(provider_handle),
      device_id_base_(device_id_base),
      next_device_id_(device_id_base),
      initial_lines_made_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      client_(*this, timing) {}

line_manager::~line_manager() {
    Stop();
}

void line_manager::Start() {
    // On every path: the reader may be waiting for it.
    const scope_exit started([this] { (void)SetEvent(initial_lines_made_.get()); });
    client_.Start(weak_from_this());
    // These two characters are all that is logged about the construction. That is intended.
    Log(L"()");
    CreateInitialLines();
}

void line_manager::Stop() {
    if (stopped_.exchange(true)) {
        return;
    }
    CleanUp();
    client_.Stop();
}

void line_manager::CleanUp() {
    Log(L"CleanUp");
    // Bounded: an application that blocks in a callback keeps the lock, and the telephony service has to be
    // able to stop all the same.
    if (event_lock_.try_lock_until(lock_clock::now() + kCleanUpLockWait)) {
        const lock_guard events(event_lock_, std::adopt_lock);
        DeleteLines();
        // While the lock is held: no other thread is on its way to TAPI, and none will be.
        event_lock_.Shut();
        return;
    }
    Log(L"CleanUp: Failure cleaning up LineManager.");
    event_lock_.Shut();
    // A thread that had passed the test just before has the lock now; it is given the time to finish, and any
    // other finds the way shut.
    if (event_lock_.try_lock_until(lock_clock::now() + kLastMessageWait)) {
        const lock_guard guard(event_lock_, std::adopt_lock);
    }
}

void line_manager::DeleteLines() {
    Log(L"DeleteLines");
    // By handle: TAPI may bring about a new line from inside a message.
    for (std::uintptr_t handle = 1; line* const closed = FindLineByDriverLineHandle(handle); ++handle) {
        closed->Retire();
    }
    const lock_guard guard(lines_lock_);
    retired_lines_ = std::exchange(lines_, {});
    lines_by_permanent_line_id_.clear();
    // The index by device identifier is deliberately left; it goes with the manager.
}

void line_manager::CreateInitialLines() {
    Log(L"CreateInitialLines");
    client_registration_list registrations;
    try {
        registrations = client_.RequestClientRegistrations(true);
        ApplyRegistrationList(registrations);
    } catch (...) {
        // The provider goes on without lines; they come with the next list.
    }
    AnnounceFromNowOn();
    if (registrations.empty()) {
        (void)client_.RequestClientRegistrations(false);
    }
}

/// TAPI learns of the lines that are there by their number, and of every further one by LINE_CREATE. The
/// number and the moment are one decision, also for the reader thread, which may be making lines of what the
/// service sends without being asked.
void line_manager::AnnounceFromNowOn() {
    const lock_guard events(event_lock_);
    const lock_guard guard(lines_lock_);
    initial_line_count_ = static_cast<std::uint32_t>(lines_.size());
}

void line_manager::ApplyRegistrationList(const client_registration_list& registrations) {
    // Not under one lock for the whole list: each entry writes several lines to the log, and a list of
    // thousands would keep every request of TAPI waiting.
    const std::uint32_t old_count = GetLineCount();
    if (old_count != 0 && old_count != registrations.size()) {
        Log(L"Client list changed. Old size: %d, new size: %d", old_count,
            static_cast<std::uint32_t>(registrations.size()));
    }
    for (const client_registration& registration : registrations) {
        // A softphone without a port is not registered.
        ApplyRegistration(registration, registration.tcpPort != 0);
    }
}

void line_manager::ApplyRegistration(const client_registration& registration, bool registered) {
    try {
        const lock_guard events(event_lock_);
        if (event_lock_.IsShut()) {
            return;
        }
        if (line* const known = FindLineByPermanentLineId(registration.permanentLineId); known != nullptr) {
            Log(L"Update existing line");
            known->UpdateRegistration(registration, registered);
            known->UpdateServiceState(registration.clientConnected, registration.sipConnected);
        } else {
            // Registered or not: lines follow permanent ids, not the state of the registration. That is
            // intended.
            Log(L"Create new line");
            CreateAnnouncedLine(registration);
        }
    } catch (...) {
        // One registration that could not be applied must not cost the others.
    }
}

void line_manager::CreateAnnouncedLine(const client_registration& registration) {
    line& created = CreateLine(registration);
    created.UpdateServiceState(registration.clientConnected, registration.sipConnected);
    const bool is_announced = [this] {
        const lock_guard guard(lines_lock_);
        return initial_line_count_.has_value();
    }();
    if (is_announced) {
        FireLineCreate(created);
    }
}

/// Makes a line and enters it into the list and its indexes: into all of them, or it is not there.
line& line_manager::CreateLine(const client_registration& registration) {
    const lock_guard guard(lines_lock_);
    const std::uint32_t device_id = device_id_base_ != kUnknownDeviceId ? next_device_id_ : kUnknownDeviceId;
    auto owned = std::make_unique<line>(static_cast<std::uint32_t>(lines_.size() + 1), registration,
                                        event_lock_, *call_manager_, client_, device_id);
    line& created = *owned;
    // All that takes memory comes first.
    std::map<std::uint32_t, line*> by_device_id{{device_id, &created}};
    std::map<std::int32_t, line*> by_permanent_line_id{{created.PermanentLineId(), &created}};
    lines_.push_back(std::move(owned));
    if (device_id != kUnknownDeviceId) {
        ++next_device_id_;
        // A later key that equals an existing one takes its place.
        lines_by_device_id_.erase(device_id);
        lines_by_device_id_.merge(by_device_id);
    }
    if (created.PermanentLineId() != kNoPermanentLineId) {
        lines_by_permanent_line_id_.merge(by_permanent_line_id);
    }
    return created;
}

void line_manager::FireLineCreate(const line& new_line) {
    if (line_create_procedure_ == nullptr) {
        Log(L"Cannot fire LINE_CREATE, event proc is null");
        return;
    }
    // The log shows the driver line handle under this label, while TAPI receives the device identifier. That
    // is intended.
    Log(L"Fire LINE_CREATE with temporary device identifier 0x%08X", new_line.DriverLineHandle());
    SendTapiEvent(event_lock_, line_create_procedure_, {}, nullptr, nullptr, LINE_CREATE,
                  reinterpret_cast<DWORD_PTR>(provider_handle_), new_line.DeviceId(), 0);
}

std::uint32_t line_manager::GetLineCount() const {
    const lock_guard guard(lines_lock_);
    return static_cast<std::uint32_t>(lines_.size());
}

std::uint32_t line_manager::InitialLineCount() const {
    const lock_guard guard(lines_lock_);
    return initial_line_count_.value_or(0);
}

line* line_manager::FindLineByDriverLineHandle(std::uintptr_t driver_line_handle) const {
    const lock_guard guard(lines_lock_);
    const bool is_known = driver_line_handle != 0 && driver_line_handle <= lines_.size();
    return is_known ? lines_[driver_line_handle - 1].get() : nullptr;
}

line* line_manager::FindLineByDeviceId(std::uint32_t device_id) const {
    const lock_guard guard(lines_lock_);
    return FindIn(lines_by_device_id_, device_id);
}

line* line_manager::FindLineByPermanentLineId(std::int32_t permanent_line_id) const {
    const lock_guard guard(lines_lock_);
    return FindIn(lines_by_permanent_line_id_, permanent_line_id);
}

void line_manager::OpenLine(std::uint32_t device_id, HTAPILINE tapi_line_handle, HDRVLINE& driver_line_handle,
                            LINEEVENT event_procedure) {
    const lock_guard events(event_lock_);
    line* const found = FindLineByDeviceId(device_id);
    if (found == nullptr) {
        return;
    }
    event_lock_.RequireOpen();
    found->RequireNotEnding();
    Log(L"Open line with deviceId 0x%08X and assign tapiLineHandle: 0x%08X. Event procedure address: 0x%08X. Return driverLineHandle: 0x%08X. %s",
        device_id, Low32(tapi_line_handle), Low32(event_procedure), found->DriverLineHandle(),
        found->Name().c_str());
    found->Open(tapi_line_handle, event_procedure);
    driver_line_handle = reinterpret_cast<HDRVLINE>(static_cast<std::uintptr_t>(found->DriverLineHandle()));
}

void line_manager::CloseLine(std::uintptr_t driver_line_handle) {
    const lock_guard events(event_lock_);
    if (line* const found = FindLineByDriverLineHandle(driver_line_handle); found != nullptr) {
        found->Close();
    }
}

void line_manager::SetDeviceIdBase(std::uint32_t device_id_base) {
    try {
        const lock_guard events(event_lock_);
        const lock_guard guard(lines_lock_);
        device_id_base_ = device_id_base;
        // First, so that no later line is given a number of these.
        next_device_id_ = device_id_base + static_cast<std::uint32_t>(lines_.size());
        std::uint32_t device_id = device_id_base - 1;
        for (const auto& numbered : lines_) {
            if (++device_id != kUnknownDeviceId) {
                numbered->InitializeDeviceId(device_id);
                lines_by_device_id_[numbered->DeviceId()] = numbered.get();
            }
        }
    } catch (...) {
        // The lines that could not be numbered stay unknown to TAPI; the others work.
    }
}

void line_manager::UpdateDeviceId(line& line_to_update, std::uint32_t device_id) {
    if (device_id == kUnknownDeviceId) {
        return;
    }
    try {
        const lock_guard events(event_lock_);
        line_to_update.UpdateDeviceId(device_id);
        const lock_guard guard(lines_lock_);
        // The temporary key is deliberately left: the line stays reachable under both identifiers.
        lines_by_device_id_[device_id] = &line_to_update;
    } catch (...) {
        // The line stays reachable under the identifier it had.
    }
}

void line_manager::OnRegistrationList(const client_registration_list& registrations, bool initial) {
    if (initial) {
        // This list is applied by the thread that waits for it. Whatever the service sends behind the list
        // counts after it and must not overtake that thread, however long the list takes it. It always gets
        // to its end: it waits for nothing that this thread holds, and TAPI is told nothing before.
        (void)WaitForSingleObject(initial_lines_made_.get(), INFINITE);
        if (list_complete_) {
            AddMissingLines(registrations);
        }
    } else {
        ApplyRegistrationList(registrations);
    }
    list_complete_ = true;
    if (changed_before_list_) {
        changed_before_list_ = false;
        (void)client_.RequestClientRegistrations(false);
    }
}

/// Makes the lines that the answer to the start names and the start has not made, because it was content with
/// a list that nobody had asked for.
void line_manager::AddMissingLines(const client_registration_list& registrations) {
    for (const client_registration& registration : registrations) {
        if (registration.permanentLineId != kNoPermanentLineId &&
            FindLineByPermanentLineId(registration.permanentLineId) == nullptr) {
            ApplyRegistration(registration, registration.tcpPort != 0);
        }
    }
}

void line_manager::OnClientRegistered(const client_registration& registration) {
    Log(L"Client registered: %s on port %d", registration.tapiLineName.c_str(), registration.tcpPort);
    ApplyChange(registration, true);
}

void line_manager::OnClientRefreshed(const client_registration& registration) {
    ApplyChange(registration, true);
}

void line_manager::OnClientUnregistered(const client_registration& registration) {
    Log(L"Client unregistered: %s", registration.tapiLineName.c_str());
    ApplyChange(registration, false);
}

void line_manager::ApplyChange(const client_registration& registration, bool registered) {
    if (list_complete_) {
        ApplyRegistration(registration, registered);
    } else {
        changed_before_list_ = true;
        Log(L"Client registration changed before receiving complete list");
    }
}

void line_manager::OnCallState(std::int32_t permanent_line_id, const client_call_state& state) {
    // What fails the link drops: the call's next event brings it up to date.
    if (line* const found = FindLineByPermanentLineId(permanent_line_id); found != nullptr) {
        found->Calls().OnClientCallState(state);
    }
}

void line_manager::OnCallRemoved(std::int32_t permanent_line_id, const char* client_call_id) {
    if (line* const found = FindLineByPermanentLineId(permanent_line_id); found != nullptr) {
        found->Calls().OnCallRemoved(ToWide(client_call_id));
    }
}

}  // namespace brivelnox
