#include "tests/benchmark/arrivals.h"

#include <stdexcept>

namespace brivelnox::benchmark {

namespace {

// Only what is broken takes as long.
constexpr DWORD kPatienceMilliseconds = 180000;

}  // namespace

void arrivals::Expect(std::size_t count) {
    if (count_ > expected_) {
        throw std::runtime_error("more came than was expected");
    }
    count_ = 0;
    expected_ = count;
    (void)ResetEvent(complete_.get());
}

void arrivals::Note() {
    const time_point now = benchmark_clock::now();
    const std::size_t number = ++count_;
    if (number == 1) {
        first_ = now;
    }
    if (number == expected_) {
        last_ = now;
    }
    if (witness_) {
        witness_(number);
    }
    if (number == expected_) {
        (void)SetEvent(complete_.get());
    }
}

void arrivals::Wait() const {
    if (WaitForSingleObject(complete_.get(), kPatienceMilliseconds) != WAIT_OBJECT_0) {
        throw std::runtime_error("something that was expected did not come");
    }
}

}  // namespace brivelnox::benchmark
