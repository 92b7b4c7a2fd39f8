#include "registry_service/parse_cost.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace brivelnox {

namespace {

/// How many bytes may be searched for the ends of references, for each byte of the message: that takes about
/// as long as parsing it. A name comes near with three hundred characters that are all beginnings of
/// references.
constexpr std::size_t kSearchedBytesPerByte = 64;

/// How many attributes an element may have. The service's elements have five at most. Elements with so many
/// take about as long as as many bytes of elements without any.
constexpr std::size_t kMostAttributes = 64;

/// What stands behind a "<" and stands for itself up to its closing: no elements and no references are in it.
/// The first opening that fits counts.
constexpr struct {
    std::string_view opening;
    std::string_view closing;
} kPlainParts[] = {
    {"?", "?>"},
    {"!--", "-->"},
    {"![CDATA[", "]]>"},
    {"!", ">"},
};

/// Takes everything up to the end mark off the front of the text, and the mark with it; all of the text where
/// there is no mark. Returns what lay before the mark.
std::string_view TakeUntil(std::string_view end_mark, std::string_view& text) {
    const std::string_view taken = text.substr(0, text.find(end_mark));
    text.remove_prefix(std::min(taken.size() + end_mark.size(), text.size()));
    return taken;
}

/// Takes a plain part off the front of the text behind a "<". Returns false when there is none.
bool TakePlainPart(std::string_view& text) {
    for (const auto& part : kPlainParts) {
        if (text.starts_with(part.opening)) {
            text.remove_prefix(part.opening.size());
            (void)TakeUntil(part.closing, text);
            return true;
        }
    }
    return false;
}

/// Takes the next attribute off the front of the text inside a tag and returns its value; takes the tag's end
/// and returns nothing when there is none.
std::optional<std::string_view> TakeAttribute(std::string_view& text) {
    while (!text.empty()) {
        const std::string_view mark = text.substr(0, 1);
        text.remove_prefix(1);
        if (mark == ">") {
            return std::nullopt;
        }
        if (mark == "'" || mark == "\"") {
            return TakeUntil(mark, text);
        }
    }
    return std::nullopt;
}

/// How many bytes of a value are searched for the ends of its references, each as often as it is.
std::size_t SearchedBytes(std::string_view value) {
    std::size_t searched = 0;
    std::size_t without_end = 0;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] == ';') {
            without_end = 0;
        } else if (value.substr(at).starts_with("&#")) {
            ++without_end;
        }
        searched += without_end;
    }
    return searched;
}

}  // namespace

bool IsParsedInLinearTime(std::string_view message) {
    std::size_t searched = 0;
    for (std::string_view rest = message; !rest.empty();) {
        searched += SearchedBytes(TakeUntil("<", rest));
        if (TakePlainPart(rest)) {
            continue;
        }
        std::size_t attributes = 0;
        while (const std::optional<std::string_view> value = TakeAttribute(rest)) {
            searched += SearchedBytes(*value);
            if (++attributes > kMostAttributes) {
                return false;
            }
        }
    }
    return searched / kSearchedBytesPerByte <= message.size();
}

}  // namespace brivelnox
