#pragma once

#include <stdexcept>
#include <string>

namespace brivelnox::acceptance {

class bench;

/// Raised by a step that this system cannot run; the text says why.
class left_out : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Raises std::runtime_error with the text, unless it is so: the step has failed.
void Require(bool so, const std::string& otherwise);

/// One thing that is claimed of the provider on Windows, and how it is settled.
struct step {
    const char* name;
    const char* claim;
    const char* how;
    /// Returns what was seen. Raises left_out, or any other exception where the claim does not hold. It needs
    /// no other step to have run before.
    std::string (*run)(bench& machine);
};

enum class verdict { kPassed, kFailed, kLeftOut };

struct result {
    verdict what = verdict::kPassed;
    std::string text;    ///< what was seen, or why not
    double seconds = 0;  ///< how long it took
};

/// Runs a step. Never raises.
result RunStep(const step& each, bench& machine);

}  // namespace brivelnox::acceptance
