#pragma once

// Steps that bring, move and take away files.

#include <filesystem>
#include <string>

#include "tools/setup/telephony_services.h"
#include "tools/setup/transaction.h"

namespace brivelnox::setup {

/// Whether there is anything at the path: a file, a folder, or a link, whether or not it leads somewhere.
[[nodiscard]] bool IsThere(const std::filesystem::path& path);

/// Whether the path itself is a link to another place (a junction, a symbolic link).
[[nodiscard]] bool IsLink(const std::filesystem::path& path);

/// Deletes a file, or a folder with everything in it; links in it are deleted, and not what they lead to.
/// Returns whether all of it is gone.
bool DeleteTree(const std::filesystem::path& path);

/// Copies a file to its new place under a name that nobody looks for, before anything else is touched.
class bring_file : public step {
  public:
    /// Copies `source` to `target`, also over a file of that name.
    bring_file(std::filesystem::path source, std::filesystem::path target);

    [[nodiscard]] std::string Title() const override;
    std::string Do() override;
    bool Undo() override;

  private:
    const std::filesystem::path source_;
    const std::filesystem::path target_;
};

/// Gives a file or a folder another name beside the old one, which works for a file that a program has
/// loaded, too. In the end it is deleted, and where a program still has it, when the machine starts next.
class set_aside : public step {
  public:
    explicit set_aside(std::filesystem::path path);

    [[nodiscard]] std::string Title() const override;
    std::string Do() override;
    bool Undo() override;
    bool Finish() override;

  private:
    const std::filesystem::path path_;
    std::filesystem::path aside_;
};

/// Gives the file that was brought the provider's name.
class put_in_place : public step {
  public:
    /// Moves `from` to `to`, where nothing may be.
    put_in_place(std::filesystem::path from, std::filesystem::path to, telephony_services& services);

    [[nodiscard]] std::string Title() const override;
    std::string Do() override;
    bool Undo() override;

  private:
    const std::filesystem::path from_;
    const std::filesystem::path to_;
    telephony_services& services_;
    bool is_moved_ = false;
};

}  // namespace brivelnox::setup
