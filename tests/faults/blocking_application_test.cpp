// TAPI's event procedure does not come back for seconds: who waits for it, and who does not.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/faults/fault_fixture_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

/// Two softphones with open lines. The application stays inside the message that the first one's call is on
/// hold.
class blocking_application : public hosted_provider {
  protected:
    static constexpr std::int32_t kBlocked = 1001;
    static constexpr std::int32_t kOther = 1002;
    static constexpr milliseconds kBlocks{4000};

    void SetUp() override {
        for (const std::int32_t id : {kBlocked, kOther}) {
            phones_.push_back(AddPhone(id, Text("Desk %d", static_cast<int>(id))));
        }
        StartAll();
        for (const host::line_device& device : host_.Devices()) {
            lines_.push_back(host_.OpenLine(device.device_id));
            ASSERT_NE(lines_.back(), nullptr);
        }
        ASSERT_EQ(lines_.size(), 2u);
        call_ = Connect(0, "blocked");
        other_call_ = Connect(1, "other");
    }

    HTAPICALL Connect(std::size_t phone, const std::string& id) {
        const std::uint64_t mark = host_.Mark();
        (void)phones_[phone]->Ring({"4711", "Anna"}, std::nullopt, id);
        (void)phones_[phone]->Connect(id);
        HTAPICALL const call = host_.WaitForNewCall(lines_[phone], kSoon, mark);
        EXPECT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_CONNECTED, kSoon));
        EXPECT_TRUE(Settled(kBlocked));
        return call;
    }

    /// Makes the application block. Returns when it does.
    void Block() {
        host_.SetEventHook([this](const host::tapi_event& event) {
            if (event.IsMessage(static_cast<DWORD>(LINE_CALLSTATE)) && event.call == call_ &&
                event.param1 == DWORD_PTR{LINECALLSTATE_ONHOLD}) {
                blocking_ = {};
                inside_.Set();
                // The fault itself.
                Sleep(static_cast<DWORD>(kBlocks.count()));
                left_.Set();
            }
        });
        (void)phones_[0]->Park("blocked");
        ASSERT_TRUE(inside_.Wait(kSoon));
    }

    /// How long after the application began to block the question is answered, however long that takes.
    milliseconds AnsweredAfter(const std::function<void()>& ask) const {
        ask();
        return blocking_.Elapsed();
    }

    std::vector<std::shared_ptr<simulator::softphone>> phones_;
    std::vector<HTAPILINE> lines_;
    HTAPICALL call_ = nullptr;
    HTAPICALL other_call_ = nullptr;
    stopwatch blocking_;
    signal inside_;
    signal left_;
};

TEST_F(blocking_application, does_not_keep_questions_about_other_lines) {
    Block();
    const milliseconds answered = AnsweredAfter([this] {
        EXPECT_EQ(Found(host_.GetDevCaps(host_.Devices().at(0).device_id))->line_name, L"Desk 1001");
        EXPECT_EQ(Found(host_.GetDevCaps(host_.Devices().at(1).device_id))->line_name, L"Desk 1002");
        EXPECT_EQ(Found(host_.GetCallInfo(call_))->caller.number, L"4711");
        EXPECT_EQ(Found(host_.GetCallStatus(call_))->state, DWORD{LINECALLSTATE_ONHOLD});
        EXPECT_EQ(Found(host_.GetCallInfo(other_call_))->caller.number, L"4711");
        EXPECT_EQ(Found(host_.GetCallStatus(other_call_))->state, DWORD{LINECALLSTATE_CONNECTED});
        EXPECT_EQ(Found(host_.GetLineDevStatus(lines_[1]))->active, 1u);
    });
    EXPECT_FALSE(left_.IsSet()) << "the questions have waited for the application";
    EXPECT_LT(answered, kBlocks);
    PrintFigure("event procedure that blocks", "seven questions answered meanwhile in", answered);
    EXPECT_TRUE(left_.Wait(kSoon));
}

TEST_F(blocking_application, keeps_requests_and_the_other_lines_messages_until_it_comes_back) {
    Block();
    const std::uint64_t mark = host_.Mark();
    (void)phones_[1]->Ring({"4712", "Berta"}, std::nullopt, "later");
    milliseconds digits{0};
    milliseconds made{0};
    host::request_result call;
    std::thread dialler([&] {
        digits = AnsweredAfter([this] { EXPECT_EQ(host_.GenerateDigits(other_call_, L"1"), 0); });
        made = AnsweredAfter([&] { call = host_.MakeCall(lines_[1], L"4713"); });
    });
    HTAPICALL const rings = host_.WaitForNewCall(lines_[1], kSoon, mark);
    const milliseconds told = blocking_.Elapsed();
    dialler.join();
    ASSERT_NE(rings, nullptr);
    EXPECT_TRUE(host_.WaitForCurrentState(rings, LINECALLSTATE_ACCEPTED, kSoon));
    EXPECT_TRUE(call.Accepted());
    EXPECT_TRUE(left_.IsSet());
    // Digits have no completion to be told, so they need not wait; a call has.
    EXPECT_LT(digits, kBlocks);
    EXPECT_GE(made, kBlocks - milliseconds(100));
    EXPECT_LT(made, kBlocks + kAtOnce);
    EXPECT_GE(told, kBlocks - milliseconds(100));
    EXPECT_LT(told, kBlocks + kAtOnce);
    PrintFigure("event procedure that blocks", "digits on another line sent after", digits);
    PrintFigure("event procedure that blocks", "a call made on another line after", made);
    PrintFigure("event procedure that blocks", "a call that rings on another line told after", told);
}

TEST_F(blocking_application, does_not_keep_the_status_of_its_own_line) {
    Block();
    const milliseconds status =
        AnsweredAfter([this] { EXPECT_EQ(Found(host_.GetLineDevStatus(lines_[0]))->on_hold, 1u); });
    EXPECT_FALSE(left_.IsSet()) << "the question has waited for the application";
    EXPECT_LT(status, kBlocks);
    PrintFigure("event procedure that blocks", "the status of its own line told after", status);
    EXPECT_TRUE(left_.Wait(kSoon));
}

}  // namespace
}  // namespace brivelnox::test
