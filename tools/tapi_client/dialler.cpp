#include "tools/tapi_client/dialler.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>

#include "tools/console/command_words.h"
#include "tools/telephony_host/names.h"

namespace brivelnox::tapi_client {

namespace {

// Versions 1.3 to 2.2: what this application was written for.
constexpr DWORD kLowestVersion = 0x00010003;
constexpr DWORD kHighestVersion = 0x00020002;
constexpr DWORD kVoice = LINEMEDIAMODE_INTERACTIVEVOICE;
constexpr wchar_t kName[] = L"tapi_client";

std::string Quoted(const std::wstring& text) {
    return " \"" + console::ToUtf8(text) + "\"";
}

std::string Of(const char* function, HCALL call) {
    return std::string(function) + " " + HandleText(call);
}

/// A structure with a variable part, made larger until everything fits.
template <class Structure>
class grown {
  public:
    /// Calls `fill` with the structure, whose total size is set, and keeps what it returned.
    template <class Fill>
    explicit grown(Fill fill) {
        for (DWORD size = sizeof(Structure);;) {
            bytes_.assign(size, std::byte{0});
            auto* const structure = reinterpret_cast<Structure*>(bytes_.data());
            structure->dwTotalSize = size;
            result_ = fill(structure);
            if ((result_ != 0 && result_ != static_cast<LONG>(LINEERR_STRUCTURETOOSMALL)) ||
                structure->dwNeededSize <= size) {
                return;
            }
            size = structure->dwNeededSize;
        }
    }
    [[nodiscard]] LONG Result() const { return result_; }
    const Structure* operator->() const { return reinterpret_cast<const Structure*>(bytes_.data()); }
    [[nodiscard]] std::wstring Text(DWORD size, DWORD offset) const {
        if (size < sizeof(wchar_t) || offset > bytes_.size() || size > bytes_.size() - offset) {
            return {};
        }
        std::wstring text(size / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), bytes_.data() + offset, text.size() * sizeof(wchar_t));
        return text.substr(0, text.find(L'\0'));
    }

  private:
    std::vector<std::byte> bytes_;
    LONG result_ = 0;
};

}  // namespace

std::string HandleText(DWORD handle) {
    char text[16];
    (void)std::snprintf(text, sizeof text, "0x%lX", handle);
    return text;
}

dialler::dialler(std::unique_ptr<message_source> messages, print out, milliseconds patience)
    : messages_(std::move(messages)), out_(std::move(out)), patience_(patience) {}

dialler::~dialler() {
    if (app_ != 0) {
        (void)lineShutdown(app_);
    }
}

void dialler::Start() {
    LINEINITIALIZEEXPARAMS parameters = messages_->Parameters();
    DWORD devices = 0;
    DWORD version = kHighestVersion;
    Check("lineInitializeEx", lineInitializeExW(&app_, GetModuleHandleW(nullptr), messages_->Callback(),
                                                kName, &devices, &version, &parameters));
    messages_->Begin(app_, parameters);
    for (DWORD device = 0; device < devices; ++device) {
        Meet(device);
    }
}

void dialler::Leave() {
    const HLINEAPP leaving = std::exchange(app_, 0);
    Check("lineShutdown", lineShutdown(leaving));
}

/// Finds out what the line is; one that this application cannot use is passed over.
void dialler::Meet(DWORD device) {
    const bool known = std::any_of(lines_.begin(), lines_.end(),
                                   [device](const known_line& each) { return each.device == device; });
    known_line line;
    line.device = device;
    LINEEXTENSIONID extension{};
    if (known || lineNegotiateAPIVersion(app_, device, kLowestVersion, kHighestVersion, &line.version,
                                         &extension) != 0) {
        return;
    }
    const grown<LINEDEVCAPS> caps(
        [&](LINEDEVCAPS* filled) { return lineGetDevCapsW(app_, device, line.version, 0, filled); });
    Check("lineGetDevCaps " + std::to_string(device), caps.Result());
    line.name = caps.Text(caps->dwLineNameSize, caps->dwLineNameOffset);
    line.permanent_id = caps->dwPermanentLineID;
    out_("line " + std::to_string(device) + Quoted(line.name) + ", permanent id " +
         std::to_string(line.permanent_id));
    lines_.push_back(line);
}

