#pragma once

// Stands in for TAPI's event procedures and records what the provider tells.

#include <windows.h>
#include <tspi.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <vector>

namespace brivelnox::test {

/// One call of an event procedure.
struct tapi_event {
    std::uintptr_t line = 0;
    std::uintptr_t call = 0;
    DWORD message = 0;
    DWORD_PTR param1 = 0;
    /// For LINE_NEWCALL not the address that was given, but the handle that the recorder has written there.
    DWORD_PTR param2 = 0;
    DWORD_PTR param3 = 0;

    bool operator==(const tapi_event&) const = default;
};

/// For the messages of failed assertions.
std::ostream& operator<<(std::ostream& out, const tapi_event& event);

/// The messages as a test expects them.
tapi_event NewCall(std::uintptr_t line, std::uint64_t driver_call_handle, std::uintptr_t call);
tapi_event CallState(std::uintptr_t line, std::uintptr_t call, DWORD state, DWORD mode = 0);
tapi_event CallInfo(std::uintptr_t line, std::uintptr_t call, DWORD changed_bits);
tapi_event LineCreate(std::uintptr_t provider, DWORD device_id);

/// Records every message that arrives at its procedures while it lives. Event procedures are plain functions,
/// so there is one recorder at a time. All operations may be called on any thread, also from a reaction.
class tapi_recorder {
  public:
    using milliseconds = std::chrono::milliseconds;
    using reaction = std::function<void(const tapi_event&)>;

    /// The handle that the first LINE_NEWCALL is given; the next ones count up.
    static constexpr std::uintptr_t kFirstCallHandle = 0x1001;

    tapi_recorder();
    ~tapi_recorder();
    tapi_recorder(const tapi_recorder&) = delete;
    tapi_recorder& operator=(const tapi_recorder&) = delete;

    /// The procedure to hand to the provider. A second one tells apart what was sent through which.
    [[nodiscard]] LINEEVENT Procedure() const;
    [[nodiscard]] LINEEVENT OtherProcedure() const;

    /// What happens inside the procedure, after the message has been recorded: as TAPI's own code would call
    /// back into the provider.
    void SetReaction(reaction react);
    /// Whether LINE_NEWCALL is answered with a call handle; it is to begin with.
    void SetAnswersNewCalls(bool answers) { answers_new_calls_ = answers; }

    [[nodiscard]] std::vector<tapi_event> Events() const;
    /// Only those that came through the other procedure.
    [[nodiscard]] std::vector<tapi_event> OtherEvents() const;
    /// Only the messages for one call.
    [[nodiscard]] std::vector<tapi_event> EventsOf(std::uintptr_t call) const;
    [[nodiscard]] std::size_t Count() const;
    void Clear();
    /// Until at least so many messages have been recorded. Returns false when the time is over first.
    bool WaitForCount(std::size_t count, milliseconds timeout) const;

    /// Whether two threads have ever been inside a procedure at the same moment.
    [[nodiscard]] bool HasOverlapped() const { return overlapped_; }

  private:
    class presence;
    struct recorded_event {
        tapi_event event;
        bool other;
    };

    static void CALLBACK OnEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                 DWORD_PTR param2, DWORD_PTR param3);
    static void CALLBACK OnOtherEvent(HTAPILINE line, HTAPICALL call, DWORD message, DWORD_PTR param1,
                                      DWORD_PTR param2, DWORD_PTR param3);
    static void Receive(tapi_event event, bool other);
    void Record(tapi_event event, bool other);
    [[nodiscard]] DWORD_PTR AnswerNewCall(DWORD_PTR address);

    std::atomic<bool> answers_new_calls_{true};
    std::atomic<bool> overlapped_{false};
    std::atomic<DWORD> inside_{0};  // the thread that is inside a procedure, 0: none
    mutable std::mutex mutex_;
    mutable std::condition_variable recorded_;
    std::vector<recorded_event> events_;
    reaction reaction_;
    std::uintptr_t next_call_handle_ = kFirstCallHandle;
};

}  // namespace brivelnox::test
