// What a softphone sends, by hand and of its own accord. The wire is a list here.

#include "tools/service_simulator/softphone.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using simulator::dial_outcome;
using simulator::forwarder;
using simulator::party;
using simulator::request;
using simulator::request_kind;
using simulator::softphone;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class simulated_softphone : public testing::Test {
  protected:
    /// The call states (and "removed") sent so far, each with its call, "c1 Ringing".
    std::vector<std::string> States() const {
        std::vector<std::string> result;
        for (const std::string& message : sent_) {
            const bool removed = message.find("<CallRemoved") != std::string::npos;
            result.push_back(Value(message, "clientCallId") + " " +
                             (removed ? "removed" : Value(message, "callState")));
        }
        return result;
    }
    static std::string Value(const std::string& message, const std::string& name) {
        const std::string key = name + "='";
        const std::size_t begin = message.find(key) + key.size();
        return message.substr(begin, message.find('\'', begin) - begin);
    }
    request Request(request_kind kind, const std::string& call = "c1", const std::string& number = "") const {
        request result;
        result.kind = kind;
        result.permanent_line_id = 7;
        result.client_call_id = call;
        result.phone_number = number;
        return result;
    }

    std::vector<std::string> sent_;
    softphone phone_{{7, "Seven", 5070, true, true},
                     [this](const std::string& message) { sent_.push_back(message); }};
};

TEST_F(simulated_softphone, rings_as_incoming_then_ringing) {
    EXPECT_EQ(phone_.Ring({"+49301", "Dora"}), "7-1");
    EXPECT_THAT(States(), ElementsAre("7-1 Incoming", "7-1 Ringing"));
    EXPECT_THAT(sent_.at(1), HasSubstr("isCaller='false'"));
    EXPECT_THAT(sent_.at(1), HasSubstr("<Peer phoneNumber='+49301' name='Dora'/>"));
    EXPECT_THAT(sent_.at(1), HasSubstr("<Self phoneNumber='7' name='Seven'/>"));
    EXPECT_EQ(phone_.Ring({"1", ""}, std::nullopt, "own"), "own");
}

TEST_F(simulated_softphone, shows_who_forwarded_a_call) {
    (void)phone_.Ring({"1", ""}, forwarder{{"2", "Two"}, "CFB"}, "c1");
    EXPECT_THAT(sent_.at(1), HasSubstr("<Forwarder phoneNumber='2' name='Two' forwardType='CFB'/>"));
}

TEST_F(simulated_softphone, plays_an_outgoing_call_by_hand) {
    (void)phone_.Dial({"200", ""}, "c1");
    EXPECT_TRUE(phone_.Ringback("c1"));
    EXPECT_TRUE(phone_.Connect("c1"));
    EXPECT_TRUE(phone_.Park("c1"));
    EXPECT_TRUE(phone_.SetState("c1", "Consult"));
    EXPECT_TRUE(phone_.End("c1", 404));
    EXPECT_THAT(States(), ElementsAre("c1 Outgoing", "c1 Ringback", "c1 Connected", "c1 Parked", "c1 Consult",
                                      "c1 Hangup", "c1 removed"));
    EXPECT_THAT(sent_.at(0), HasSubstr("isCaller='true'"));
    EXPECT_THAT(sent_.at(5), HasSubstr("callReason='404'"));
    EXPECT_THAT(phone_.Calls(), IsEmpty());
}

TEST_F(simulated_softphone, keeps_a_hung_up_call_until_it_is_removed) {
    (void)phone_.Ring({"1", ""}, std::nullopt, "c1");
    EXPECT_TRUE(phone_.Hangup("c1", 486));
    ASSERT_TRUE(phone_.FindCall("c1"));
    EXPECT_EQ(Found(phone_.FindCall("c1"))->call_reason, 486);
    EXPECT_TRUE(phone_.Remove("c1"));
    EXPECT_FALSE(phone_.FindCall("c1"));
}

TEST_F(simulated_softphone, sends_nothing_for_a_call_that_it_does_not_have) {
    EXPECT_FALSE(phone_.Connect("c1"));
    EXPECT_FALSE(phone_.Hangup("c1", 1));
    EXPECT_FALSE(phone_.Remove("c1"));
    EXPECT_FALSE(phone_.End("c1", 1));
    EXPECT_FALSE(phone_.SetParties("c1", std::nullopt, std::nullopt));
    phone_.Handle(Request(request_kind::kHangupCall));
    EXPECT_THAT(sent_, IsEmpty());
}

TEST_F(simulated_softphone, changes_parties_and_sends_the_state_again) {
    (void)phone_.Ring({"1", "One"}, std::nullopt, "c1");
    EXPECT_TRUE(phone_.SetParties("c1", std::nullopt, party{"1", "Uno"}));
    EXPECT_THAT(Last(sent_), HasSubstr("callState='Ringing'"));
    EXPECT_THAT(Last(sent_), HasSubstr("<Peer phoneNumber='1' name='Uno'/>"));
    EXPECT_THAT(Last(sent_), HasSubstr("<Self phoneNumber='7'"));
}

