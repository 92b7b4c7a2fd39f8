#pragma once

#include <string>
#include <string_view>

namespace brivelnox::demonstration {

/// A message of the wire in short: without its envelope, the most telling values first, attribute names cut
/// short, UUIDs cut to their first group, entities decoded, UTF-8. For example `CallState Ringing line=1001
/// call=1001-1 caller=false Self(1001) Peer(+4930555 "Dora Lindt")`. What is not one well-formed message with
/// one payload comes back in EscapeLine's form, shortened.
std::string WireText(std::string_view message);

}  // namespace brivelnox::demonstration
