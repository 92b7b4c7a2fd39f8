// What the sanitizers' run-time libraries ask a program for when it starts. Every suppression stands beside
// its reason; there is none for a data race, a lock order or undefined behaviour.

extern "C" {

const char* __asan_default_options() {
    return "detect_stack_use_after_return=1:strict_string_checks=1:check_initialization_order=1:"
           "strict_init_order=1:handle_abort=1:abort_on_error=0";
}

const char* __ubsan_default_options() {
    return "print_stacktrace=1:halt_on_error=1";
}

const char* __lsan_default_suppressions() {
    // A link deliberately never frees its receive buffer, which is made where the link is: one for each life
    // of the provider. What the buffer holds belongs to it and needs no words; what it has lost is found.
    return "leak:tcp_link::tcp_link\n";
}

const char* __tsan_default_options() {
    // io_sync=0: bytes that go through a socket order nothing. The service is another process; were its
    // connection taken as an order between threads, it would hide the races of the threads that send and
    // receive here.
    return "io_sync=0:second_deadlock_stack=1:history_size=4:halt_on_error=0:exitcode=66:"
           "handle_abort=1";
}

}  // extern "C"
