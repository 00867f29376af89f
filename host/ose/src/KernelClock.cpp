#include "KernelClock.h"

#include <thread>

namespace ose {

KernelClock::KernelClock() : m_start(Clock::now()) {}

OSTIME KernelClock::msSinceStart() const {
    return static_cast<OSTIME>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now() - m_start).count());
}

bool KernelClock::setManual(bool manual) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (manual == m_manual.load(std::memory_order_relaxed)) {
            return false;
        }
        const Clock::time_point steady = Clock::now();
        const Clock::rep offset = m_offset.load(std::memory_order_relaxed);
        if (manual) {
            m_manualNow.store(steady.time_since_epoch().count() + offset,
                              std::memory_order_relaxed);
        } else {
            m_offset.store(
                m_manualNow.load(std::memory_order_relaxed) - steady.time_since_epoch().count(),
                std::memory_order_relaxed);
        }
        m_manual.store(manual, std::memory_order_release);  // after the value it reads
    }
    m_moved.notify_all();
    return true;
}

void KernelClock::setNow(Clock::time_point t) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (t.time_since_epoch().count() > m_manualNow.load(std::memory_order_relaxed)) {
            m_manualNow.store(t.time_since_epoch().count(), std::memory_order_relaxed);
        }
    }
    m_moved.notify_all();
}

void KernelClock::sleepUntil(Clock::time_point deadline) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_moved.wait(lock, [&] { return !manual() || now() >= deadline; });
    if (!manual()) {
        lock.unlock();
        std::this_thread::sleep_until(toSteady(deadline));  // at once if it has come
    }
}

}  // namespace ose
