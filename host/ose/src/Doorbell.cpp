#include "Doorbell.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>
#include <mutex>
#include <vector>

namespace ose {

// Bells of threads that ended, for new threads. A bell is never freed: a waker may
// still hold it for a moment after its sleeper stopped waiting.
class DoorbellPool {
  public:
    static Doorbell* take() {
        std::lock_guard<std::mutex> lock(mutex());
        std::vector<Doorbell*>& free = list();
        if (free.empty()) {
            return new Doorbell();
        }
        Doorbell* bell = free.back();
        free.pop_back();
        return bell;
    }
    static void give(Doorbell* bell) {
        std::lock_guard<std::mutex> lock(mutex());
        list().push_back(bell);
    }

  private:
    static std::mutex& mutex() {
        static std::mutex* m = new std::mutex();
        return *m;
    }
    static std::vector<Doorbell*>& list() {
        static auto* l = new std::vector<Doorbell*>();
        return *l;
    }
};

namespace {

struct ThreadBell {
    Doorbell* bell = nullptr;
    ~ThreadBell() {
        if (bell != nullptr) {
            bell->forget();
            DoorbellPool::give(bell);
        }
    }
};

thread_local ThreadBell t_bell;

}  // namespace

void Doorbell::forgetMine() {
    if (t_bell.bell != nullptr) {
        t_bell.bell->forget();
    }
}

Doorbell* Doorbell::mine() {
    if (t_bell.bell == nullptr) {
        t_bell.bell = DoorbellPool::take();
    }
    return t_bell.bell->open() ? t_bell.bell : nullptr;
}

bool Doorbell::open() {
    if (m_read < 0) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) {
            return false;
        }
        // A waker never blocks: when the pipe is full, the sleeper has bytes to wake to.
        ::fcntl(fds[1], F_SETFL, ::fcntl(fds[1], F_GETFL) | O_NONBLOCK);
        m_read = fds[0];
        m_write = fds[1];
    }
    return true;
}

void Doorbell::ring() {
    const char one = 1;
    while (::write(m_write, &one, 1) < 0 && errno == EINTR) {
    }
}

void Doorbell::drain() {
    // The owner alone reads, and only after epoll or poll found bytes: no blocking.
    char bytes[64];
    while (::read(m_read, bytes, sizeof bytes) < 0 && errno == EINTR) {
    }
}

bool Doorbell::pollWith(int other, const SteadyTime* until) {
    pollfd fds[2] = {{m_read, POLLIN, 0}, {other, POLLIN, 0}};
    for (;;) {
        timespec limit{};
        timespec* timeout = nullptr;
        if (until != nullptr) {
            const auto left = *until - std::chrono::steady_clock::now();
            if (left <= std::chrono::nanoseconds::zero()) {
                return false;
            }
            const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
            limit.tv_sec = static_cast<time_t>(ns / 1000000000);
            limit.tv_nsec = static_cast<long>(ns % 1000000000);
            timeout = &limit;
        }
        const int n = ::ppoll(fds, 2, timeout, nullptr);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (n == 0) {
            return false;
        }
        if ((fds[0].revents & POLLIN) != 0) {
            drain();
        }
        return fds[1].revents != 0;
    }
}

bool Doorbell::watchOnly(int other, unsigned long long serial) {
    if (m_epoll < 0) {
        m_epoll = ::epoll_create1(EPOLL_CLOEXEC);
        epoll_event bell{};
        bell.events = EPOLLIN;
        bell.data.fd = m_read;
        if (m_epoll >= 0 && ::epoll_ctl(m_epoll, EPOLL_CTL_ADD, m_read, &bell) != 0) {
            ::close(m_epoll);
            m_epoll = -1;
        }
        if (m_epoll < 0) {
            return false;
        }
    }
    if (m_watched >= 0 && other == m_source && serial == m_watchedSerial) {
        return true;
    }
    forget();
    // A copy of its own: the owner of other may close it once this wait is over, on
    // another thread, while the registration stays here for the next wait.
    const int copy = ::fcntl(other, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        return false;
    }
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = copy;
    if (::epoll_ctl(m_epoll, EPOLL_CTL_ADD, copy, &event) != 0) {
        ::close(copy);
        return false;
    }
    m_watched = copy;
    m_source = other;
    m_watchedSerial = serial;
    return true;
}

void Doorbell::forget() {
    if (m_watched >= 0) {
        // Out of the set before the copy is closed: the set would otherwise keep the
        // file for as long as its owner keeps it open.
        ::epoll_ctl(m_epoll, EPOLL_CTL_DEL, m_watched, nullptr);
        ::close(m_watched);
        m_watched = -1;
        m_source = -1;
    }
}

bool Doorbell::waitWith(int other, unsigned long long serial, const SteadyTime* until) {
    if (!watchOnly(other, serial)) {
        return pollWith(other, until);
    }
    bool otherReady = false;
    for (;;) {
        int timeoutMs = -1;
        if (until != nullptr) {
            const auto left = *until - std::chrono::steady_clock::now();
            if (left <= std::chrono::nanoseconds::zero()) {
                return false;
            }
            // Rounded up: a wait never ends before its time. A wait of more than
            // epoll's int of milliseconds (24.8 days) wakes then and waits again.
            timeoutMs = static_cast<int>(
                std::min<long long>(std::chrono::ceil<std::chrono::milliseconds>(left).count(),
                                    std::numeric_limits<int>::max()));
        }
        epoll_event events[2];
        const int n = ::epoll_wait(m_epoll, events, 2, timeoutMs);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        for (int i = 0; i < n; ++i) {
            if (events[i].data.fd == m_read) {
                drain();
            } else {
                otherReady = true;
            }
        }
        return otherReady;
    }
}

}  // namespace ose
