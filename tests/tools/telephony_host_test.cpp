// The host with a provider that does as it is told.

#include "tools/telephony_host/telephony_host.h"

#include <chrono>
#include <cstdint>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/looked_up.h"
#include "tests/tools/fake_provider_helper.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using host::line_caps;
using host::line_create_answer;
using host::provider_module;
using host::request_result;
using host::tapi_event;
using host::telephony_host;
using host::VariableText;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::chrono::milliseconds kPatience{10000};

class host_of_a_fake_provider : public testing::Test {
  protected:
    void Start() { ASSERT_EQ(host_.Start(), 0); }
    /// Starts and opens the first line.
    HTAPILINE StartAndOpen() {
        EXPECT_EQ(host_.Start(), 0);
        return host_.OpenLine(1);
    }
    void TearDown() override { EXPECT_EQ(telephony_host::StrayCallbacks(), 0U); }

    fake_provider provider_;
    telephony_host host_{provider_.Module()};
};

TEST_F(host_of_a_fake_provider, starts_a_provider_step_by_step) {
    Start();
    EXPECT_THAT(provider_.Asked(),
                ElementsAre("negotiate -1", "enum", "init 1", "negotiate 1", "negotiate 2"));
    EXPECT_TRUE(host_.Running());
    EXPECT_EQ(host_.Version(), 0x00020002U);
    ASSERT_THAT(host_.Devices(), SizeIs(2));
    EXPECT_EQ(host_.Devices()[1].device_id, 2U);
    EXPECT_EQ(host_.Devices()[1].version, 0x00020002U);
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_FALSE(host_.Running());
    EXPECT_EQ(Last(provider_.Asked()), "shutdown");
}

TEST_F(host_of_a_fake_provider, reports_the_step_that_fails_and_shuts_down_again) {
    provider_.negotiation_result = static_cast<LONG>(LINEERR_INCOMPATIBLEAPIVERSION);
    EXPECT_EQ(host_.Start(), static_cast<LONG>(LINEERR_INCOMPATIBLEAPIVERSION));
    EXPECT_THAT(provider_.Asked(), ElementsAre("negotiate -1", "shutdown"));
    provider_.negotiation_result = 0;
    provider_.enum_result = static_cast<LONG>(LINEERR_OPERATIONFAILED);
    EXPECT_EQ(host_.Start(), static_cast<LONG>(LINEERR_OPERATIONFAILED));
    provider_.enum_result = 0;
    provider_.init_result = static_cast<LONG>(LINEERR_NOMEM);
    EXPECT_EQ(host_.Start(), static_cast<LONG>(LINEERR_NOMEM));
    EXPECT_FALSE(host_.Running());
    provider_.init_result = 0;
    EXPECT_EQ(host_.Start(), 0);
}

TEST_F(host_of_a_fake_provider, is_the_only_one_in_a_process) {
    Start();
    EXPECT_THROW((void)host_.Start(), std::logic_error);
    telephony_host other(provider_.Module());
    EXPECT_THROW((void)other.Start(), std::logic_error);
}

TEST_F(host_of_a_fake_provider, hands_out_its_device_id_base) {
    host_.Options().device_id_base = 40;
    Start();
    EXPECT_EQ(provider_.device_base, 40U);
    EXPECT_EQ(host_.Devices().at(0).device_id, 40U);
}

TEST_F(host_of_a_fake_provider, answers_a_new_line_from_another_thread) {
    Start();
    provider_.SendCreate(3);
    EXPECT_EQ(host_.WaitForCreatedDevice(3, kPatience), 100001U);
    EXPECT_THAT(provider_.Asked(), Contains("create 3 100001"));
    EXPECT_TRUE(host_.WaitForDevices(3, kPatience));
    EXPECT_EQ(host_.Devices().at(2).temporary, 3U);
    EXPECT_FALSE(host_.WaitForCreatedDevice(4, 1ms));
    EXPECT_FALSE(host_.WaitForDevices(4, 1ms));
}

