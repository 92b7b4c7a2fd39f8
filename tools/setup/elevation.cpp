#include "tools/setup/elevation.h"

#include "tools/setup/failure.h"

namespace brivelnox::setup {

unique_token OwnToken() {
    unique_token token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY | TOKEN_ADJUST_PRIVILEGES, token.put())) {
        FailWithLastError("the rights of this program cannot be read");
    }
    return token;
}

bool IsElevated() {
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    return GetTokenInformation(OwnToken().get(), TokenElevation, &elevation, sizeof elevation, &size) &&
           elevation.TokenIsElevated != 0;
}

void AllowToGiveBack() {
    TOKEN_PRIVILEGES wanted = {};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (LookupPrivilegeValueW(nullptr, SE_RESTORE_NAME, &wanted.Privileges[0].Luid)) {
        (void)AdjustTokenPrivileges(OwnToken().get(), FALSE, &wanted, 0, nullptr, nullptr);
    }
}

}  // namespace brivelnox::setup
