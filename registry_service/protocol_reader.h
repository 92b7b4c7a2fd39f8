#pragma once

#include <cstdint>

#include "registry_service/client_records.h"

namespace tinyxml2 {
class XMLElement;
}

namespace brivelnox {

// Reads values and records out of received elements. Nothing is validated: absent or unreadable values take
// their defaults, and what a value means is its consumer's business.

/// The attribute's text in the ANSI code page, as the parser hands it out; empty when the attribute is
/// absent.
const char* TextAttribute(const tinyxml2::XMLElement& element, const char* name);

/// The attribute as a signed decimal 32-bit number. Leading blanks are skipped, characters after the digits
/// are ignored; 0 when the attribute is absent, holds no number, or a number that 32 bits cannot hold.
std::int32_t IntegerAttribute(const tinyxml2::XMLElement& element, const char* name);

/// The attribute as a boolean: a decimal number (true when not 0), otherwise "true" in any letter case.
/// Everything else is false, an absent attribute too.
bool BooleanAttribute(const tinyxml2::XMLElement& element, const char* name);

/// A `Registration` element.
client_registration ReadRegistration(const tinyxml2::XMLElement& element);

/// A `CallState` element with its optional children Self, Peer and Forwarder; of each the first counts.
client_call_state ReadCallState(const tinyxml2::XMLElement& element);

}  // namespace brivelnox