TEST_F(host_of_a_fake_provider, answers_a_new_line_inside_the_callback_if_so_told) {
    host_.Options().create_answer = line_create_answer::kInsideCallback;
    host_.Options().created_device_offset = 10;
    Start();
    provider_.SendCreate(3);
    EXPECT_EQ(host_.WaitForCreatedDevice(3, 0ms), 11U);
}

TEST_F(host_of_a_fake_provider, leaves_a_new_line_unanswered_if_so_told) {
    host_.Options().create_answer = line_create_answer::kNever;
    Start();
    provider_.SendCreate(3);
    EXPECT_TRUE(host_.WaitForMessage(static_cast<DWORD>(LINE_CREATE), 0ms));
    EXPECT_FALSE(host_.WaitForCreatedDevice(3, 50ms));
}

TEST_F(host_of_a_fake_provider, opens_and_closes_lines) {
    const HTAPILINE first = StartAndOpen();
    const HTAPILINE second = host_.OpenLine(2);
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_THAT(host_.OpenLines(), SizeIs(2));
    EXPECT_EQ(host_.Driver(first), reinterpret_cast<HDRVLINE>(std::uintptr_t{501}));
    EXPECT_EQ(host_.DeviceOf(second), 2U);
    EXPECT_EQ(host_.CloseLine(first), 0);
    EXPECT_THAT(provider_.Asked(), Contains("close 501"));
    EXPECT_THAT(host_.OpenLines(), ElementsAre(second));
    EXPECT_EQ(host_.Driver(first), nullptr);
    EXPECT_EQ(host_.DeviceOf(first), 0xFFFFFFFF);
}

