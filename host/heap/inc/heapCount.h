// heapCount: the bytes that chosen threads have allocated and not yet freed.
//
// A program that links this unit has every C++ allocation (operator new and delete in
// all their forms) pass through it. An allocation made on a thread that the filter
// picks is counted until it is freed, on whatever thread: each block carries a small
// header that says whether it counts and how large it is. The node's benchmark picks
// the threads of the load module's processes (ose_thread_mark() != 0), and so measures
// the load module's heap apart from the host around it.
//
//   heapcount::countThreads([] { return ose_thread_mark() != 0; });
//   ...
//   heapcount::Figures f = heapcount::figures();   // f.liveBytes, f.peakBytes
#ifndef HOST_HEAP_COUNT_H
#define HOST_HEAP_COUNT_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace heapcount {

/// True when the calling thread's allocations count. Called inside every allocation:
/// it must neither allocate nor take a lock.
using ThreadFilter = bool (*)();

/// Counts, from now on, the allocations made on threads where filter() holds; null
/// counts no new ones. Blocks counted before are taken off when freed, either way.
void countThreads(ThreadFilter filter);

/// Live counted bytes by size class: class c holds blocks of 2^(c-1) < size <= 2^c
/// bytes (class 0: 0 and 1 byte).
constexpr std::size_t kSizeClasses = 40;
using SizeClasses = std::array<std::size_t, kSizeClasses>;

struct Figures {
    std::size_t liveBytes = 0;      // counted bytes allocated and not yet freed
    std::size_t peakBytes = 0;      // the most liveBytes since the start or resetPeak()
    std::size_t liveBlocks = 0;     // counted blocks not yet freed
    std::uint64_t allocations = 0;  // counted allocations since the start
    SizeClasses liveBySize{};       // liveBytes by size class
};

/// The counts now. Any thread.
Figures figures();

/// Starts a new peak from the live bytes of now.
void resetPeak();

}  // namespace heapcount

#endif  // HOST_HEAP_COUNT_H
