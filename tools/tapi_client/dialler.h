#pragma once

// An application of TAPI's: it finds lines, opens them, makes and takes calls, and remembers what it was
// told. It knows TAPI from its published description only, and holds TAPI to it: what must not be is a
// surprise.

#include <windows.h>
#include <tapi.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/tapi_client/message_source.h"

namespace brivelnox::tapi_client {

/// A handle as the print shows it: "0x3000001".
std::string HandleText(DWORD handle);

/// A line that this application has met.
struct known_line {
    DWORD device = 0;
    DWORD version = 0;  ///< agreed on
    DWORD permanent_id = 0;
    std::wstring name;
    HLINE handle = 0;  ///< 0 while it is not open
};

/// A call from the moment when this application has its handle until it lets go of it.
struct known_call {
    std::size_t number = 0;  ///< counts this application's calls; handles are not in any order
    HLINE line = 0;
    std::vector<DWORD> states;  ///< in the order of the messages
    std::vector<DWORD> modes;   ///< the second parameter of each
    [[nodiscard]] DWORD State() const { return states.empty() ? LINECALLSTATE_UNKNOWN : states.back(); }
};

/// One party of a call.
struct call_party {
    std::wstring number;
    std::wstring name;
};

/// What LINECALLINFO says of a call.
struct call_details {
    DWORD origin = 0;
    DWORD reason = 0;
    call_party caller;
    call_party called;
    call_party redirecting;
};

/// For one thread. Whatever is refused, fails, or does not come within the patience is thrown as
/// std::runtime_error. Everything that passes between the application and TAPI is printed.
class dialler {
  public:
    using milliseconds = std::chrono::milliseconds;
    using print = std::function<void(const std::string&)>;

    dialler(std::unique_ptr<message_source> messages, print out, milliseconds patience);
    /// lineShutdown, if the application has not left.
    ~dialler();
    dialler(const dialler&) = delete;
    dialler& operator=(const dialler&) = delete;

    /// lineInitializeEx, and the name and version of each line.
    void Start();
    /// lineShutdown.
    void Leave();

    // --- Lines.

    /// In the order in which they became known. They stay where they are.
    [[nodiscard]] std::deque<known_line>& Lines() { return lines_; }
    /// The line with the name, waiting for it: it may be created yet.
    known_line& WaitForLine(const std::wstring& name);
    /// Opens the line for calls of its own and for those that come in.
    void Open(known_line& line);
    void Close(known_line& line);
    /// The calls that are active and those on hold, as the line counts them.
    std::pair<DWORD, DWORD> CountCalls(const known_line& line);
    /// The LINECALLFEATURE_ bits that the line's address can have.
    DWORD CallFeatures(const known_line& line);

    // --- Calls. A request returns when TAPI has replied to it.

    HCALL MakeCall(const known_line& line, const std::wstring& number);
    void Answer(HCALL call);
    void Drop(HCALL call);
    void Hold(HCALL call);
    void Unhold(HCALL call);
    void SwapHold(HCALL active, HCALL held);
    HCALL SetupTransfer(HCALL call);
    void Dial(HCALL call, const std::wstring& number);
    void CompleteTransfer(HCALL call, HCALL consultation);
    void BlindTransfer(HCALL call, const std::wstring& number);
    void Redirect(HCALL call, const std::wstring& number);
    void GenerateDigits(HCALL call, const std::wstring& digits);
    /// lineDeallocateCall. The handle must be refused afterwards.
    void Deallocate(HCALL call);
    call_details Details(HCALL call);
    /// The state and the features that lineGetCallStatus tells.
    std::pair<DWORD, DWORD> Status(HCALL call);

    [[nodiscard]] const std::map<HCALL, known_call>& Calls() const { return calls_; }
    /// The next call that is announced on the line.
    HCALL WaitForNewCall(const known_line& line);
    /// Until the call has been in the state, counting its states from the one with this index on. Returns the
    /// second parameter of the message.
    DWORD WaitForState(HCALL call, DWORD state, std::size_t from = 0);

    // --- Messages.

    /// Takes messages until the condition holds; what is expected goes into the failure's text.
    void WaitUntil(const std::function<bool()>& condition, const std::string& what);
    /// Takes the messages that are there.
    void TakeWaiting();
    /// What TAPI must not have done.
    [[nodiscard]] const std::vector<std::string>& Surprises() const { return surprises_; }

  private:
    void Meet(DWORD device);
    void Take(const LINEMESSAGE& message);
    void TakeReply(const LINEMESSAGE& message);
    void TakeNewCall(const LINEMESSAGE& message);
    void TakeCallMessage(const LINEMESSAGE& message);
    void Surprise(const std::string& what);
    void Await(const std::string& what, LONG returned);
    void Check(const std::string& what, LONG returned);
    void Adopt(HCALL call, HLINE line);

    const std::unique_ptr<message_source> messages_;
    const print out_;
    const milliseconds patience_;
    HLINEAPP app_ = 0;
    std::deque<known_line> lines_;  // whoever has a line keeps it while others come
    std::map<HCALL, known_call> calls_;
    std::size_t calls_so_far_ = 0;
    std::vector<HCALL> new_calls_;       // announced, and nobody has waited for them
    std::set<DWORD_PTR> outstanding_;    // requests without a reply
    std::map<DWORD_PTR, LONG> replies_;  // that nobody has looked at
    std::vector<std::string> surprises_;
};

}  // namespace brivelnox::tapi_client
