#include "tests/support/failing_memory.h"

#include <cstdlib>
#include <new>

namespace {

// The allocations until one fails; 0: none does.
thread_local std::size_t countdown = 0;
thread_local bool has_failed = false;

}  // namespace

// In place of the library's, for the whole test program.
void* operator new(std::size_t size) {
    if (countdown != 0 && --countdown == 0) {
        has_failed = true;
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace brivelnox::test {

failing_memory::failing_memory(std::size_t successes) {
    has_failed = false;
    countdown = successes + 1;
}

failing_memory::~failing_memory() {
    countdown = 0;
}

bool failing_memory::HasFailed() const {
    return has_failed;
}

}  // namespace brivelnox::test
