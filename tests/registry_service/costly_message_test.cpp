// Messages made to keep a parser busy: they take as long as others of their size, or they are refused.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "registry_service/rs_tsp_client.h"
#include "tests/registry_service/client_fixture_helper.h"
#include "tests/registry_service/test_link_helper.h"
#include "tests/support/process_log.h"
#include "tests/support/repeated_text.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A softphone that has registered under a name.
std::string Named(const std::string& name) {
    return "<msg><event><RegistrationChanged reason='registered'><Registration tapiLineName='" + name +
           "' permanentLineId='17'/></RegistrationChanged></event></msg>";
}

std::string WithAttributes(std::size_t count) {
    std::string message = "<msg><event";
    for (std::size_t attribute = 0; attribute < count; ++attribute) {
        message += " a" + std::to_string(attribute) + "=''";
    }
    return message + "/></msg>";
}

/// The link without a connection: what arrives is handed to it directly.
class costly_message : public testing::Test {
  protected:
    void Feed(const std::string& bytes) { link_->Feed(bytes.data(), bytes.size()); }
    [[nodiscard]] std::vector<std::string> Logged() const { return log_.Texts("TcpLink"); }

    log_reader log_ = StartProcessLog();
    std::shared_ptr<test_link> link_ = test_link::Make();
};

TEST_F(costly_message, is_refused_with_the_general_parsing_error) {
    for (const std::string& message : {Named(Repeated("&#", 1000)), WithAttributes(1000)}) {
        log_.Skip();
        Feed(message);
        EXPECT_THAT(Logged(), ElementsAre("Could not parse xml, 15"));
    }
    EXPECT_THAT(link_->Messages(), IsEmpty());
}

TEST_F(costly_message, loses_what_came_behind_it_but_not_what_came_before) {
    Feed(Message("a") + WithAttributes(1000) + Message("b") + "<msg><c/>");
    EXPECT_THAT(link_->Messages(), ElementsAre("a"));
    Feed("</msg>" + Message("d"));
    EXPECT_THAT(link_->Messages(), ElementsAre("a", "d"));
}

TEST_F(costly_message, is_none_with_a_few_references_or_attributes) {
    for (const std::string& message : {Named("R&#D"), Named("&#"), Named("&#&#&#&#"),
                                       Named(Repeated("&#228;", 1000)), WithAttributes(60)}) {
        Feed(message);
    }
    EXPECT_THAT(link_->Messages(), ElementsAre("event", "event", "event", "event", "event"));
    EXPECT_THAT(Logged(), IsEmpty());
}

/// The shortest of several runs in which the client receives the message and reads all that it wants of it.
std::chrono::nanoseconds TimeToReceive(const std::string& message) {
    auto shortest = std::chrono::nanoseconds::max();
    for (int run = 0; run < 5; ++run) {
        recording_handler handler;
        rs_tsp_client client(handler);
        const auto start = std::chrono::steady_clock::now();
        client.Feed(message.data(), message.size());
        shortest = std::min<std::chrono::nanoseconds>(shortest, std::chrono::steady_clock::now() - start);
    }
    return shortest;
}

TEST(costly_message_time, grows_with_the_size_of_a_message_whatever_it_holds) {
    const struct {
        const char* what;
        std::function<std::string(std::size_t size)> message;
    } kCases[] = {
        {"references", [](std::size_t size) { return Named(Repeated("&#", size / 2)); }},
        {"hexadecimal references", [](std::size_t size) { return Named(Repeated("&#x", size / 3)); }},
        {"references with one end", [](std::size_t size) { return Named(Repeated("&#", size / 2) + "a;"); }},
        {"names with a reference each",
         [](std::size_t size) {
             return "<msg><event><RegistrationChanged reason='registered'>" +
                    Repeated("<Other name='R&#D'/>", size / 20) + "</RegistrationChanged></event></msg>";
         }},
        {"attributes", [](std::size_t size) { return WithAttributes(size / 9); }},
        {"elements with as many attributes as may be",
         [](std::size_t size) {
             const std::string whole = WithAttributes(64);
             const std::string element = whole.substr(5, whole.size() - 11);
             return "<msg><event>" + Repeated(element, size / element.size()) + "</event></msg>";
         }},
        {"elements", [](std::size_t size) { return "<msg>" + Repeated("<a/>", size / 4) + "</msg>"; }},
        {"elements inside elements",
         [](std::size_t size) { return "<msg>" + Repeated("<a>", size / 3) + "</msg>"; }},
        {"texts and elements",
         [](std::size_t size) { return "<msg>" + Repeated("&#<a/>", size / 6) + "</msg>"; }},
        {"comments without an end",
         [](std::size_t size) { return "<msg>" + Repeated("<!--", size / 4) + "</msg>"; }},
        {"a long name", [](std::size_t size) { return Named(std::string(size, 'x')); }},
        {"a long name of an element",
         [](std::size_t size) { return "<msg><" + std::string(size, 'x') + "/></msg>"; }},
    };
    constexpr std::size_t kSize = 16 * 1024;
    for (const auto& row : kCases) {
        const auto once = TimeToReceive(row.message(kSize));
        const auto eight_times = TimeToReceive(row.message(8 * kSize));
        // Eight times the bytes take eight times as long; by the square it would be sixty-four times.
        EXPECT_LT(eight_times, 24 * once + std::chrono::milliseconds(20))
            << row.what << ": " << once.count() << " ns and " << eight_times.count() << " ns";
    }
}

}  // namespace
}  // namespace brivelnox::test