TEST_F(host_of_a_fake_provider, closing_a_line_again_leaves_the_device_open_under_its_new_handle) {
    HTAPILINE const before = StartAndOpen();
    EXPECT_EQ(host_.CloseLine(before), 0);
    HTAPILINE const now = host_.OpenLine(1);
    EXPECT_EQ(host_.CloseLine(before), 0);
    HTAPICALL const call = provider_.SendNewCall(now, 1);
    provider_.SendState(now, call, LINECALLSTATE_IDLE);
    EXPECT_THAT(host_.Checker().Breaches(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, tells_that_a_line_could_not_be_opened) {
    Start();
    LONG result = 1;
    EXPECT_EQ(host_.OpenLine(1000, &result), nullptr);
    EXPECT_EQ(result, 0);
    EXPECT_THAT(host_.OpenLines(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, gives_new_calls_a_handle) {
    const HTAPILINE line = StartAndOpen();
    const std::uint64_t mark = host_.Mark();
    const HTAPICALL call = provider_.SendNewCall(line, 9);
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(host_.WaitForNewCall(line, 0ms, mark), call);
    EXPECT_EQ(host_.Driver(call), reinterpret_cast<HDRVCALL>(std::uintptr_t{9}));
    provider_.SendState(line, call, LINECALLSTATE_OFFERING);
    provider_.SendState(line, call, LINECALLSTATE_DISCONNECTED, LINEDISCONNECTMODE_BUSY);
    EXPECT_THAT(host_.States(call), ElementsAre(LINECALLSTATE_OFFERING, LINECALLSTATE_DISCONNECTED));
    ASSERT_TRUE(host_.View(call));
    EXPECT_TRUE(Found(host_.View(call))->by_provider);
    EXPECT_EQ(Found(host_.View(call))->modes[1], static_cast<DWORD>(LINEDISCONNECTMODE_BUSY));
    EXPECT_EQ(Found(host_.View(call))->State(), static_cast<DWORD>(LINECALLSTATE_DISCONNECTED));
    EXPECT_EQ(host_.WaitForNewCall(line, 1ms, host_.Mark()), nullptr);
    EXPECT_THAT(host_.Checker().Breaches(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, refuses_new_calls_if_so_told) {
    host_.Options().refuse_new_calls = true;
    const HTAPILINE line = StartAndOpen();
    EXPECT_EQ(provider_.SendNewCall(line, 9), nullptr);
    EXPECT_THAT(host_.Calls(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, waits_for_call_states) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 9);
    std::thread sender([&] {
        for (const DWORD state : {LINECALLSTATE_OFFERING, LINECALLSTATE_CONNECTED, LINECALLSTATE_ONHOLD,
                                  LINECALLSTATE_CONNECTED}) {
            provider_.SendState(line, call, state);
        }
    });
    EXPECT_TRUE(host_.WaitForCallState(call, LINECALLSTATE_ONHOLD, kPatience));
    EXPECT_TRUE(host_.WaitForCallState(call, LINECALLSTATE_CONNECTED, kPatience, 3));
    sender.join();
    EXPECT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_CONNECTED, 0ms));
    EXPECT_FALSE(host_.WaitForCurrentState(call, LINECALLSTATE_ONHOLD, 1ms));
    EXPECT_FALSE(host_.WaitForCallState(call, LINECALLSTATE_CONNECTED, 1ms, 4));
    EXPECT_FALSE(host_.WaitForCallState(nullptr, LINECALLSTATE_CONNECTED, 1ms));
}

TEST_F(host_of_a_fake_provider, makes_calls) {
    const HTAPILINE line = StartAndOpen();
    const request_result made = host_.MakeCall(line, L"200");
    EXPECT_TRUE(made.Accepted());
    ASSERT_NE(made.call, nullptr);
    EXPECT_EQ(provider_.last_call, made.call);
    EXPECT_THAT(provider_.Asked(), Contains("makecall 501 200"));
    EXPECT_EQ(host_.WaitForCompletion(made.request_id, 0ms), 0);
    EXPECT_THAT(host_.States(made.call), ElementsAre(LINECALLSTATE_PROCEEDING));
    EXPECT_FALSE(Found(host_.View(made.call))->by_provider);
    EXPECT_THAT(host_.Calls(line), SizeIs(1));
    EXPECT_THAT(host_.Checker().Breaches(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, forgets_the_call_of_a_refused_request) {
    const HTAPILINE line = StartAndOpen();
    provider_.request_result = static_cast<LONG>(LINEERR_INVALADDRESS);
    const request_result made = host_.MakeCall(line, nullptr);
    EXPECT_FALSE(made.Accepted());
    EXPECT_EQ(made.returned, static_cast<LONG>(LINEERR_INVALADDRESS));
    EXPECT_EQ(made.call, nullptr);
    EXPECT_THAT(host_.Calls(), IsEmpty());
    EXPECT_FALSE(host_.WaitForCompletion(made.request_id, 1ms));
    EXPECT_THAT(host_.Checker().Breaches(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, passes_every_request_on) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL one = provider_.SendNewCall(line, 91);
    const HTAPICALL two = provider_.SendNewCall(line, 92);
    EXPECT_TRUE(host_.Dial(one, L"201").Accepted());
    EXPECT_TRUE(host_.Answer(one).Accepted());
    EXPECT_TRUE(host_.Hold(one).Accepted());
    EXPECT_TRUE(host_.Unhold(one).Accepted());
    EXPECT_TRUE(host_.SwapHold(one, two).Accepted());
    EXPECT_TRUE(host_.CompleteTransfer(one, two).Accepted());
    EXPECT_TRUE(host_.BlindTransfer(one, L"203").Accepted());
    EXPECT_TRUE(host_.Redirect(one, L"204").Accepted());
    EXPECT_TRUE(host_.Drop(one).Accepted());
    EXPECT_EQ(host_.GenerateDigits(one, L"1#", 6), 0);
    EXPECT_EQ(host_.CloseCall(one), 0);
    std::vector<std::string> asked = provider_.Asked();
    asked.erase(asked.begin(), asked.begin() + 6);  // the start and the opening
    EXPECT_THAT(asked, ElementsAre("dial 91 201", "answer 91", "hold 91", "unhold 91", "swaphold 91 92",
                                   "completetransfer 91 92 1", "blindtransfer 91 203", "redirect 91 204",
                                   "drop 91", "digits 91 6 2 1#", "closecall 91"));
    EXPECT_EQ(host_.Driver(one), nullptr);
    EXPECT_THAT(host_.Calls(), SizeIs(1));
}

TEST_F(host_of_a_fake_provider, sets_up_transfers) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 91);
    const request_result consultation = host_.SetupTransfer(call);
    EXPECT_TRUE(consultation.Accepted());
    ASSERT_NE(consultation.call, nullptr);
    EXPECT_EQ(Found(host_.View(consultation.call))->line, line);
    // For an unknown call the provider accepts, but there is no consultation call.
    const request_result nothing = host_.SetupTransfer(nullptr);
    EXPECT_TRUE(nothing.Accepted());
    EXPECT_EQ(nothing.call, nullptr);
}

TEST_F(host_of_a_fake_provider, waits_for_completions) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 91);
    provider_.complete = false;
    const request_result held = host_.Hold(call);
    EXPECT_TRUE(held.Accepted());
    EXPECT_FALSE(host_.WaitForCompletion(held.request_id, 1ms));
    EXPECT_EQ(host_.Checker().OutstandingRequests(), 1U);
    std::thread sender(
        [&] { provider_.completion(held.request_id, static_cast<LONG>(LINEERR_OPERATIONFAILED)); });
    EXPECT_EQ(host_.WaitForCompletion(held.request_id, kPatience),
              static_cast<LONG>(LINEERR_OPERATIONFAILED));
    sender.join();
    EXPECT_EQ(host_.Checker().OutstandingRequests(), 0U);
}

TEST_F(host_of_a_fake_provider, has_the_checker_watch) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 91);
    provider_.SendState(line, call, LINECALLSTATE_IDLE);
    provider_.SendState(line, call, LINECALLSTATE_CONNECTED);
    provider_.completion(4711, 0);
    EXPECT_EQ(host_.CloseLine(line), 0);
    provider_.SendState(line, call, LINECALLSTATE_OFFERING);
    EXPECT_THAT(host_.Checker().Breaches(),
                ElementsAre(HasSubstr("after IDLE"), HasSubstr("never issued"),
                            HasSubstr("a line that is closed"), HasSubstr("after IDLE")));
}

TEST_F(host_of_a_fake_provider, notices_messages_after_shutdown) {
    const HTAPILINE line = StartAndOpen();
    EXPECT_EQ(host_.Shutdown(), 0);
    (void)provider_.SendNewCall(line, 9);
    EXPECT_THAT(host_.Checker().Breaches(), ElementsAre(HasSubstr("after shutdown")));
}

TEST_F(host_of_a_fake_provider, notices_two_threads_in_its_callbacks) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 91);
    std::promise<void> inside;
    std::promise<void> leave;
    host_.SetEventHook([&](const tapi_event& event) {
        if (event.param1 == LINECALLSTATE_OFFERING) {
            inside.set_value();
            leave.get_future().wait();
        }
    });
    std::thread blocked([&] { provider_.SendState(line, call, LINECALLSTATE_OFFERING); });
    inside.get_future().wait();
    provider_.SendState(line, call, LINECALLSTATE_ACCEPTED);
    leave.set_value();
    blocked.join();
    EXPECT_THAT(host_.Checker().Breaches(), ElementsAre(HasSubstr("two at once")));
}

