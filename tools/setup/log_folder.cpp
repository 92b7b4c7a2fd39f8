#include "tools/setup/log_folder.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "tools/setup/elevation.h"
#include "tools/setup/failure.h"
#include "tools/setup/files.h"
#include "tools/setup/path_text.h"

namespace brivelnox::setup {

namespace {

namespace fs = std::filesystem;

// Owner Administrators; nothing is inherited from above, everything is handed down: SYSTEM and Administrators
// may do all, the telephony service (NETWORK SERVICE) may change what is there.
constexpr wchar_t kLogDescriptor[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;NS)";
constexpr wchar_t kInheritedDescriptor[] = L"O:BA";

constexpr WELL_KNOWN_SID_TYPE kTrusted[] = {WinLocalSystemSid, WinBuiltinAdministratorsSid,
                                            WinLocalServiceSid, WinNetworkServiceSid};

/// The functions for names want one that they could change.
wchar_t* NameOf(const fs::path& path) {
    return const_cast<wchar_t*>(path.c_str());
}

/// Reads owner and rights.
unique_descriptor DescriptorOf(const fs::path& path) {
    unique_descriptor descriptor;
    const DWORD error = GetNamedSecurityInfoW(NameOf(path), SE_FILE_OBJECT,
                                              OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, nullptr,
                                              nullptr, nullptr, nullptr, descriptor.put());
    if (error != ERROR_SUCCESS) {
        FailWith(error, "the rights of " + PathText(path) + " cannot be read");
    }
    return descriptor;
}

/// Writes owner and rights; what is inherited from them is passed on to everything below.
void SetDescriptor(const fs::path& path, PSECURITY_DESCRIPTOR descriptor) {
    PSID owner = nullptr;
    PACL rights = nullptr;
    BOOL is_there = FALSE;
    BOOL is_default = FALSE;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    (void)GetSecurityDescriptorOwner(descriptor, &owner, &is_default);
    (void)GetSecurityDescriptorDacl(descriptor, &is_there, &rights, &is_default);
    (void)GetSecurityDescriptorControl(descriptor, &control, &revision);
    const DWORD protection = (control & SE_DACL_PROTECTED) != 0 ? PROTECTED_DACL_SECURITY_INFORMATION
                                                                : UNPROTECTED_DACL_SECURITY_INFORMATION;
    const DWORD error = SetNamedSecurityInfoW(
        NameOf(path), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | protection,
        owner, nullptr, rights, nullptr);
    if (error != ERROR_SUCCESS) {
        FailWith(error, "the rights of " + PathText(path) + " cannot be set");
    }
}

/// Whether it is the user who runs the setup: he is an administrator.
bool IsOwnUser(PSID owner) {
    std::vector<std::byte> bytes(sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE);
    DWORD size = 0;
    if (!GetTokenInformation(OwnToken().get(), TokenUser, bytes.data(), static_cast<DWORD>(bytes.size()),
                             &size)) {
        return false;
    }
    return EqualSid(reinterpret_cast<const TOKEN_USER*>(bytes.data())->User.Sid, owner) != FALSE;
}

void RefuseForeign(const fs::path& path) {
    if (IsLink(path)) {
        throw failure(PathText(path) + " is a link to another place; remove it and start again");
    }
    const unique_descriptor descriptor = DescriptorOf(path);
    PSID owner = nullptr;
    BOOL is_default = FALSE;
    if (!GetSecurityDescriptorOwner(descriptor.get(), &owner, &is_default) || owner == nullptr ||
        (std::ranges::none_of(kTrusted, [&](auto type) { return IsWellKnownSid(owner, type) != FALSE; }) &&
         !IsOwnUser(owner))) {
        throw failure(PathText(path) +
                      " belongs to somebody who is no administrator; remove it and start again");
    }
}

void RefuseForeignContents(const fs::path& folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        RefuseForeign(entry.path());
        if (entry.is_directory()) {
            RefuseForeignContents(entry.path());
        }
    }
}

}  // namespace

make_folder::make_folder(fs::path folder, folder_access access)
    : folder_(std::move(folder)), access_(access) {}

std::string make_folder::Title() const {
    return "Make the folder " + PathText(folder_);
}

std::string make_folder::Do() {
    if (!IsThere(folder_)) {
        Make();
        return {};
    }
    RefuseForeign(folder_);
    if (!fs::is_directory(folder_)) {
        throw failure(PathText(folder_) + " is a file; remove it and start again");
    }
    if (access_ == folder_access::kLog) {
        Protect();
    }
    return "it is there";
}

unique_descriptor make_folder::Wanted() const {
    unique_descriptor descriptor;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(
            access_ == folder_access::kLog ? kLogDescriptor : kInheritedDescriptor, SDDL_REVISION_1,
            descriptor.put(), nullptr)) {
        FailWithLastError("the rights of the folder cannot be made");
    }
    return descriptor;
}

void make_folder::Make() {
    const unique_descriptor wanted = Wanted();
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, wanted.get(), FALSE};
    if (!CreateDirectoryW(folder_.c_str(), &attributes)) {
        FailWithLastError("it cannot be made");
    }
    is_made_ = true;
}

void make_folder::Protect() {
    const unique_descriptor wanted = Wanted();
    before_ = DescriptorOf(folder_);
    SetDescriptor(folder_, wanted.get());
}

bool make_folder::Undo() {
    if (is_made_) {
        // What is in it has been written since.
        if (!DeleteTree(folder_)) {
            throw failure(PathText(folder_) + " cannot be deleted");
        }
    } else if (before_) {
        SetDescriptor(folder_, before_.get());
    }
    return is_made_ || before_;
}

look_through_folder::look_through_folder(fs::path folder) : folder_(std::move(folder)) {}

std::string look_through_folder::Title() const {
    return "Look through the folder " + PathText(folder_);
}

std::string look_through_folder::Do() {
    RefuseForeignContents(folder_);
    return {};
}

}  // namespace brivelnox::setup
