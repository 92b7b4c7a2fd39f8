#include "platform/lock_order.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace brivelnox {

namespace lock_order {

const held_lock* FindBreach(std::span<const held_lock> held, lock_rank wanted) {
    const auto found = std::ranges::find_if(held, [&](const held_lock& each) { return each.rank >= wanted; });
    return found == held.end() ? nullptr : &*found;
}

const char* Name(lock_rank rank) {
    static constexpr std::array<const char*, 8> kNames = {
        "creation lock", "shutdown lock", "link lock", "event lock",
        "lines lock",    "line's lock",   "leaf lock", "log's lock",
    };
    return kNames[static_cast<std::size_t>(rank)];
}

}  // namespace lock_order

#if !defined(NDEBUG)

namespace {

using lock_order::held_lock;

constexpr std::size_t kMaximumHeld = 16;
constexpr ULONG kMaximumFrames = 24;

struct stack_trace {
    std::array<void*, kMaximumFrames> frames;
    USHORT count;

    void Capture() { count = RtlCaptureStackBackTrace(1, kMaximumFrames, frames.data(), nullptr); }

    void Print(const char* title) const {
        std::fprintf(stderr, "  %s:\n", title);
        // Offsets from a function of this module, so that a loaded DLL's addresses can be found in its
        // symbols.
        const char* const origin = reinterpret_cast<const char*>(&lock_order::FindBreach);
        for (USHORT i = 0; i < count; ++i) {
            std::fprintf(stderr, "    %p (lock_order::FindBreach %+lld)\n", frames[i],
                         static_cast<long long>(static_cast<const char*>(frames[i]) - origin));
        }
    }
};

/// What one thread holds, in the order in which it took it.
struct thread_locks {
    std::array<held_lock, kMaximumHeld> locks;
    std::array<std::uint32_t, kMaximumHeld> times;  // how often the thread has taken the lock
    std::array<stack_trace, kMaximumHeld> taken_at;
    std::size_t count;

    [[nodiscard]] std::span<const held_lock> Held() const { return {locks.data(), count}; }
    [[nodiscard]] std::size_t Find(const void* lock) const {
        const auto held = Held();
        return static_cast<std::size_t>(std::ranges::find(held, lock, &held_lock::lock) - held.begin());
    }
};

// Without a constructor or destructor: usable while a thread begins and ends.
thread_local thread_locks own_locks = {};

[[noreturn]] void Stop(const char* what, lock_rank wanted, const held_lock* breached) {
    std::fprintf(stderr, "==== order of locks: %s %s", what, lock_order::Name(wanted));
    if (breached != nullptr) {
        std::fprintf(stderr, " with the %s %p held\n", lock_order::Name(breached->rank), breached->lock);
        own_locks.taken_at[static_cast<std::size_t>(breached - own_locks.locks.data())].Print(
            "which was taken here");
    } else {
        std::fprintf(stderr, "\n");
    }
    stack_trace here;
    here.Capture();
    here.Print("and here is the thread now");
    std::fflush(stderr);
    std::abort();
}

}  // namespace

void lock_watch::BeforeWait() const {
    if (const std::size_t at = own_locks.Find(this); at != own_locks.count) {
        if (!is_recursive_) {
            Stop("a thread waits for itself, for the", rank_, &own_locks.locks[at]);
        }
        return;
    }
    if (const held_lock* const breached = lock_order::FindBreach(own_locks.Held(), rank_)) {
        Stop("a thread waits for the", rank_, breached);
    }
}

void lock_watch::Taken() const {
    thread_locks& own = own_locks;
    const std::size_t at = own.Find(this);
    if (at == own.count) {
        if (at == kMaximumHeld) {
            Stop("a thread holds too many locks, the last is a", rank_, nullptr);
        }
        own.locks[at] = {this, rank_};
        own.times[at] = 0;
        own.taken_at[at].Capture();
        ++own.count;
    }
    ++own.times[at];
}

void lock_watch::Released() const {
    thread_locks& own = own_locks;
    const std::size_t at = own.Find(this);
    if (at == own.count) {
        Stop("a thread gives up what it does not hold, a", rank_, nullptr);
    }
    if (--own.times[at] != 0) {
        return;
    }
    std::move(own.locks.begin() + at + 1, own.locks.begin() + own.count, own.locks.begin() + at);
    std::move(own.times.begin() + at + 1, own.times.begin() + own.count, own.times.begin() + at);
    std::move(own.taken_at.begin() + at + 1, own.taken_at.begin() + own.count, own.taken_at.begin() + at);
    --own.count;
}

void lock_order::BeforeCallback() {
    const std::span<const held_lock> held = own_locks.Held();
    // What stands behind the event lock may be needed by a callback on another thread.
    if (const held_lock* const breached = FindBreach(held, lock_rank::lines)) {
        Stop("TAPI is called inside the", lock_rank::event, breached);
    }
    if (std::ranges::find(held, lock_rank::event, &held_lock::rank) == held.end()) {
        Stop("TAPI is called without the", lock_rank::event, nullptr);
    }
}

#endif

}  // namespace brivelnox
