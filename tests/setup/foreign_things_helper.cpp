#include "tests/setup/foreign_things_helper.h"

#include <windows.h>
#include <aclapi.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/missing_common_folder.h"
#include "tests/support/signal.h"
#include "tests/support/unix_pipe.h"
#include "tools/setup/elevation.h"
#include "tools/setup/files.h"
#include "tools/setup/log_folder.h"

namespace brivelnox::test {

namespace {

namespace fs = std::filesystem;

/// Until it is so, or time is over: nobody can wait for the end of a program of the system beneath Wine.
bool Becomes(const std::function<bool()>& so) {
    const stopwatch looking;
    while (!so() && looking.Elapsed() < kSoon) {
        std::this_thread::yield();
    }
    return so();
}

/// The bytes of the owner's identifier.
std::wstring OwnerOf(const fs::path& path) {
    PSID owner = nullptr;
    setup::unique_descriptor descriptor;
    if (GetNamedSecurityInfoW(std::wstring(path).data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                              nullptr, nullptr, nullptr, descriptor.put()) != ERROR_SUCCESS) {
        return {};
    }
    const auto* const bytes = static_cast<const BYTE*>(owner);
    return {bytes, bytes + GetLengthSid(owner)};
}

}  // namespace

bool MakeFolderLink(const fs::path& link, const fs::path& target) {
    if (RunsUnderWine()) {
        return RunUnixProgram(L"Z:\\bin\\ln", "-s \"" + UnixName(target) + "\" \"" +
                                                  UnixName(link.parent_path()) + "/" +
                                                  link.filename().string() + "\"") &&
               Becomes([&] { return setup::IsLink(link); });
    }
    return CreateSymbolicLinkW(link.c_str(), target.c_str(), SYMBOLIC_LINK_FLAG_DIRECTORY) != FALSE;
}

void RemoveFolderLink(const fs::path& link) {
    // Wine's own way would remove the folder that it leads to.
    if (!RunsUnderWine()) {
        (void)RemoveDirectoryW(link.c_str());
    } else if (RunUnixProgram(L"Z:\\bin\\rm", "-f \"" + UnixName(link.parent_path()) + "/" +
                                                  link.filename().string() + "\"")) {
        (void)Becomes([&] { return !setup::IsThere(link); });
    }
}

bool GiveToStranger(const fs::path& path) {
    const std::wstring before = OwnerOf(path);
    if (RunsUnderWine()) {
        return RunUnixProgram(L"Z:\\bin\\chown", "12345 \"" + UnixName(path) + "\"") &&
               Becomes([&] { return OwnerOf(path) != before; });
    }
    std::array<std::byte, SECURITY_MAX_SID_SIZE> users = {};
    DWORD size = static_cast<DWORD>(users.size());
    setup::AllowToGiveBack();
    return CreateWellKnownSid(WinBuiltinUsersSid, nullptr, users.data(), &size) &&
           SetNamedSecurityInfoW(std::wstring(path).data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION,
                                 users.data(), nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

}  // namespace brivelnox::test
