#pragma once

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "platform/unique_handle.h"

namespace brivelnox::benchmark {

/// Reads the clock that everything here is measured with.
using benchmark_clock = std::chrono::steady_clock;
using time_point = benchmark_clock::time_point;

/// The microseconds from one moment to another.
inline double Microseconds(time_point from, time_point to) {
    return std::chrono::duration<double, std::micro>(to - from).count();
}

/// When the first and the last of an expected number of things came. One thread expects and waits, any thread
/// notes.
class arrivals {
  public:
    /// Told the number of each thing that comes, counted from 1, before anybody who waits for it goes on.
    using witness = std::function<void(std::size_t number)>;

    /// From now on so many, at least one, are expected. Raises std::runtime_error when more than were
    /// expected have come since the last time: what was taken for the last was none then.
    void Expect(std::size_t count);
    /// From now on any number may come, and nobody waits: then noting does not call the system.
    void ExpectAny() { Expect(kAnyNumber); }
    /// One has come. Takes the time first.
    void Note();
    /// Until the last has come. Raises std::runtime_error when it does not.
    void Wait() const;

    /// Null for none. While nothing is under way.
    void SetWitness(witness watches) { witness_ = std::move(watches); }

    [[nodiscard]] std::size_t Expected() const { return expected_; }
    [[nodiscard]] time_point First() const { return first_; }
    [[nodiscard]] time_point Last() const { return last_; }

  private:
    static constexpr std::size_t kAnyNumber = SIZE_MAX;

    std::atomic<std::size_t> expected_{0};
    std::atomic<std::size_t> count_{0};
    time_point first_;
    time_point last_;
    witness witness_;
    unique_event complete_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

}  // namespace brivelnox::benchmark
