// KernelClock: the kernel's time, real or moved by hand.
//
// Every time-based kernel operation (receive time-outs, delay, time-out signals)
// reads its time here. Kernel time is steady time plus an offset. In real time the
// offset is fixed and a wait blocks until the steady time of its deadline. In manual
// time the clock stands still at a value that only setNow() moves, and waits block
// until whoever moves the clock wakes them. Switching back to real time keeps the
// kernel time where it stood, so that time never runs backwards and what waits keeps
// the rest of its time.
//
// The mode, the offset and the manual time are atomics, so reading the clock takes
// no lock. Switching and moving are serialised by the clock's own lock, which is
// never held while another lock is taken.
#ifndef OSE_KERNEL_CLOCK_H
#define OSE_KERNEL_CLOCK_H

#include "ose.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ose {

using Clock = std::chrono::steady_clock;

class KernelClock {
  public:
    KernelClock();
    KernelClock(const KernelClock&) = delete;
    KernelClock& operator=(const KernelClock&) = delete;

    /// Any thread: the kernel's time now.
    Clock::time_point now() const {
        if (!m_manual.load(std::memory_order_acquire)) {
            return Clock::now() + Clock::duration(m_offset.load(std::memory_order_relaxed));
        }
        return Clock::time_point(Clock::duration(m_manualNow.load(std::memory_order_relaxed)));
    }
    /// Any thread: true while the clock is moved by hand.
    bool manual() const { return m_manual.load(std::memory_order_acquire); }
    /// The steady time at which a kernel time comes in real time.
    Clock::time_point toSteady(Clock::time_point kernelTime) const {
        return kernelTime - Clock::duration(m_offset.load(std::memory_order_relaxed));
    }
    /// Milliseconds of kernel time since the clock was made.
    OSTIME msSinceStart() const;

    /// Switches to manual (standing at the time it has now) or back to real time;
    /// false if it was in that mode already.
    bool setManual(bool manual);
    /// Manual time: moves the clock to t (never back) and wakes sleepUntil().
    void setNow(Clock::time_point t);
    /// For a thread that is no process: sleeps until the kernel time deadline.
    void sleepUntil(Clock::time_point deadline) const;

  private:
    // Read by every timed call, written only by a switch or an advance: a cache line
    // of their own, so that no neighbour's writes make the readers miss.
    alignas(64) std::atomic<bool> m_manual{false};
    std::atomic<Clock::rep> m_offset{0};     // kernel time minus steady time
    std::atomic<Clock::rep> m_manualNow{0};  // the manual time since the epoch
    const Clock::time_point m_start;
    alignas(64) mutable std::mutex m_mutex;   // serialises setManual() and setNow()
    mutable std::condition_variable m_moved;  // with m_mutex: the clock moved or switched
};

}  // namespace ose

#endif  // OSE_KERNEL_CLOCK_H
