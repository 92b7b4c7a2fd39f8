#pragma once

// Names for clang's thread-safety analysis. Other compilers see nothing of them. A member that a lock guards
// carries BRIVELNOX_GUARDED_BY, a function that expects a lock held carries BRIVELNOX_REQUIRES, a lock that
// is only taken behind another one of the same object carries BRIVELNOX_ACQUIRED_AFTER; the clang build turns
// every breach into an error.

#if defined(__clang__)
#define BRIVELNOX_ANNOTATION(x) __attribute__((x))
#else
#define BRIVELNOX_ANNOTATION(x)
#endif

#define BRIVELNOX_CAPABILITY(name) BRIVELNOX_ANNOTATION(capability(name))
#define BRIVELNOX_SCOPED_CAPABILITY BRIVELNOX_ANNOTATION(scoped_lockable)
#define BRIVELNOX_GUARDED_BY(lock) BRIVELNOX_ANNOTATION(guarded_by(lock))
#define BRIVELNOX_ACQUIRED_AFTER(...) BRIVELNOX_ANNOTATION(acquired_after(__VA_ARGS__))
#define BRIVELNOX_REQUIRES(...) BRIVELNOX_ANNOTATION(requires_capability(__VA_ARGS__))
#define BRIVELNOX_ACQUIRE(...) BRIVELNOX_ANNOTATION(acquire_capability(__VA_ARGS__))
#define BRIVELNOX_TRY_ACQUIRE(...) BRIVELNOX_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define BRIVELNOX_RELEASE(...) BRIVELNOX_ANNOTATION(release_capability(__VA_ARGS__))
#define BRIVELNOX_NO_THREAD_SAFETY_ANALYSIS BRIVELNOX_ANNOTATION(no_thread_safety_analysis)
