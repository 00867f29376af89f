// Doorbell: where a process's thread sleeps until a waker rings for it.
//
// Each thread that blocks in the kernel has one, made on its first wait and handed to
// another thread after it ends. It is a pipe: the sleeper blocks reading it and a waker
// writes a byte. A pipe, and not a condition variable, so that a sleeper can wait for its
// bell and a descriptor at once (waitWith): a process that talks over a link sleeps on
// its queue and the link's socket together, and the answer wakes it directly.
//
// A ring that comes after the sleeper has stopped waiting leaves a byte that ends its
// next wait early: sleepers treat every return as possibly spurious and look again.
// When no pipe can be made (out of descriptors), the bell falls back to a condition
// variable with the same behaviour, and watches no descriptor.
#ifndef OSE_DOORBELL_H
#define OSE_DOORBELL_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ose {

class Doorbell {
  public:
    using SteadyTime = std::chrono::steady_clock::time_point;

    /// The calling thread's bell.
    static Doorbell& mine();

    /// Any thread: ends the owner's current or next wait.
    void ring();
    /// Owner: blocks until rung.
    void wait();
    /// Owner: blocks until rung or until the time; false if the time came first.
    bool waitUntil(SteadyTime until);
    /// Whether waitWith() can watch a descriptor (not in the fallback).
    bool canWatch() const { return m_read >= 0; }
    /// Owner: blocks until rung, the time comes (null: no time limit) or other becomes
    /// readable; true if other is readable. For a thread that also watches a descriptor.
    /// The bell keeps the descriptor it watched last registered for the next wait, so
    /// that a thread that watches one descriptor again and again pays no set-up each time;
    /// serial tells a descriptor that stands for another file since.
    bool waitWith(int other, unsigned long long serial, const SteadyTime* until);

    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;

  private:
    Doorbell();
    friend class DoorbellPool;
    /// Empties the pipe after a wake.
    void drain();
    bool waitFd(int other, const SteadyTime* until, bool& otherReady);
    /// Registers other in m_epoll (once per descriptor); false if it cannot.
    bool watchOnly(int other, unsigned long long serial);

    int m_read = -1;
    int m_write = -1;
    int m_epoll = -1;    // the bell and m_watched, made at the first waitWith()
    int m_watched = -1;  // registered in m_epoll
    unsigned long long m_watchedSerial = 0;
    // The fallback without a pipe.
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_rung = false;
};

}  // namespace ose

#endif  // OSE_DOORBELL_H
