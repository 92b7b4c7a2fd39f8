// A telephony manager whose line manager could not be made, or has been taken away: it stays, and each
// request fails with its own words.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/version_numbers.h"
#include "tests/provider/manager_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kHyphens[] = "--------------------------------";
static_assert(sizeof kHyphens == 32 + 1);

const HDRVLINE kLine = AsHandle<HDRVLINE>(1);
const HDRVCALL kCall = AsHandle<HDRVCALL>(1);

/// Room for any structure.
union scratch {
    LINEDEVCAPS dev_caps;
    LINEADDRESSCAPS address_caps;
    LINEDEVSTATUS dev_status;
    LINEADDRESSSTATUS address_status;
    LINECALLINFO call_info;
    LINECALLSTATUS call_status;
    VARSTRING var_string;
    BYTE bytes[1024];
};

struct request {
    const char* text;
    std::function<LONG(telephony_manager&, scratch&)> make;
    LONG result = kOperationFailed;
};

/// Every request that needs the line manager, with the text that tells of its failure.
const std::vector<request>& Requests() {
    using m = telephony_manager&;
    using s = scratch&;
    static HDRVLINE line = nullptr;
    static HDRVCALL call = nullptr;
    static const LINEEVENT event_procedure = [](HTAPILINE, HTAPICALL, DWORD, DWORD_PTR, DWORD_PTR,
                                                DWORD_PTR) {};
    static const std::vector<request> kRequests = {
        {"ProviderCreateLineDevice: Caught Exception!",
         [](m p, s) { return p.ProviderCreateLineDevice(8, 12); }},
        {"LineOpen: Caught Exception!",
         [](m p, s) {
             const std::shared_ptr<telephony_manager> manager(&p, [](telephony_manager*) {});
             return telephony_manager::LineOpen(manager, 5, nullptr, &line, kTspiVersion, event_procedure);
         }},
        {"LineClose: Caught Exception!", [](m p, s) { return p.LineClose(kLine); }},
        {"LineMakeCallAsync: Caught Exception!",
         [](m p, s) { return p.LineMakeCall(77, kLine, nullptr, &call, L"4711", 0); }},
        {"LineMakeCallAsync: Caught Exception!", [](m p, s) { return p.LineDial(77, kCall, L"4711", 0); }},
        {"LineAnswerCall: Caught Exception!", [](m p, s) { return p.Request(kAnswer, 77, kCall); }},
        {"LineHoldCall: Caught Exception!", [](m p, s) { return p.Request(kHold, 77, kCall); }},
        {"LineUnHoldCall: Caught Exception!", [](m p, s) { return p.Request(kUnhold, 77, kCall); }},
        {"LineRedirect: Caught Exception!",
         [](m p, s) { return p.Forward(L"LineRedirect: Caught Exception!", 77, kCall, L"4711"); }},
        {"LineSetupTransfer: Caught Exception!",
         [](m p, s) { return p.LineSetupTransfer(77, kCall, nullptr, &call); }},
        {"LineCompleteTransfer: Caught Exception!",
         [](m p, s) { return p.LineCompleteTransfer(77, kCall, kCall, LINETRANSFERMODE_TRANSFER); }},
        {"LineDropCallAsync: Caught Exception!", [](m p, s) { return p.Request(kDrop, 77, kCall); }},
        {"LineCloseCall: Caught Exception!", [](m p, s) { return p.LineCloseCall(kCall); }},
        {"LineGenerateDigits: Caught Exception!",
         [](m p, s) { return p.LineGenerateDigits(kCall, 0, L"1"); }},
        {"LineGetDevCaps: Caught Exception!",
         [](m p, s room) { return p.LineGetDevCaps(5, kTspiVersion, &room.dev_caps); }},
        {"LineGetLineDevStatus: Caught Exception!",
         [](m p, s room) { return p.LineGetLineDevStatus(kLine, &room.dev_status); }},
        {"LineGetAddressStatus: Caught Exception!",
         [](m p, s room) { return p.LineGetAddressStatus(kLine, &room.address_status); }},
        {"LineGetID: Caught Exception!",
         [](m p, s room) { return p.LineGetId(kLine, &room.var_string, L"tapi/line"); }},
        {"LineGetCallInfo: Caught Exception!",
         [](m p, s room) { return p.LineGetCallInfo(kCall, &room.call_info); }},
        {"LineGetCallStatus: Caught Exception!",
         [](m p, s room) { return p.LineGetCallStatus(kCall, &room.call_status); }, 0},
    };
    return kRequests;
}