TEST_F(host_of_a_fake_provider, runs_the_hook_inside_the_callback_and_allows_requests_there) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 91);
    std::optional<request_result> dropped;
    const DWORD thread = GetCurrentThreadId();
    host_.SetEventHook([&](const tapi_event& event) {
        if (event.IsMessage(static_cast<DWORD>(LINE_CALLSTATE))) {
            EXPECT_EQ(event.thread_id, thread);
            dropped = host_.Drop(event.call);
        }
    });
    provider_.SendState(line, call, LINECALLSTATE_OFFERING);
    ASSERT_TRUE(dropped);
    EXPECT_TRUE(dropped->Accepted());
    EXPECT_EQ(host_.WaitForCompletion(dropped->request_id, 0ms), 0);
    host_.SetEventHook({});
    dropped.reset();
    provider_.SendState(line, call, LINECALLSTATE_CONNECTED);
    EXPECT_FALSE(dropped);
    EXPECT_THAT(host_.Checker().Breaches(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, closes_everything_before_it_shuts_down) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 91);
    provider_.SendState(line, call, LINECALLSTATE_CONNECTED);
    EXPECT_EQ(host_.CloseAllAndShutdown(), 0);
    std::vector<std::string> asked = provider_.Asked();
    asked.erase(asked.begin(), asked.begin() + 6);
    EXPECT_THAT(asked, ElementsAre("drop 91", "closecall 91", "close 501", "shutdown"));
}

