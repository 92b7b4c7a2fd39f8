#include "tools/windows_acceptance/step.h"

#include <chrono>
#include <exception>

namespace brivelnox::acceptance {

void Require(bool so, const std::string& otherwise) {
    if (!so) {
        throw std::runtime_error(otherwise);
    }
}

result RunStep(const step& each, bench& machine) {
    const auto begun = std::chrono::steady_clock::now();
    result seen;
    try {
        seen = {verdict::kPassed, each.run(machine)};
    } catch (const left_out& why) {
        seen = {verdict::kLeftOut, why.what()};
    } catch (const std::exception& why) {
        seen = {verdict::kFailed, why.what()};
    }
    seen.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    return seen;
}

}  // namespace brivelnox::acceptance
