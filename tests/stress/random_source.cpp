#include "tests/stress/random_source.h"

namespace brivelnox::stress {

namespace {

constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15U;

/// Spreads every bit of the value over all of the result.
std::uint64_t Mix(std::uint64_t value) {
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

}  // namespace

random_source::random_source(std::uint64_t seed, std::uint64_t stream)
    : state_(Mix(Mix(seed + kStep) ^ (stream * kStep))) {}

std::uint64_t random_source::Next() {
    state_ += kStep;
    return Mix(state_);
}

std::uint32_t random_source::Below(std::size_t count) {
    const std::uint64_t value = Next();
    return count == 0 ? 0 : static_cast<std::uint32_t>(value % count);
}

std::int32_t random_source::Between(std::int32_t low, std::int32_t high) {
    return low + static_cast<std::int32_t>(Below(static_cast<std::size_t>(high - low) + 1));
}

bool random_source::Chance(std::uint32_t percent) {
    return Below(100) < percent;
}

random_source random_source::Fork() {
    return random_source(Next());
}

}  // namespace brivelnox::stress