known_line& dialler::WaitForLine(const std::wstring& name) {
    const auto find = [&] {
        return std::find_if(lines_.begin(), lines_.end(),
                            [&](const known_line& each) { return each.name == name; });
    };
    WaitUntil([&] { return find() != lines_.end(); }, "a line" + Quoted(name));
    return *find();
}

void dialler::Open(known_line& line) {
    Check("lineOpen" + Quoted(line.name), lineOpenW(app_, line.device, &line.handle, line.version, 0,
                                                    line.device, LINECALLPRIVILEGE_OWNER, kVoice, nullptr));
}

void dialler::Close(known_line& line) {
    const HLINE handle = std::exchange(line.handle, 0);
    Check("lineClose" + Quoted(line.name), lineClose(handle));
    if (lineClose(handle) != static_cast<LONG>(LINEERR_INVALLINEHANDLE)) {
        Surprise("the handle of a line that was closed is taken");
    }
}

std::pair<DWORD, DWORD> dialler::CountCalls(const known_line& line) {
    const grown<LINEDEVSTATUS> status(
        [&](LINEDEVSTATUS* filled) { return lineGetLineDevStatusW(line.handle, filled); });
    Check("lineGetLineDevStatus" + Quoted(line.name), status.Result());
    return {status->dwNumActiveCalls, status->dwNumOnHoldCalls};
}

DWORD dialler::CallFeatures(const known_line& line) {
    const grown<LINEADDRESSCAPS> caps([&](LINEADDRESSCAPS* filled) {
        return lineGetAddressCapsW(app_, line.device, 0, line.version, 0, filled);
    });
    Check("lineGetAddressCaps" + Quoted(line.name), caps.Result());
    return caps->dwCallFeatures;
}

HCALL dialler::MakeCall(const known_line& line, const std::wstring& number) {
    // The place for the handle has to be there until the reply has come.
    HCALL call = 0;
    Await("lineMakeCall" + Quoted(number), lineMakeCallW(line.handle, &call, number.c_str(), 0, nullptr));
    Adopt(call, line.handle);
    return call;
}

void dialler::Answer(HCALL call) {
    Await(Of("lineAnswer", call), lineAnswer(call, nullptr, 0));
}

void dialler::Drop(HCALL call) {
    Await(Of("lineDrop", call), lineDrop(call, nullptr, 0));
}

void dialler::Hold(HCALL call) {
    Await(Of("lineHold", call), lineHold(call));
}

void dialler::Unhold(HCALL call) {
    Await(Of("lineUnhold", call), lineUnhold(call));
}

void dialler::SwapHold(HCALL active, HCALL held) {
    Await(Of("lineSwapHold", active), lineSwapHold(active, held));
}

HCALL dialler::SetupTransfer(HCALL call) {
    HCALL consultation = 0;
    Await(Of("lineSetupTransfer", call), lineSetupTransferW(call, &consultation, nullptr));
    Adopt(consultation, calls_[call].line);
    return consultation;
}

void dialler::Dial(HCALL call, const std::wstring& number) {
    Await(Of("lineDial", call) + Quoted(number), lineDialW(call, number.c_str(), 0));
}

void dialler::CompleteTransfer(HCALL call, HCALL consultation) {
    Await(Of("lineCompleteTransfer", call),
          lineCompleteTransfer(call, consultation, nullptr, LINETRANSFERMODE_TRANSFER));
}

void dialler::BlindTransfer(HCALL call, const std::wstring& number) {
    Await(Of("lineBlindTransfer", call) + Quoted(number), lineBlindTransferW(call, number.c_str(), 0));
}

void dialler::Redirect(HCALL call, const std::wstring& number) {
    Await(Of("lineRedirect", call) + Quoted(number), lineRedirectW(call, number.c_str(), 0));
}

