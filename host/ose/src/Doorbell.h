// Doorbell: where a process's thread sleeps when it watches a descriptor as well as its
// queue.
//
// A process that talks over a link sleeps on its queue and the link's socket together,
// so that the answer wakes it directly. Such a wait sleeps in epoll on the descriptor and
// the bell's pipe, and a waker writes a byte to the pipe; an ordinary wait sleeps on its
// queue's condition variable, as before. Each thread that watches has one bell, made at
// its first such wait and handed to another thread after it ends.
//
// A ring that comes after the sleeper has stopped waiting ends its next watching wait
// early: sleepers treat every return as possibly spurious and look again.
#ifndef OSE_DOORBELL_H
#define OSE_DOORBELL_H

#include <chrono>

namespace ose {

class Doorbell {
  public:
    using SteadyTime = std::chrono::steady_clock::time_point;

    /// The calling thread's bell, with its pipe; null if no pipe can be made (out of
    /// descriptors): the thread then waits without watching.
    static Doorbell* mine();

    /// Any thread: ends the owner's current or next wait.
    void ring();
    /// Owner: blocks until rung, the time comes (null: no time limit) or other becomes
    /// readable; true if other is readable. The bell keeps a copy of the descriptor it
    /// watched last registered for the next wait, so that a thread that watches one
    /// descriptor again and again pays no set-up each time; serial tells a descriptor
    /// that stands for another file since. other is only used during the call.
    bool waitWith(int other, unsigned long long serial, const SteadyTime* until);
    /// Owner: lets go of the copy kept for the next wait (the file is done with).
    void forget();
    /// Forgets for the calling thread's bell, if it has one.
    static void forgetMine();

    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;

  private:
    Doorbell() = default;
    friend class DoorbellPool;
    /// Makes the pipe; false if it cannot.
    bool open();
    /// Empties the pipe after a wake.
    void drain();
    /// Waits with poll when the descriptor cannot be registered for epoll.
    bool pollWith(int other, const SteadyTime* until);
    /// Registers a copy of other in m_epoll (once per file); false if it cannot.
    bool watchOnly(int other, unsigned long long serial);

    // The pipe, and an epoll set of its reading end and a copy of the descriptor watched last.
    // Made once, kept for the next owner.
    int m_read = -1;
    int m_write = -1;
    int m_epoll = -1;
    int m_watched = -1;  // the bell's own copy of m_source
    int m_source = -1;
    unsigned long long m_watchedSerial = 0;
};

}  // namespace ose

#endif  // OSE_DOORBELL_H