TEST_F(host_of_a_fake_provider, starts_again_with_new_handles) {
    const HTAPILINE line = StartAndOpen();
    const HTAPICALL call = provider_.SendNewCall(line, 91);
    provider_.SendState(line, call, LINECALLSTATE_IDLE);
    EXPECT_EQ(host_.Shutdown(), 0);
    EXPECT_THAT(host_.States(call), SizeIs(1));
    const HTAPILINE again = StartAndOpen();
    EXPECT_NE(again, line);
    EXPECT_THAT(host_.Calls(), IsEmpty());
    EXPECT_NE(provider_.SendNewCall(again, 91), call);
    EXPECT_THAT(host_.Checker().Breaches(), IsEmpty());
}

TEST_F(host_of_a_fake_provider, reads_structures_that_need_more_room) {
    Start();
    const std::optional<line_caps> caps = host_.GetDevCaps(2);
    ASSERT_TRUE(caps);
    EXPECT_EQ(caps->line_name, std::wstring(600, L'c'));
    EXPECT_EQ(caps->permanent_line_id, 1002U);
    LONG result = 0;
    EXPECT_FALSE(host_.GetDevCaps(1000, &result));
    EXPECT_EQ(result, static_cast<LONG>(LINEERR_OPERATIONFAILED));
}

TEST(variable_text, stays_within_the_structure) {
    const std::wstring bytes = L"abcdef";
    const auto total = static_cast<DWORD>(bytes.size() * sizeof(wchar_t));
    EXPECT_EQ(VariableText(bytes.data(), total, 6, 2), L"bcd");
    EXPECT_EQ(VariableText(bytes.data(), total, total, 0), L"abcdef");
    EXPECT_EQ(VariableText(bytes.data(), total, 0, 2), L"");
    EXPECT_EQ(VariableText(bytes.data(), total, total, 2), L"");
    EXPECT_EQ(VariableText(bytes.data(), total, 2, total + 2), L"");
    const std::wstring closed(L"ab\0cd", 5);
    EXPECT_EQ(VariableText(closed.data(), 10, 10, 0), L"ab");
}

TEST(provider_module, refuses_a_file_that_is_not_there) {
    EXPECT_THROW(provider_module(L"C:\\no such provider.tsp"), std::system_error);
}

TEST(provider_module, names_what_is_missing) {
    const provider_module kernel(L"kernel32.dll");
    EXPECT_THAT(kernel.Missing(), HasSubstr("TSPI_lineOpen "));
    EXPECT_NE(kernel.Find("GetTickCount"), nullptr);
    EXPECT_EQ(kernel.Find("TSPI_lineOpen"), nullptr);
    EXPECT_NE(kernel.Module(), nullptr);
    const provider_module none;
    EXPECT_EQ(none.Find("GetTickCount"), nullptr);
}

}  // namespace
}  // namespace brivelnox::test
