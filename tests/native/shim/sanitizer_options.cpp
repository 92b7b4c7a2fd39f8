// What the sanitizers' run-time libraries ask a program for when it starts. Every suppression stands beside
// its reason; there is none for a data race, a lock order or undefined behaviour.

#include <pthread.h>
#include <time.h>

extern "C" {

const char* __asan_default_options() {
    return "detect_stack_use_after_return=1:strict_string_checks=1:check_initialization_order=1:"
           "strict_init_order=1:handle_abort=1:abort_on_error=0";
}

const char* __ubsan_default_options() {
    return "print_stacktrace=1:halt_on_error=1";
}

const char* __lsan_default_suppressions() {
    // The buffer of a link is deliberately not given back when the link ends: one allocation per shutdown of
    // the provider. Only the buffer's own two allocations have these functions on the stack.
    return "leak:brivelnox::receive_buffer::receive_buffer\n"
           "leak:brivelnox::receive_buffer::Grow\n";
}

const char* __tsan_default_options() {
    // io_sync=0: bytes that go through a socket order nothing. The service is another process; were its
    // connection taken as an order between threads, it would hide the races of the threads that send and
    // receive here.
    return "io_sync=0:second_deadlock_stack=1:history_size=4:halt_on_error=0:exitcode=66";
}

}  // extern "C"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)

// std::recursive_timed_mutex waits until a time of the steady clock with pthread_mutex_clocklock, which the
// run-time library of this compiler does not know: it would miss that the mutex has been taken, and report
// races and unlocks of a mutex that is not held. This one takes the place of the C library's for the whole
// program and waits with the function that it does know, until the same moment by the other clock.
extern "C" int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* until) {
    constexpr long kNanosecondsPerSecond = 1000000000;
    timespec now = {};
    timespec deadline = {};
    (void)clock_gettime(clock, &now);
    (void)clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += until->tv_sec - now.tv_sec;
    deadline.tv_nsec += until->tv_nsec - now.tv_nsec;
    for (; deadline.tv_nsec < 0; deadline.tv_nsec += kNanosecondsPerSecond) {
        --deadline.tv_sec;
    }
    for (; deadline.tv_nsec >= kNanosecondsPerSecond; deadline.tv_nsec -= kNanosecondsPerSecond) {
        ++deadline.tv_sec;
    }
    return pthread_mutex_timedlock(mutex, &deadline);
}

#endif
#endif