void dialler::GenerateDigits(HCALL call, const std::wstring& digits) {
    Check(Of("lineGenerateDigits", call) + Quoted(digits),
          lineGenerateDigitsW(call, LINEDIGITMODE_DTMF, digits.c_str(), 0));
}

void dialler::Deallocate(HCALL call) {
    Check(Of("lineDeallocateCall", call), lineDeallocateCall(call));
    calls_.erase(call);
    if (lineDrop(call, nullptr, 0) != static_cast<LONG>(LINEERR_INVALCALLHANDLE)) {
        Surprise("the handle of a call that was let go of is taken");
    }
}

call_details dialler::Details(HCALL call) {
    const grown<LINECALLINFO> told([&](LINECALLINFO* filled) { return lineGetCallInfoW(call, filled); });
    Check(Of("lineGetCallInfo", call), told.Result());
    if (told->hLine != calls_[call].line) {
        Surprise("a call is said to be of another line than the one it was announced on");
    }
    const auto party = [&](DWORD size, DWORD offset, DWORD name_size, DWORD name_offset) {
        return call_party{told.Text(size, offset), told.Text(name_size, name_offset)};
    };
    return {told->dwOrigin, told->dwReason,
            party(told->dwCallerIDSize, told->dwCallerIDOffset, told->dwCallerIDNameSize,
                  told->dwCallerIDNameOffset),
            party(told->dwCalledIDSize, told->dwCalledIDOffset, told->dwCalledIDNameSize,
                  told->dwCalledIDNameOffset),
            party(told->dwRedirectingIDSize, told->dwRedirectingIDOffset, told->dwRedirectingIDNameSize,
                  told->dwRedirectingIDNameOffset)};
}

std::pair<DWORD, DWORD> dialler::Status(HCALL call) {
    const grown<LINECALLSTATUS> status(
        [&](LINECALLSTATUS* filled) { return lineGetCallStatus(call, filled); });
    Check(Of("lineGetCallStatus", call), status.Result());
    if (status->dwCallPrivilege != LINECALLPRIVILEGE_OWNER) {
        Surprise("this application does not own a call of its line");
    }
    return {status->dwCallState, status->dwCallFeatures};
}

HCALL dialler::WaitForNewCall(const known_line& line) {
    const auto find = [&] {
        return std::find_if(new_calls_.begin(), new_calls_.end(),
                            [&](HCALL each) { return calls_[each].line == line.handle; });
    };
    WaitUntil([&] { return find() != new_calls_.end(); }, "a new call on" + Quoted(line.name));
    const auto found = find();
    const HCALL call = *found;
    new_calls_.erase(found);
    return call;
}

DWORD dialler::WaitForState(HCALL call, DWORD state, std::size_t from) {
    const known_call& known = calls_[call];
    std::size_t position = from;
    const auto reached = [&] {
        while (position < known.states.size() && known.states[position] != state) {
            ++position;
        }
        return position < known.states.size();
    };
    WaitUntil(reached, host::CallStateName(state) + " for call " + HandleText(call));
    return known.modes[position];
}

/// Waits for the reply to an asynchronous request.
void dialler::Await(const std::string& what, LONG returned) {
    if (returned <= 0) {
        Check(what, returned);
        throw std::runtime_error(what + ": no request id");
    }
    const auto request = static_cast<DWORD_PTR>(returned);
    out_(what + ": request " + std::to_string(returned));
    outstanding_.insert(request);
    WaitUntil([&] { return replies_.contains(request); }, "the reply to " + what);
    const LONG result = replies_[request];
    replies_.erase(request);
    if (result != 0) {
        throw std::runtime_error(what + ": " + host::ResultName(result));
    }
}

void dialler::Check(const std::string& what, LONG returned) {
    out_(what + ": " + host::ResultName(returned));
    if (returned != 0) {
        throw std::runtime_error(what + ": " + host::ResultName(returned));
    }
}

void dialler::Adopt(HCALL call, HLINE line) {
    known_call known;
    known.number = ++calls_so_far_;
    known.line = line;
    calls_[call] = known;
}

}  // namespace brivelnox::tapi_client