class telephony_manager_failure : public manager_fixture {
  protected:
    void ExpectEveryRequestToFail(telephony_manager& manager) {
        for (const request& each : Requests()) {
            log_.Skip();
            scratch room = {};
            room.dev_caps.dwTotalSize = sizeof room;
            EXPECT_EQ(each.make(manager, room), each.result) << each.text;
            const std::vector<std::string> texts = ManagerLog();
            ASSERT_FALSE(texts.empty()) << each.text;
            EXPECT_EQ(texts.back(), each.text);
        }
        EXPECT_THAT(completions_.Completions(), IsEmpty());
    }
};

TEST_F(telephony_manager_failure, to_make_lines_is_logged_and_survived) {
    const auto manager = telephony_manager::Create(5, &FailToMakeLines);
    ASSERT_NE(manager, nullptr);
    EXPECT_THAT(ManagerLog(),
                ElementsAre(kHyphens, "Brivelnox TSP: Initialize v" BRIVELNOX_VERSION, kHyphens,
                            "Brivelnox TSP: FATAL ERROR during initialization", "Brivelnox TSP: CleanUp"));
    EXPECT_EQ(manager->LineCount(), 0U);
}

TEST_F(telephony_manager_failure, to_make_lines_makes_every_request_fail_with_its_own_words) {
    const auto manager = telephony_manager::Create(5, &FailToMakeLines);
    manager->SetCompletionProcedure(completions_.Procedure());
    ExpectEveryRequestToFail(*manager);
}

TEST_F(telephony_manager_failure, leaves_what_needs_no_lines_working) {
    const auto manager = telephony_manager::Create(5, &FailToMakeLines);
    log_.Skip();
    scratch room = {};
    room.address_caps.dwTotalSize = sizeof room;
    EXPECT_EQ(manager->LineGetAddressCaps(5, 0, kTspiVersion, &room.address_caps), 0);
    EXPECT_EQ(manager->LineCompleteTransfer(77, kCall, kCall, LINETRANSFERMODE_CONFERENCE),
              kOperationUnavailable);
    HDRVLINE line = nullptr;
    manager->SetDeviceIdBase(9);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_EQ(telephony_manager::LineOpen(manager, 5, nullptr, &line, 0x00030000, tapi_.Procedure()),
              kIncompatibleVersion);
}

TEST_F(telephony_manager_failure, of_requests_after_the_clean_up_is_the_same) {
    const auto manager = MakeManager();
    ASSERT_EQ(manager->LineCount(), 1U);
    manager->CleanUp();
    EXPECT_EQ(manager->LineCount(), 0U);
    ExpectEveryRequestToFail(*manager);
}

TEST_F(telephony_manager_failure, of_a_request_on_another_thread_comes_as_soon_as_the_lines_are_taken_away) {
    const auto manager = MakeManager();
    unordered_signal cleaned_up;
    worker asking([&] {
        EXPECT_TRUE(cleaned_up.Wait());
        EXPECT_EQ(manager->LineCount(), 0U);
    });
    manager->CleanUp();
    cleaned_up.Set();
}

TEST_F(telephony_manager_failure, does_not_keep_the_second_clean_up_from_being_logged) {
    auto manager = telephony_manager::Create(5, &FailToMakeLines);
    log_.Skip();
    manager->CleanUp();
    manager->CleanUp();
    EXPECT_THAT(log_.Texts(), ElementsAre("Brivelnox TSP: CleanUp", "Brivelnox TSP: CleanUp"));
}

TEST_F(telephony_manager_failure, is_not_what_a_clean_up_in_good_order_is) {
    auto manager = MakeManager();
    log_.Skip();
    manager->CleanUp();
    manager->CleanUp();
    manager = nullptr;
    EXPECT_THAT(ManagerLog(), ElementsAre("Brivelnox TSP: CleanUp", "Brivelnox TSP: CleanUp"))
        << "the end of the manager is no third one";
    EXPECT_THAT(log_.Texts("LineManager"), ElementsAre("CleanUp", "DeleteLines"));
}

}  // namespace
}  // namespace brivelnox::test
