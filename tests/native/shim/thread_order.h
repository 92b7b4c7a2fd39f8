#pragma once

// Which threads the stand-in puts in an order. Its own mutexes and counters would order nearly all of them:
// two threads that have nothing to do with each other and both use a socket, say. Windows promises none of
// that, and a race of the program's that happens to lie between two such calls would not be seen. So all of
// it is hidden from the thread sanitizer, and what Windows does promise is told to it in words:
//
//   an event or the end of a thread that is signalled   comes before a wait that it ends
//   the making of a timer                               before its callbacks
//   the end of a timer's callbacks                      before whoever has waited for it
//   the start of a thread                               after what its maker had done before
//   what is written to a file                           before it is read, in whatever file: only tests read
//
// The locks that the program itself uses (locks.cpp) are the system's and need no words, and the loader
// orders as its own counters say (modules.cpp). Elsewhere than under the thread sanitizer there is nothing in
// this file.

#include <cstddef>
#include <memory>
#include <utility>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define BRIVELNOX_NATIVE_ORDER_CHECKED
#endif
#endif

#ifdef BRIVELNOX_NATIVE_ORDER_CHECKED
extern "C" {
// Of the sanitizer's run-time library, which has no header for these.
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
void __tsan_acquire(void* address);
void __tsan_release(void* address);
void __tsan_read_range(void* address, unsigned long size);
void __tsan_write_range(void* address, unsigned long size);
}
#endif

namespace brivelnox::native {

#ifdef BRIVELNOX_NATIVE_ORDER_CHECKED

/// Hides what the calling thread does from the sanitizer while it lives: order, reads and writes. May be
/// nested.
class hidden_from_order {
  public:
    hidden_from_order() { Set(Depth() + 1); }
    ~hidden_from_order() { Set(Depth() - 1); }
    hidden_from_order(const hidden_from_order&) = delete;
    hidden_from_order& operator=(const hidden_from_order&) = delete;

    /// Hides as often as said, and returns how often it was before.
    static int Set(int depth) {
        const int before = std::exchange(Depth(), depth);
        if (before == 0 && depth != 0) {
            AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
            AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
        } else if (before != 0 && depth == 0) {
            AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
            AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
        }
        return before;
    }

  private:
    static int& Depth() {
        thread_local int depth = 0;
        return depth;
    }
};

/// The opposite, for a moment.
class shown_to_order {
  public:
    shown_to_order() : hidden_(hidden_from_order::Set(0)) {}
    ~shown_to_order() { (void)hidden_from_order::Set(hidden_); }
    shown_to_order(const shown_to_order&) = delete;
    shown_to_order& operator=(const shown_to_order&) = delete;

  private:
    const int hidden_;
};

/// Hands an order from thread to thread. Renewing it is kept apart from the rest by the caller's own lock.
class order_token {
  public:
    /// What the calling thread has done so far comes before what others do after they have taken the token.
    void Give() const {
        void* const place = place_.get();
        const shown_to_order shown;
        __tsan_release(place);
    }
    void Take() const {
        void* const place = place_.get();
        const shown_to_order shown;
        __tsan_acquire(place);
    }
    /// What has been given so far orders nobody any more.
    void Renew() { place_ = std::make_unique<char>(); }

  private:
    std::unique_ptr<char> place_ = std::make_unique<char>();
};

/// The call reads or has written memory of the program's own, which is not hidden.
inline void NoteRead(const void* memory, std::size_t size) {
    const shown_to_order shown;
    __tsan_read_range(const_cast<void*>(memory), size);
}
inline void NoteWritten(void* memory, std::size_t size) {
    const shown_to_order shown;
    __tsan_write_range(memory, size);
}

#else

struct hidden_from_order {
    hidden_from_order() {}
};

struct shown_to_order {
    shown_to_order() {}
};

struct order_token {
    void Give() const {}
    void Take() const {}
    void Renew() {}
};

inline void NoteRead(const void*, std::size_t) {}
inline void NoteWritten(void*, std::size_t) {}

#endif

}  // namespace brivelnox::native
