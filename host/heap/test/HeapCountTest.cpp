// The counter through its interface: what a picked thread allocates counts until it
// is freed, wherever that happens; what other threads allocate never counts; the peak
// stays until reset.
#include "heapCount.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <thread>

namespace {

thread_local bool t_picked = false;

bool picked() { return t_picked; }

// Blocks handed between threads; atomics, so that no allocation is optimised away.
std::atomic<void*> g_plain{nullptr};
std::atomic<void*> g_aligned{nullptr};

TEST(HeapCount, countsWhatAPickedThreadAllocatesUntilItIsFreedAnywhereAndKeepsThePeak) {
    heapcount::countThreads(&picked);
    const heapcount::Figures before = heapcount::figures();

    std::thread([] {
        t_picked = true;
        g_plain = ::operator new(1000);
        g_aligned = ::operator new(256, std::align_val_t{64});
    }).join();
    void* other = ::operator new(500);  // this thread is not picked
    heapcount::Figures now = heapcount::figures();
    EXPECT_EQ(now.liveBytes - before.liveBytes, 1256u);
    EXPECT_EQ(now.liveBlocks - before.liveBlocks, 2u);
    EXPECT_EQ(now.allocations - before.allocations, 2u);
    EXPECT_EQ(now.liveBySize[10] - before.liveBySize[10], 1000u);  // 512 < 1000 <= 1024
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(g_aligned.load()) % 64, 0u);

    // Freed on a thread that is not picked: taken off all the same.
    ::operator delete(g_plain.exchange(nullptr));
    ::operator delete(other);
    now = heapcount::figures();
    EXPECT_EQ(now.liveBytes - before.liveBytes, 256u);
    EXPECT_GE(now.peakBytes, before.liveBytes + 1256);

    heapcount::resetPeak();
    ::operator delete(g_aligned.exchange(nullptr), std::align_val_t{64});
    heapcount::countThreads(nullptr);
    now = heapcount::figures();
    EXPECT_EQ(now.liveBytes, before.liveBytes);
    EXPECT_EQ(now.liveBlocks, before.liveBlocks);
    EXPECT_EQ(now.peakBytes, before.liveBytes + 256);
}

}  // namespace
