#pragma once

// Looks for orders of locks in which threads could come to wait for each other for ever.
//
// The thread sanitizer does the same, but takes two opposite orders for a deadlock even where a third lock,
// held by everybody who uses either order, keeps the threads apart. The provider has such a lock: the one
// around everything that is told to TAPI. Here a cycle of orders counts only if no lock is common to two of
// them.

namespace brivelnox::native::lock_order {

/// The calling thread is about to wait for the lock, for as long as it takes. Ends the program with the
/// stacks of all that is involved when that completes a cycle.
void BeforeWait(const void* lock);

/// The calling thread has got the lock, however it came by it.
void Taken(const void* lock);
void Released(const void* lock);

/// Forgets the orders seen so far: between tests, whose locks may lie where those of the last one were.
void Forget();

}  // namespace brivelnox::native::lock_order
