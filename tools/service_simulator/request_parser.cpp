#include "tools/service_simulator/request_parser.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <optional>

namespace brivelnox::simulator {

namespace {

constexpr std::string_view kStartTag = "<msg>";
constexpr std::string_view kEndTag = "</msg>";

enum class field { kNone, kId, kLine, kCall, kCallOnHold, kNumber, kDigits };

/// A fixed text and the value that follows it.
struct part {
    std::string_view text;
    field value = field::kNone;
};

struct pattern {
    request_kind kind = request_kind::kMalformed;
    std::string_view name;
    std::array<part, 4> parts;
};

constexpr part kEndOfCommand{"'/></request></msg>", field::kNone};
constexpr part kNothing{"", field::kNone};

constexpr std::array<pattern, 10> kPatterns{{
    {request_kind::kGetClientRegistrations,
     "GetClientRegistrations",
     {{{"<msg><request id='", field::kId},
       {"'><GetClientRegistrations/></request></msg>", field::kNone},
       kNothing,
       kNothing}}},
    {request_kind::kKeepAlive,
     "KeepAlive",
     {{{"<msg><request id='", field::kId},
       {"'><KeepAlive/></request></msg>", field::kNone},
       kNothing,
       kNothing}}},
    {request_kind::kPlaceCall,
     "placeCall",
     {{{"<msg><request><placeCall permanentLineId='", field::kLine},
       {"' phoneNumber='", field::kNumber},
       {"' requestedClientCallId='", field::kCall},
       kEndOfCommand}}},
    {request_kind::kAcceptCall,
     "acceptCall",
     {{{"<msg><request><acceptCall permanentLineId='", field::kLine},
       {"' clientCallId='", field::kCall},
       kEndOfCommand,
       kNothing}}},
    {request_kind::kHoldCall,
     "holdCall",
     {{{"<msg><request><holdCall permanentLineId='", field::kLine},
       {"' clientCallId='", field::kCall},
       kEndOfCommand,
       kNothing}}},
    {request_kind::kResumeCall,
     "resumeCall",
     {{{"<msg><request><resumeCall permanentLineId='", field::kLine},
       {"' clientCallId='", field::kCall},
       kEndOfCommand,
       kNothing}}},
    {request_kind::kTransferCall,
     "transferCall",
     {{{"<msg><request><transferCall permanentLineId='", field::kLine},
       {"' clientCallId='", field::kCall},
       {"' clientCallOnHoldId='", field::kCallOnHold},
       kEndOfCommand}}},
    {request_kind::kForwardCall,
     "forwardCall",
     {{{"<msg><request><forwardCall permanentLineId='", field::kLine},
       {"' clientCallId='", field::kCall},
       {"' phoneNumber='", field::kNumber},
       kEndOfCommand}}},
    {request_kind::kPlayDtmf,
     "playDtmf",
     {{{"<msg><request><playDtmf permanentLineId='", field::kLine},
       {"' clientCallId='", field::kCall},
       {"' digits='", field::kDigits},
       kEndOfCommand}}},
    {request_kind::kHangupCall,
     "hangupCall",
     {{{"<msg><request><hangupCall permanentLineId='", field::kLine},
       {"' clientCallId='", field::kCall},
       kEndOfCommand,
       kNothing}}},
}};

std::optional<std::int32_t> ReadNumber(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    // Written back it has to be the same: no leading zeros, no "-0".
    if (error != std::errc() || end != text.data() + text.size() || std::to_string(value) != text) {
        return std::nullopt;
    }
    return value;
}

bool Store(field which, std::string_view value, request& into) {
    if (which == field::kId || which == field::kLine) {
        const std::optional<std::int32_t> number = ReadNumber(value);
        if (number) {
            (which == field::kId ? into.id : into.permanent_line_id) = *number;
        }
        return number.has_value();
    }
    std::string& text = which == field::kCall         ? into.client_call_id
                        : which == field::kCallOnHold ? into.client_call_on_hold_id
                        : which == field::kNumber     ? into.phone_number
                                                      : into.digits;
    text = value;
    return value.find_first_of("<&") == std::string_view::npos;
}

std::optional<request> Match(const pattern& expected, std::string_view rest) {
    request result;
    result.kind = expected.kind;
    for (const part& item : expected.parts) {
        if (rest.substr(0, item.text.size()) != item.text) {
            return std::nullopt;
        }
        rest.remove_prefix(item.text.size());
        if (item.value == field::kNone) {
            break;
        }
        // A value ends at its closing quote, so it cannot hold one.
        const std::size_t quote = rest.find('\'');
        if (quote == std::string_view::npos || !Store(item.value, rest.substr(0, quote), result)) {
            return std::nullopt;
        }
        rest.remove_prefix(quote);
    }
    return rest.empty() ? std::optional<request>(std::move(result)) : std::nullopt;
}

}  // namespace

std::string_view RequestName(request_kind kind) {
    for (const pattern& known : kPatterns) {
        if (known.kind == kind) {
            return known.name;
        }
    }
    return "malformed";
}

request ParseRequest(std::string_view message) {
    for (const pattern& known : kPatterns) {
        if (std::optional<request> match = Match(known, message)) {
            return std::move(*match);
        }
    }
    return {};
}

std::vector<std::string> message_splitter::Add(std::string_view bytes) {
    std::vector<std::string> complete;
    rest_.append(bytes);
    std::size_t position = 0;
    while (position < rest_.size()) {
        const std::size_t start = rest_.find(kStartTag, position);
        if (start != position) {
            // Bytes between messages. Without a start tag behind them they may be the beginning of one.
            if (start == std::string::npos) {
                if (kStartTag.substr(0, rest_.size() - position) ==
                    std::string_view(rest_).substr(position)) {
                    break;
                }
                complete.push_back(rest_.substr(position));
                position = rest_.size();
                break;
            }
            complete.push_back(rest_.substr(position, start - position));
            position = start;
        }
        const std::size_t end = rest_.find(kEndTag, position);
        if (end == std::string::npos) {
            break;
        }
        complete.push_back(rest_.substr(position, end + kEndTag.size() - position));
        position = end + kEndTag.size();
    }
    rest_.erase(0, position);
    return complete;
}

}  // namespace brivelnox::simulator
