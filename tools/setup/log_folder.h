#pragma once

// Steps that make the log's folders safe: the log holds names and numbers, and the telephony service has to
// be able to write it whoever writes its first line.

#include <windows.h>

#include <filesystem>
#include <string>

#include "platform/unique_handle.h"
#include "tools/setup/transaction.h"

namespace brivelnox::setup {

/// Owner and rights, as the system gives them.
using unique_descriptor = unique_handle<handle_traits<PSECURITY_DESCRIPTOR, &LocalFree>>;

/// Who may use a folder.
enum class folder_access {
    kInherited,  ///< whom the folder above it lets
    kLog,        ///< SYSTEM, Administrators, and the telephony service, which writes; nobody else
};

/// Makes a folder of the Administrators, or makes one that is there theirs. Refused is what somebody else has
/// put in its place: a link to another place, a file, a folder whose owner is neither the system, one of its
/// services nor an administrator.
class make_folder : public step {
  public:
    make_folder(std::filesystem::path folder, folder_access access);

    [[nodiscard]] std::string Title() const override;
    std::string Do() override;
    bool Undo() override;

  private:
    [[nodiscard]] unique_descriptor Wanted() const;
    void Make();
    void Protect();

    const std::filesystem::path folder_;
    const folder_access access_;
    bool is_made_ = false;
    unique_descriptor before_;  ///< of a folder that was there and has been changed
};

/// Refuses a folder in which a link, or something of an owner as above, lies at any depth: a file that
/// somebody put there before the folder was protected would stay open to him.
class look_through_folder : public step {
  public:
    explicit look_through_folder(std::filesystem::path folder);

    [[nodiscard]] std::string Title() const override;
    std::string Do() override;

  private:
    const std::filesystem::path folder_;
};

}  // namespace brivelnox::setup
