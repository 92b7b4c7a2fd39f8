#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brivelnox::fuzz {

/// An input with a part that can be repeated: what lies between the marks `\(` and `\)`, all of it where
/// nothing is marked. The marks count where they stand first; without an end mark the part goes to the end.
class growing_input {
  public:
    /// The text must live as long.
    explicit growing_input(std::string_view input);

    [[nodiscard]] bool IsMarked() const { return marked_; }
    /// How many bytes are received of one copy of the part.
    [[nodiscard]] std::size_t PartSize() const;
    /// The input with so many copies of its part. In each copy `\#` stands for the copy's number.
    [[nodiscard]] std::string WithCopies(std::size_t copies) const;

  private:
    bool marked_ = false;
    std::string_view before_;
    std::string_view part_;
    std::string_view behind_;
};

}  // namespace brivelnox::fuzz
