// Names and numbers that nobody expects: quotes, umlauts, and far more characters than fit anywhere.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/faults/fault_fixture_helper.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

/// The provider's log cuts what it says at this many characters.
constexpr std::size_t kLogText = 511;

std::wstring Wide(const std::string& ansi) {
    std::wstring wide(ansi.size(), L'\0');
    const int length = MultiByteToWideChar(CP_ACP, 0, ansi.data(), static_cast<int>(ansi.size()), wide.data(),
                                           static_cast<int>(wide.size()));
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

class odd_line_name : public hosted_provider {
  protected:
    static constexpr std::int32_t kPhone = 1001;

    /// A softphone of this name becomes a line of this name, which takes and makes a call.
    void ExpectLineNamed(const std::string& row, const std::string& name) {
        const auto phone = AddPhone(kPhone, name);
        const stopwatch starting;
        StartAll();
        ASSERT_EQ(host_.Devices().size(), 1u);
        const auto caps = host_.GetDevCaps(host_.Devices().front().device_id);
        const milliseconds described = starting.Elapsed();
        EXPECT_LT(described, kAtOnce);
        ASSERT_TRUE(caps);
        EXPECT_EQ(caps->line_name, Wide(name));
        HTAPILINE const line = host_.OpenLine(host_.Devices().front().device_id);
        ASSERT_NE(line, nullptr);
        (void)phone->Ring({"4711", name});
        HTAPICALL const call = host_.WaitForNewCall(line, kSoon);
        ASSERT_TRUE(host_.WaitForCurrentState(call, LINECALLSTATE_ACCEPTED, kSoon));
        EXPECT_EQ(Found(host_.GetCallInfo(call))->caller.name, Wide(name));
        EXPECT_TRUE(host_.MakeCall(line, L"4711").Accepted());
        EXPECT_EQ(host_.Shutdown(), 0);
        for (const log_line& written : log_.Lines()) {
            EXPECT_LE(written.text.size(), kLogText);
        }
        PrintFigure(row, "started and described in", described);
    }
};

TEST_F(odd_line_name, with_quotes_and_brackets_is_told_as_it_is) {
    ExpectLineNamed("line name with quotes", "\"Anna\" 'O'Hara' <1001> & more");
}

TEST_F(odd_line_name, with_umlauts_is_told_in_their_characters) {
    ExpectLineNamed("line name with umlauts",
                    "Gr\xFC\xDF"
                    "e von J\xF6rg \xC4rmel");
    if (GetACP() == 1252) {
        EXPECT_EQ(Wide("Gr\xFC\xDF"
                       "e"),
                  L"Gr\u00FC\u00DF"
                  L"e");
    }
}

TEST_F(odd_line_name, of_10000_characters_is_told_whole_and_cut_in_the_log_alone) {
    std::string name;
    while (name.size() < 10000) {
        name += "Softphone ";
    }
    ExpectLineNamed("line name of 10,000 characters", name);
    EXPECT_EQ(log_.CountStarting("Line", name.substr(0, kLogText)), 1u) << "the line's creation, cut";
}

class number_of_2000_characters : public open_line {
  protected:
    const std::wstring number_ = std::wstring(2000, L'7');
    // The longest that its request has room for: 1023 bytes with everything else in them.
    const std::wstring longest_ = std::wstring(
        1023 - PlaceCallRequest(kPhone, "", "00000000-0000-0000-0000-000000000000").size(), L'8');
};

TEST_F(number_of_2000_characters, dialled_is_sent_to_nobody_and_its_call_proceeds_until_it_is_dropped) {
    const std::size_t since = service_.ReceivedCount();
    const stopwatch dialling;
    const host::request_result made = host_.MakeCall(line_, number_.c_str());
    const milliseconds took = dialling.Elapsed();
    ASSERT_TRUE(made.Accepted());
    EXPECT_EQ(host_.WaitForCompletion(made.request_id, kSoon), 0);
    EXPECT_THAT(host_.States(made.call), testing::ElementsAre(LINECALLSTATE_PROCEEDING));
    EXPECT_THAT(RequestsSince(since), testing::IsEmpty());
    EXPECT_TRUE(host_.Drop(made.call).Accepted());
    EXPECT_TRUE(Becomes(made.call, LINECALLSTATE_IDLE));
    EXPECT_LT(took, kAtOnce);
    PrintFigure("number of 2,000 characters, dialled", "the request took", took);
}

TEST_F(number_of_2000_characters, is_too_long_from_one_character_over_the_longest_on) {
    const std::size_t since = service_.ReceivedCount();
    ASSERT_TRUE(host_.MakeCall(line_, (longest_ + L'8').c_str()).Accepted());
    ASSERT_TRUE(host_.MakeCall(line_, longest_.c_str()).Accepted());
    const auto placed = service_.WaitForRequest(simulator::request_kind::kPlaceCall, kSoon, since);
    ASSERT_TRUE(placed);
    EXPECT_EQ(placed->parsed.phone_number, std::string(longest_.size(), '8'));
    EXPECT_EQ(placed->text.size(), 1023u);
    PrintCount("number of 2,000 characters, dialled", "characters of the longest that is sent",
               longest_.size());
}

TEST_F(number_of_2000_characters, redirected_to_or_played_leaves_the_call_as_it_is) {
    HTAPICALL const call = ConnectedCall();
    const std::size_t since = service_.ReceivedCount();
    const stopwatch asking;
    EXPECT_TRUE(host_.BlindTransfer(call, number_.c_str()).Accepted());
    EXPECT_EQ(host_.GenerateDigits(call, number_.c_str()), 0);
    const milliseconds asked = asking.Elapsed();
    EXPECT_THAT(RequestsSince(since), testing::IsEmpty());
    EXPECT_EQ(Found(host_.View(call))->State(), DWORD{LINECALLSTATE_CONNECTED});
    EXPECT_LT(asked, kAtOnce);
    PrintFigure("number of 2,000 characters, redirected to and played", "both requests took", asked);
}

TEST_F(number_of_2000_characters, of_a_caller_is_told_whole) {
    const std::string number(2000, '9');
    const std::string name(2000, 'n');
    const stopwatch ringing;
    (void)phone_->Ring({number, name}, simulator::forwarder{{number, name}, "CFU"});
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon);
    ASSERT_TRUE(Becomes(call, LINECALLSTATE_ACCEPTED));
    const auto info = host_.GetCallInfo(call);
    const milliseconds told = ringing.Elapsed();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->caller.number, Wide(number));
    EXPECT_EQ(info->caller.name, Wide(name));
    EXPECT_EQ(info->redirecting.number, Wide(number));
    EXPECT_EQ(info->redirecting.name, Wide(name));
    EXPECT_EQ(info->reason, DWORD{LINECALLREASON_FWDUNCOND});
    EXPECT_LT(told, kAtOnce);
    PrintFigure("number of 2,000 characters, calling", "told with lineGetCallInfo after", told);
}

}  // namespace
}  // namespace brivelnox::test