TEST_F(simulated_softphone, lists_its_calls_in_the_order_of_their_beginning) {
    (void)phone_.Ring({"1", ""}, std::nullopt, "z");
    (void)phone_.Ring({"2", ""}, std::nullopt, "a");
    ASSERT_EQ(phone_.Calls().size(), 2U);
    EXPECT_EQ(phone_.Calls().at(0).client_call_id, "z");
    EXPECT_EQ(phone_.Calls().at(1).client_call_id, "a");
    phone_.ForgetCalls();
    EXPECT_THAT(phone_.Calls(), IsEmpty());
    EXPECT_EQ(sent_.size(), 4U);
}

TEST_F(simulated_softphone, lets_a_dialled_number_ring) {
    phone_.AddDialEntry({"200", "Emil", dial_outcome::kRingback});
    phone_.Handle(Request(request_kind::kPlaceCall, "c1", "200"));
    EXPECT_THAT(States(), ElementsAre("c1 Outgoing", "c1 Ringback"));
    EXPECT_THAT(sent_.at(1), HasSubstr("<Peer phoneNumber='200' name='Emil'/>"));
    EXPECT_THAT(sent_.at(1), HasSubstr("isCaller='true'"));
}

TEST_F(simulated_softphone, plays_the_other_outcomes_of_the_dial_plan) {
    phone_.Handle(Request(request_kind::kPlaceCall, "c1", "486"));
    EXPECT_THAT(States(), ElementsAre("c1 Outgoing", "c1 Hangup", "c1 removed"));
    EXPECT_THAT(sent_.at(1), HasSubstr("callReason='486'"));
    sent_.clear();
    phone_.Handle(Request(request_kind::kPlaceCall, "c2", "404"));
    EXPECT_THAT(States(), ElementsAre("c2 Outgoing", "c2 Hangup", "c2 removed"));
    EXPECT_THAT(sent_.at(1), HasSubstr("callReason='404'"));
    sent_.clear();
    phone_.SetDefaultOutcome(dial_outcome::kAnswered);
    phone_.Handle(Request(request_kind::kPlaceCall, "c3", "555"));
    EXPECT_THAT(States(), ElementsAre("c3 Outgoing", "c3 Ringback", "c3 Connected"));
    sent_.clear();
    phone_.AddDialEntry({"486", "", dial_outcome::kSilent});
    phone_.Handle(Request(request_kind::kPlaceCall, "c4", "486"));
    EXPECT_THAT(sent_, IsEmpty());
}

TEST_F(simulated_softphone, reacts_to_call_requests) {
    (void)phone_.Ring({"1", ""}, std::nullopt, "c1");
    (void)phone_.Ring({"2", ""}, std::nullopt, "c2");
    sent_.clear();
    phone_.Handle(Request(request_kind::kAcceptCall));
    phone_.Handle(Request(request_kind::kHoldCall));
    phone_.Handle(Request(request_kind::kResumeCall));
    EXPECT_THAT(States(), ElementsAre("c1 Connected", "c1 Parked", "c1 Connected"));
    sent_.clear();
    request digits = Request(request_kind::kPlayDtmf);
    digits.digits = "12";
    phone_.Handle(digits);
    phone_.Handle(digits);
    EXPECT_THAT(sent_, IsEmpty());
    EXPECT_EQ(Found(phone_.FindCall("c1"))->digits, "1212");
    request transfer = Request(request_kind::kTransferCall);
    transfer.client_call_on_hold_id = "c2";
    phone_.Handle(transfer);
    EXPECT_THAT(States(), ElementsAre("c1 Hangup", "c1 removed", "c2 Hangup", "c2 removed"));
}

TEST_F(simulated_softphone, ends_a_call_that_is_forwarded_or_hung_up) {
    for (const request_kind kind : {request_kind::kForwardCall, request_kind::kHangupCall}) {
        (void)phone_.Ring({"1", ""}, std::nullopt, "c1");
        sent_.clear();
        phone_.Handle(Request(kind));
        EXPECT_THAT(States(), ElementsAre("c1 Hangup", "c1 removed"));
    }
}

TEST_F(simulated_softphone, only_listens_while_it_is_not_automatic) {
    phone_.SetAutomatic(false);
    phone_.Handle(Request(request_kind::kPlaceCall, "c1", "200"));
    EXPECT_THAT(sent_, IsEmpty());
    EXPECT_THAT(phone_.Calls(), IsEmpty());
}

TEST_F(simulated_softphone, names_itself_by_its_registration) {
    phone_.SetRegistration({8, "Eight", 1, true, true});
    (void)phone_.Ring({"1", ""});
    EXPECT_THAT(sent_.at(0), HasSubstr("permanentLineId='8'"));
    EXPECT_THAT(sent_.at(0), HasSubstr("<Self phoneNumber='8' name='Eight'/>"));
    EXPECT_EQ(phone_.Registration().tapi_line_name, "Eight");
}

}  // namespace
}  // namespace brivelnox::test
