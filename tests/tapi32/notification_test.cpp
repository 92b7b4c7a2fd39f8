// The three ways in which an application can be notified, each with a call that it makes.

#include <cstddef>
#include <deque>

#include "platform/unique_handle.h"
#include "tests/tapi32/tapi_application_helper.h"

namespace brivelnox::test {
namespace {

std::deque<LINEMESSAGE> called_back;
DWORD called_back_on = 0;
HLINEAPP left_inside_callback = 0;

void CALLBACK TakeMessage(DWORD device, DWORD message, DWORD_PTR instance, DWORD_PTR param1, DWORD_PTR param2,
                          DWORD_PTR param3) {
    called_back.push_back({device, message, instance, param1, param2, param3});
    called_back_on = GetCurrentThreadId();
    if (left_inside_callback != 0) {
        EXPECT_EQ(lineShutdown(left_inside_callback), 0);
        left_inside_callback = 0;
    }
}

/// A second application of the process, notified in the way of the test.
class notification : public tapi_application {
  protected:
    LONG Initialize(DWORD options, LINECALLBACK callback = nullptr, HANDLE port = nullptr) {
        parameters_.dwTotalSize = sizeof parameters_;
        parameters_.dwOptions = options;
        parameters_.dwCompletionKey = 4711;
        parameters_.Handles.hCompletionPort = port;
        DWORD version = kVersion;
        return lineInitializeExW(&other_, nullptr, callback, L"tests", &devices_, &version, &parameters_);
    }

    /// Opens the line for the second application and makes a call. Returns the request's id.
    LONG MakeCall() {
        HLINE line = 0;
        EXPECT_EQ(lineOpenW(other_, 0, &line, kVersion, 0, kInstance, LINECALLPRIVILEGE_NONE, 0, nullptr), 0);
        return lineMakeCallW(line, &call_, L"200", 0, nullptr);
    }

    void ExpectReplyThenProceeding(const LINEMESSAGE& reply, const LINEMESSAGE& state, LONG request) const {
        EXPECT_EQ(reply.dwMessageID, kReply);
        EXPECT_EQ(reply.dwParam1, static_cast<DWORD_PTR>(request));
        EXPECT_NE(call_, 0U);
        EXPECT_EQ(state.dwMessageID, kCallState);
        EXPECT_EQ(state.hDevice, call_);
        EXPECT_EQ(state.dwCallbackInstance, kInstance);
        EXPECT_EQ(state.dwParam1, DWORD{LINECALLSTATE_PROCEEDING});
    }

    LINEINITIALIZEEXPARAMS parameters_{};
    HLINEAPP other_ = 0;
    HCALL call_ = 0;
};

/// Dispatches the thread's messages until the callback has been called that often in all.
void DispatchUntil(std::size_t count) {
    const stopwatch watch;
    while (called_back.size() < count && watch.Elapsed() < kSoon) {
        (void)MsgWaitForMultipleObjects(0, nullptr, FALSE, 1000, QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
            (void)DispatchMessageW(&message);
        }
    }
    ASSERT_GE(called_back.size(), count);
}

TEST_F(notification, by_hidden_window_comes_on_the_thread_that_dispatches) {
    called_back.clear();
    ASSERT_EQ(Initialize(LINEINITIALIZEEXOPTION_USEHIDDENWINDOW, &TakeMessage), 0);
    const LONG request = MakeCall();
    EXPECT_TRUE(called_back.empty());
    DispatchUntil(2);
    ExpectReplyThenProceeding(called_back[0], called_back[1], request);
    EXPECT_EQ(called_back_on, GetCurrentThreadId());
    LINEMESSAGE message{};
    EXPECT_EQ(lineGetMessage(other_, &message, 0), kFailed);
    EXPECT_EQ(lineShutdown(other_), 0);
}

TEST_F(notification, by_hidden_window_may_end_inside_the_callback) {
    called_back.clear();
    ASSERT_EQ(Initialize(LINEINITIALIZEEXOPTION_USEHIDDENWINDOW, &TakeMessage), 0);
    (void)MakeCall();
    left_inside_callback = other_;
    DispatchUntil(1);
    EXPECT_EQ(left_inside_callback, 0U);
    EXPECT_EQ(lineShutdown(other_), kInvalidApp);
    EXPECT_EQ(called_back.size(), 1U);
}

TEST_F(notification, by_event_sets_it_while_messages_wait) {
    phone_->SetDefaultOutcome(simulator::dial_outcome::kSilent);  // nothing comes behind PROCEEDING
    ASSERT_EQ(Initialize(LINEINITIALIZEEXOPTION_USEEVENT), 0);
    const HANDLE event = parameters_.Handles.hEvent;
    EXPECT_EQ(WaitForSingleObject(event, 0), DWORD{WAIT_TIMEOUT});
    const LONG request = MakeCall();
    EXPECT_EQ(WaitForSingleObject(event, static_cast<DWORD>(kSoon.count())), DWORD{WAIT_OBJECT_0});
    LINEMESSAGE reply{};
    LINEMESSAGE state{};
    EXPECT_EQ(lineGetMessage(other_, &reply, INFINITE), 0);
    EXPECT_EQ(lineGetMessage(other_, &state, INFINITE), 0);
    ExpectReplyThenProceeding(reply, state, request);
    EXPECT_EQ(WaitForSingleObject(event, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(lineGetMessage(other_, &state, 1), kFailed);
    EXPECT_EQ(lineShutdown(other_), 0);
}

TEST_F(notification, by_completion_port_posts_to_it_with_its_key) {
    const unique_event port(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1));
    ASSERT_EQ(Initialize(LINEINITIALIZEEXOPTION_USECOMPLETIONPORT, nullptr, port.get()), 0);
    const LONG request = MakeCall();
    LINEMESSAGE messages[2] = {};
    for (LINEMESSAGE& each : messages) {
        DWORD size = 0;
        ULONG_PTR key = 0;
        OVERLAPPED* posted = nullptr;
        ASSERT_NE(
            GetQueuedCompletionStatus(port.get(), &size, &key, &posted, static_cast<DWORD>(kSoon.count())),
            FALSE);
        EXPECT_EQ(key, 4711U);
        each = *reinterpret_cast<LINEMESSAGE*>(posted);
        EXPECT_EQ(LocalFree(posted), nullptr);
    }
    ExpectReplyThenProceeding(messages[0], messages[1], request);
    EXPECT_EQ(lineShutdown(other_), 0);
}

TEST_F(notification, has_to_be_one_of_the_three) {
    EXPECT_EQ(Initialize(0), kInvalidParameter);
    EXPECT_EQ(Initialize(LINEINITIALIZEEXOPTION_USEHIDDENWINDOW, nullptr), kInvalidParameter);
    parameters_.dwTotalSize = 0;
    DWORD version = kVersion;
    EXPECT_EQ(lineInitializeExW(&other_, nullptr, nullptr, nullptr, &devices_, &version, &parameters_),
              kTooSmall);
}

}  // namespace
}  // namespace brivelnox::test
