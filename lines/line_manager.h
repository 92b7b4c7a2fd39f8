#pragma once

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "calls/call_manager.h"
#include "lines/line.h"
#include "platform/event_lock.h"
#include "platform/locks.h"
#include "platform/unique_handle.h"
#include "registry_service/registry_service_event_handler.h"
#include "registry_service/rs_tsp_client.h"

namespace brivelnox {

/// Turns the client registrations of the registry service into TAPI lines and keeps them. Owns the lines, the
/// client, the indexes by which requests and events find a line, and the numbering of driver line handles (1,
/// 2, 3, …, never reused) and device identifiers. A line is never removed before shutdown: an unregistered
/// client keeps its line.
///
/// Threads: TAPI's (requests) and the client's reader thread (the event slots). What changes a line or the
/// set of lines takes the event lock (a registration list: for each entry). The lines lock guards the
/// indexes, the counters and the base; it is held for a look-up or a change only and never while calling out,
/// so a line can be found while an application is inside a message. Neither is held while the first
/// registration list is waited for, because the reader needs them for whatever the service sends before.
///
/// Held by std::shared_ptr: every thread that works inside holds the manager, so that one which is still
/// inside when shutdown lets go finds everything in place; lines are freed with their manager.
class line_manager final : private registry_service_event_handler,
                           public std::enable_shared_from_this<line_manager> {
  public:
    /// Makes a line manager with its client connected and its first lines. Waits for the registration list,
    /// at most 20000 ms. The manager exists even if no line could be made. `device_id_base` is 0xFFFFFFFF
    /// while TAPI has not told it. Throws when the manager itself cannot be made.
    static std::shared_ptr<line_manager> Create(std::shared_ptr<call_manager> calls,
                                                LINEEVENT line_create_procedure, HPROVIDER provider_handle,
                                                std::uint32_t device_id_base,
                                                const rs_tsp_client_timing& timing = {});

    line_manager(const line_manager&) = delete;
    line_manager& operator=(const line_manager&) = delete;
    ~line_manager() override;

    /// Ends the work: closes the lines, which resets their calls, shuts the way to TAPI, and stops the
    /// client. Nothing is told to TAPI once this has returned, but for a message that was inside TAPI all the
    /// time, and the completion of the request that it was told by. Waits at most 5000 ms for a callback that
    /// keeps a lock, and as long as the client's Stop; callbacks of its own apart. Idempotent.
    void Stop();

    /// The number of lines now.
    [[nodiscard]] std::uint32_t GetLineCount() const;
    /// The number of lines that the first list has made. Each line is either one of these, which TAPI learns
    /// of by their number, or announced with LINE_CREATE.
    [[nodiscard]] std::uint32_t InitialLineCount() const;

    // Each returns null for an unknown key. The line is valid as long as this manager.

    [[nodiscard]] line* FindLineByDriverLineHandle(std::uintptr_t driver_line_handle) const;
    [[nodiscard]] line* FindLineByDeviceId(std::uint32_t device_id) const;
    [[nodiscard]] line* FindLineByPermanentLineId(std::int32_t permanent_line_id) const;

    /// Opens the line and writes its driver line handle. An unknown device identifier changes nothing. Throws
    /// std::runtime_error, and opens nothing, for a line that is being closed, one that a shutdown has
    /// closed, and once the way to TAPI is shut.
    void OpenLine(std::uint32_t device_id, HTAPILINE tapi_line_handle, HDRVLINE& driver_line_handle,
                  LINEEVENT event_procedure);
    /// Closes the line. An unknown handle is ignored.
    void CloseLine(std::uintptr_t driver_line_handle);
    /// Takes TAPI's base and numbers the lines from it in creation order; a line that has an identifier keeps
    /// it.
    void SetDeviceIdBase(std::uint32_t device_id_base);
    /// Gives the line TAPI's identifier in place of the temporary one, under which it is still found.
    /// 0xFFFFFFFF is ignored.
    void UpdateDeviceId(line& line_to_update, std::uint32_t device_id);

    /// The lock around everything that is told to TAPI.
    [[nodiscard]] event_lock& EventLock() { return event_lock_; }
    /// The call manager that the lines use.
    [[nodiscard]] call_manager& Calls() const { return *call_manager_; }

  private:
    line_manager(std::shared_ptr<call_manager> calls, LINEEVENT line_create_procedure,
                 HPROVIDER provider_handle, std::uint32_t device_id_base, const rs_tsp_client_timing& timing);

    void Start();
    void CleanUp();
    void CreateInitialLines();
    void AnnounceFromNowOn();
    void DeleteLines() BRIVELNOX_REQUIRES(event_lock_);
    line& CreateLine(const client_registration& registration) BRIVELNOX_REQUIRES(event_lock_);
    void ApplyRegistration(const client_registration& registration, bool registered);
    void CreateAnnouncedLine(const client_registration& registration) BRIVELNOX_REQUIRES(event_lock_);
    void ApplyRegistrationList(const client_registration_list& registrations);
    void AddMissingLines(const client_registration_list& registrations);
    void ApplyChange(const client_registration& registration, bool registered);
    void FireLineCreate(const line& new_line) BRIVELNOX_REQUIRES(event_lock_);

    void OnRegistrationList(const client_registration_list& registrations, bool initial) override;
    void OnClientRegistered(const client_registration& registration) override;
    void OnClientRefreshed(const client_registration& registration) override;
    void OnClientUnregistered(const client_registration& registration) override;
    void OnCallState(std::int32_t permanent_line_id, const client_call_state& state) override;
    void OnCallRemoved(std::int32_t permanent_line_id, const char* client_call_id) override;

    event_lock event_lock_;
    mutable mutex lines_lock_ BRIVELNOX_ACQUIRED_AFTER(event_lock_){lock_rank::lines};
    std::map<std::uint32_t, line*> lines_by_device_id_ BRIVELNOX_GUARDED_BY(lines_lock_);
    std::map<std::int32_t, line*> lines_by_permanent_line_id_ BRIVELNOX_GUARDED_BY(lines_lock_);
    // In the order of creation, which is that of the driver line handles.
    std::vector<std::unique_ptr<line>> lines_ BRIVELNOX_GUARDED_BY(lines_lock_);
    // Lines after shutdown: threads that are still inside may hold them.
    std::vector<std::unique_ptr<line>> retired_lines_ BRIVELNOX_GUARDED_BY(lines_lock_);
    const std::shared_ptr<call_manager> call_manager_;
    const LINEEVENT line_create_procedure_;
    const HPROVIDER provider_handle_;
    std::uint32_t device_id_base_ BRIVELNOX_GUARDED_BY(lines_lock_);
    std::uint32_t next_device_id_ BRIVELNOX_GUARDED_BY(lines_lock_);
    // How many lines the first list has made; empty until they are all there. Lines that come about before
    // are counted, those that come later are announced.
    std::optional<std::uint32_t> initial_line_count_ BRIVELNOX_GUARDED_BY(lines_lock_);
    // Both are touched only by the reader thread, with the link's lock held.
    bool list_complete_ = false;
    bool changed_before_list_ = false;
    std::atomic<bool> stopped_{false};
    // Signalled when the first list has been applied, or nobody waits for it any more.
    const unique_event initial_lines_made_;
    // Last, so that everything above is there before the client can deliver and until it has stopped.
    rs_tsp_client client_;
};

}  // namespace brivelnox
