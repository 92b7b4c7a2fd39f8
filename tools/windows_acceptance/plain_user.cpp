#include "tools/windows_acceptance/plain_user.h"

#include <array>
#include <cstddef>
#include <utility>

namespace brivelnox::acceptance {

namespace {

using setup::unique_token;

/// The token that the system itself keeps for an elevated user's other programs. Not every system lets an
/// administrator start programs with it.
unique_token LinkedToken() {
    TOKEN_LINKED_TOKEN linked = {};
    DWORD size = 0;
    unique_token primary;
    if (GetTokenInformation(setup::OwnToken().get(), TokenLinkedToken, &linked, sizeof linked, &size)) {
        const unique_token plain(linked.LinkedToken);
        (void)DuplicateTokenEx(plain.get(), TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary,
                               primary.put());
    }
    return primary;
}

using well_known_sid = std::array<std::byte, SECURITY_MAX_SID_SIZE>;

well_known_sid Sid(WELL_KNOWN_SID_TYPE type) {
    well_known_sid sid = {};
    DWORD size = static_cast<DWORD>(sid.size());
    (void)CreateWellKnownSid(type, nullptr, sid.data(), &size);
    return sid;
}

/// This program's token, in which being an administrator only forbids.
unique_token RestrictedToken() {
    unique_token own;
    unique_token restricted;
    well_known_sid administrators = Sid(WinBuiltinAdministratorsSid);
    well_known_sid medium = Sid(WinMediumLabelSid);
    SID_AND_ATTRIBUTES disabled = {administrators.data(), 0};
    TOKEN_MANDATORY_LABEL label = {{medium.data(), SE_GROUP_INTEGRITY}};
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, own.put()) ||
        !CreateRestrictedToken(own.get(), DISABLE_MAX_PRIVILEGE, 1, &disabled, 0, nullptr, 0, nullptr,
                               restricted.put()) ||
        !SetTokenInformation(restricted.get(), TokenIntegrityLevel, &label, sizeof label)) {
        restricted.reset();
    }
    return restricted;
}

}  // namespace

unique_token PlainUser() {
    unique_token plain = LinkedToken();
    return plain ? std::move(plain) : RestrictedToken();
}

}  // namespace brivelnox::acceptance
