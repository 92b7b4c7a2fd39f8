// Compiled without instrumentation, and free of anything that other sources might instantiate too: to the
// thread sanitizer nothing of this must order the threads that it watches.

#include "shim/lock_order.h"

#include <execinfo.h>
#include <sanitizer/common_interface_defs.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>

namespace brivelnox::native::lock_order {

namespace {

constexpr int kMaximumHeld = 16;
constexpr int kMaximumOrders = 4096;
constexpr int kMaximumFrames = 32;
constexpr int kMaximumCycle = 5;

/// The locks that one thread holds, in the order in which it took them, with how often it took each.
struct held_locks {
    const void* locks[kMaximumHeld];
    int times[kMaximumHeld];
    int count;

    [[nodiscard]] int Find(const void* lock) const {
        int at = 0;
        while (at < count && locks[at] != lock) {
            ++at;
        }
        return at;
    }
    [[nodiscard]] bool Has(const void* lock) const { return Find(lock) != count; }
};

/// While `held` were held, `wanted` was waited for; `from` is one of those held.
struct order {
    const void* from;
    const void* wanted;
    held_locks held;
    void* frames[kMaximumFrames];
    int frame_count;
};

thread_local held_locks held = {};

// Guarded by the flag.
char busy = 0;
int order_count = 0;
order orders[kMaximumOrders];

void Enter() {
    while (__atomic_test_and_set(&busy, __ATOMIC_ACQUIRE)) {
        (void)sched_yield();
    }
}

void Leave() {
    __atomic_clear(&busy, __ATOMIC_RELEASE);
}

bool HaveCommon(const held_locks& left, const held_locks& right) {
    for (int i = 0; i < left.count; ++i) {
        if (right.Has(left.locks[i])) {
            return true;
        }
    }
    return false;
}

bool IsSame(const order& left, const order& right) {
    if (left.from != right.from || left.wanted != right.wanted || left.held.count != right.held.count) {
        return false;
    }
    for (int i = 0; i < left.held.count; ++i) {
        if (!right.held.Has(left.held.locks[i])) {
            return false;
        }
    }
    return true;
}

bool IsKnown(const order& seen) {
    for (int i = 0; i < order_count; ++i) {
        if (IsSame(orders[i], seen)) {
            return true;
        }
    }
    return false;
}

struct cycle {
    const order* orders[kMaximumCycle];
    int count;
};

bool MayFollow(const cycle& path, const order& next) {
    if (next.from != path.orders[path.count - 1]->wanted) {
        return false;
    }
    for (int i = 0; i < path.count; ++i) {
        if (HaveCommon(path.orders[i]->held, next.held)) {
            return false;
        }
    }
    return true;
}

/// Continues the path until it ends at the lock that it begins with.
bool Close(cycle& path) {
    if (path.orders[path.count - 1]->wanted == path.orders[0]->from) {
        return true;
    }
    if (path.count == kMaximumCycle) {
        return false;
    }
    for (int i = 0; i < order_count; ++i) {
        if (MayFollow(path, orders[i])) {
            path.orders[path.count++] = &orders[i];
            if (Close(path)) {
                return true;
            }
            --path.count;
        }
    }
    return false;
}

void PrintStack(const order& printed) {
    char line[1024];
    for (int i = 0; i < printed.frame_count; ++i) {
        __sanitizer_symbolize_pc(printed.frames[i], "    %f %S", line, sizeof(line));
        (void)fprintf(stderr, "%s\n", line);
    }
}

[[noreturn]] void Report(const cycle& found) {
    (void)fprintf(stderr, "==== threads can come to wait for each other for ever\n");
    for (int i = 0; i < found.count; ++i) {
        const order& printed = *found.orders[i];
        (void)fprintf(stderr, "  lock %p is waited for with lock %p held", printed.wanted, printed.from);
        (void)fprintf(stderr, " and %d more:\n", printed.held.count - 1);
        PrintStack(printed);
    }
    abort();
}

/// Adds an order that has not been seen yet.
void Add(const order& seen) {
    if (order_count == kMaximumOrders || IsKnown(seen)) {
        return;
    }
    order& added = orders[order_count++];
    added = seen;
    added.frame_count = backtrace(added.frames, kMaximumFrames);
    cycle path = {{&added}, 1};
    if (Close(path)) {
        Report(path);
    }
}

}  // namespace

void BeforeWait(const void* lock) {
    if (held.count == 0 || held.Has(lock)) {
        return;
    }
    Enter();
    for (int i = 0; i < held.count; ++i) {
        order seen = {held.locks[i], lock, held, {}, 0};
        Add(seen);
    }
    Leave();
}

void Taken(const void* lock) {
    const int at = held.Find(lock);
    if (at == kMaximumHeld) {
        (void)fprintf(stderr, "==== a thread holds too many locks\n");
        abort();
    }
    if (at == held.count) {
        held.locks[at] = lock;
        held.times[at] = 0;
        ++held.count;
    }
    ++held.times[at];
}

void Released(const void* lock) {
    const int at = held.Find(lock);
    if (at == held.count || --held.times[at] != 0) {
        return;
    }
    --held.count;
    for (int i = at; i < held.count; ++i) {
        held.locks[i] = held.locks[i + 1];
        held.times[i] = held.times[i + 1];
    }
}

void Forget() {
    Enter();
    order_count = 0;
    Leave();
}

}  // namespace brivelnox::native::lock_order
