#pragma once

#include <windows.h>

#include <cstdint>
#include <span>

namespace brivelnox {

/// Where a lock stands in the order in which locks are taken. docs/architecture.md tells which lock has which
/// rank and why.
enum class lock_rank : std::uint8_t {
    creation,  // the making of the telephony manager
    shutdown,  // the shutting down of the provider
    link,      // the TCP link
    event,     // everything that is told to TAPI, and every change of a line or a call
    lines,     // the line manager's indexes
    line,      // the index of one line's calls
    leaf,      // few lines of code that call nothing outside their own class, but for the log
    log,       // the logger: taken last by everybody
};

/// The rules for the order of locks, checked while the program runs. Only debug builds (without NDEBUG) do
/// so: there a lock that is waited for in the wrong order, or a callback that is made with a lock that must
/// not be held, ends the program with the stacks of both places. Waits with a bound are not judged, nor is
/// trying: neither can lock up.
namespace lock_order {

/// A lock that a thread holds.
struct held_lock {
    const void* lock;
    lock_rank rank;
};

/// The first of the `held` locks with which a thread must not wait for a lock of the rank `wanted`, or null:
/// a lock is waited for only with locks that stand before it in the order of lock_rank. A thread never waits
/// for a lock of its own, so `held` is without the wanted lock.
const held_lock* FindBreach(std::span<const held_lock> held, lock_rank wanted);

/// The name of a rank, for the report.
const char* Name(lock_rank rank);

#if defined(NDEBUG)
inline constexpr bool kIsChecked = false;
inline void BeforeCallback() {}
#else
inline constexpr bool kIsChecked = true;
/// The calling thread is about to call a procedure of TAPI. Ends the program when it holds a lock that must
/// not be held then, or does not hold the event lock.
void BeforeCallback();
#endif

}  // namespace lock_order

/// What a lock tells the check about itself. Without the check it is empty and does nothing.
class lock_watch {
  public:
#if defined(NDEBUG)
    explicit lock_watch(lock_rank, bool = true) {}
    void BeforeWait() const {}
    void Taken() const {}
    void Released() const {}
#else
    explicit lock_watch(lock_rank rank, bool is_recursive = true)
        : rank_(rank), is_recursive_(is_recursive) {}
    /// The calling thread is about to wait for the lock without a bound. Ends the program when it must not.
    void BeforeWait() const;
    /// The calling thread has got the lock, however it came by it; once more, if it had it already.
    void Taken() const;
    /// The calling thread is about to give the lock up, once.
    void Released() const;

#endif
    /// Notes the end of an attempt, and returns whether it was successful.
    bool TakenIf(bool is_successful) const {
        if (is_successful) {
            Taken();
        }
        return is_successful;
    }

#if !defined(NDEBUG)
  private:
    lock_rank rank_;
    bool is_recursive_;
#endif
};

}  // namespace brivelnox
