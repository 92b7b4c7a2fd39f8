// The order in which an application is told of its requests and of its calls.

#include <string>

#include "tests/tapi32/tapi_application_helper.h"

namespace brivelnox::test {
namespace {

using message_order = tapi_application;

TEST_F(message_order, an_incoming_call_is_announced_before_its_first_state) {
    const HLINE line = Open();
    (void)phone_->Ring({"4711", "Anna"});
    const LINEMESSAGE announced = Next();
    EXPECT_EQ(announced.dwMessageID, kNewCall);
    EXPECT_EQ(announced.hDevice, line);
    EXPECT_EQ(announced.dwCallbackInstance, kInstance);
    EXPECT_EQ(announced.dwParam1, 0U);
    EXPECT_EQ(announced.dwParam3, DWORD{LINECALLPRIVILEGE_OWNER});
    const LINEMESSAGE offered = NextState();
    EXPECT_EQ(offered.hDevice, announced.dwParam2);
    EXPECT_EQ(offered.dwCallbackInstance, kInstance);
    EXPECT_EQ(offered.dwParam1, DWORD{LINECALLSTATE_OFFERING});
    EXPECT_EQ(offered.dwParam3, DWORD{LINECALLPRIVILEGE_OWNER});
    const LINEMESSAGE accepted = NextState();
    EXPECT_EQ(accepted.dwParam1, DWORD{LINECALLSTATE_ACCEPTED});
    EXPECT_EQ(accepted.dwParam3, 0U);
}

TEST_F(message_order, a_made_call_begins_with_the_reply_that_brings_its_handle) {
    const HLINE line = Open();
    HCALL call = 0;
    const LONG request = lineMakeCallW(line, &call, L"200", 0, nullptr);
    ASSERT_GT(request, 0);
    EXPECT_EQ(call, 0U);
    const LINEMESSAGE reply = Next();
    EXPECT_EQ(reply.dwMessageID, kReply);
    EXPECT_EQ(reply.dwCallbackInstance, kInstance);
    EXPECT_EQ(reply.dwParam1, static_cast<DWORD_PTR>(request));
    EXPECT_EQ(reply.dwParam2, 0U);
    EXPECT_NE(call, 0U);
    const LINEMESSAGE first = NextState();
    EXPECT_EQ(first.hDevice, call);
    EXPECT_EQ(first.dwParam1, DWORD{LINECALLSTATE_PROCEEDING});
    EXPECT_EQ(first.dwParam3, DWORD{LINECALLPRIVILEGE_OWNER});
    const LINEMESSAGE second = NextState();
    EXPECT_EQ(second.dwParam1, DWORD{LINECALLSTATE_RINGBACK});
    EXPECT_EQ(second.dwParam3, 0U);
}

TEST_F(message_order, every_request_gets_one_reply_with_its_own_id) {
    (void)Open();
    const HCALL call = ConnectedCall();
    const LONG held = lineHold(call);
    ExpectReply(held);
    EXPECT_EQ(NextState().dwParam1, DWORD{LINECALLSTATE_ONHOLD});
    const LONG resumed = lineUnhold(call);
    ExpectReply(resumed);
    EXPECT_EQ(NextState().dwParam1, DWORD{LINECALLSTATE_CONNECTED});
    EXPECT_GT(resumed, held);
}

TEST_F(message_order, the_end_of_a_call_carries_its_mode) {
    (void)Open();
    const HCALL call = ConnectedCall();
    ASSERT_TRUE(phone_->End(phone_->Calls().front().client_call_id, simulator::kReasonNormal));
    const LINEMESSAGE disconnected = NextState();
    EXPECT_EQ(disconnected.hDevice, call);
    EXPECT_EQ(disconnected.dwParam1, DWORD{LINECALLSTATE_DISCONNECTED});
    EXPECT_EQ(disconnected.dwParam2, DWORD{LINEDISCONNECTMODE_NORMAL});
    EXPECT_EQ(NextState().dwParam1, DWORD{LINECALLSTATE_IDLE});
    EXPECT_EQ(lineDeallocateCall(call), 0);
    EXPECT_TRUE(NothingWaits());
}

TEST_F(message_order, a_consultation_call_begins_like_a_made_one) {
    (void)Open();
    const HCALL first = ConnectedCall();
    HCALL consultation = 0;
    const LONG request = lineSetupTransferW(first, &consultation, nullptr);
    ExpectReply(request);
    EXPECT_NE(consultation, 0U);
    EXPECT_NE(consultation, first);
    LINEMESSAGE state = NextState();
    EXPECT_EQ(state.hDevice, consultation);
    EXPECT_EQ(state.dwParam1, DWORD{LINECALLSTATE_DIALTONE});
    EXPECT_EQ(state.dwParam3, DWORD{LINECALLPRIVILEGE_OWNER});
}

TEST_F(message_order, a_monitor_is_told_of_every_call_and_may_not_control_it) {
    const HLINE owner = Open(LINECALLPRIVILEGE_OWNER, 1);
    const HLINE monitor = Open(LINECALLPRIVILEGE_MONITOR, 2);
    (void)phone_->Ring({"4711", "Anna"});
    const LINEMESSAGE owned = Next();
    const LINEMESSAGE monitored = Next();
    EXPECT_EQ(owned.hDevice, owner);
    EXPECT_EQ(owned.dwParam3, DWORD{LINECALLPRIVILEGE_OWNER});
    EXPECT_EQ(monitored.hDevice, monitor);
    EXPECT_EQ(monitored.dwMessageID, kNewCall);
    EXPECT_EQ(monitored.dwCallbackInstance, 2U);
    EXPECT_EQ(monitored.dwParam3, DWORD{LINECALLPRIVILEGE_MONITOR});
    EXPECT_NE(monitored.dwParam2, owned.dwParam2);
    EXPECT_EQ(NextState().hDevice, owned.dwParam2);
    const LINEMESSAGE seen = NextState();
    EXPECT_EQ(seen.hDevice, monitored.dwParam2);
    EXPECT_EQ(seen.dwParam3, DWORD{LINECALLPRIVILEGE_MONITOR});
    EXPECT_EQ(lineAnswer(static_cast<HCALL>(monitored.dwParam2), nullptr, 0), kNotOwner);
}

TEST_F(message_order, a_monitor_hears_of_a_made_call_behind_the_reply) {
    const HLINE line = Open(LINECALLPRIVILEGE_NONE, 1);
    const HLINE monitor = Open(LINECALLPRIVILEGE_MONITOR, 2);
    HCALL call = 0;
    ASSERT_GT(lineMakeCallW(line, &call, L"200", 0, nullptr), 0);
    EXPECT_EQ(Next().dwMessageID, kReply);
    const LINEMESSAGE announced = Next();
    EXPECT_EQ(announced.dwMessageID, kNewCall);
    EXPECT_EQ(announced.hDevice, monitor);
    EXPECT_EQ(NextState().hDevice, call);
    EXPECT_EQ(NextState().hDevice, announced.dwParam2);
}

TEST_F(message_order, a_call_that_nobody_asked_for_is_told_to_nobody) {
    (void)Open(LINECALLPRIVILEGE_NONE);
    (void)phone_->Ring({"4711", "Anna"});
    // A new line comes through the same connection, behind the call.
    simulator::registration subject;
    subject.permanent_line_id = 1002;
    subject.tapi_line_name = "Desk 1002";
    (void)service_.AddSoftphone(subject);
    EXPECT_EQ(Next().dwMessageID, kCreate);
    EXPECT_TRUE(NothingWaits());
}

TEST_F(message_order, a_new_line_follows_the_others) {
    simulator::registration subject;
    subject.permanent_line_id = 1002;
    subject.tapi_line_name = "Desk 1002";
    (void)service_.AddSoftphone(subject);
    const LINEMESSAGE created = Next();
    EXPECT_EQ(created.dwMessageID, kCreate);
    EXPECT_EQ(created.dwParam1, 1U);
    EXPECT_NE(Open(LINECALLPRIVILEGE_OWNER, kInstance, 1), 0U);
}

}  // namespace
}  // namespace brivelnox::test
