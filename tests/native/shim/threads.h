#pragma once

#include <windows.h>

#include <functional>

namespace brivelnox::native {

/// Thrown through a thread's frames by the call that ends the thread.
struct thread_exit {
    DWORD code;
};

/// Runs the function on a new thread that nobody joins. Ends the program if there is none to be had.
void StartDetached(std::function<void()> run);

}  // namespace brivelnox::native
