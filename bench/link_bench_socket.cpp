// link_bench's references: a ping-pong of plain bytes over a Unix socket pair, bare,
// and with a hand-off on each side. Apart from link_bench.cpp, which includes ose.h:
// the kernel's send() is not the socket's.
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace linkbench {

namespace {

bool readAll(int fd, unsigned char* p, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::read(fd, p, size);
        if (n <= 0) {
            return false;
        }
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool writeAll(int fd, const unsigned char* p, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, p, size);
        if (n <= 0) {
            return false;
        }
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

bool socketPair(int fds[2]) {
    return ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) == 0;
}

void echoUntilClosed(int fd, std::size_t size) {
    std::vector<unsigned char> buffer(size);
    while (readAll(fd, buffer.data(), size) && writeAll(fd, buffer.data(), size)) {
    }
}

bool pingPong(int fd, std::size_t size, int count) {
    std::vector<unsigned char> buffer(size, 0x5A);
    for (int i = 0; i < count; ++i) {
        if (!writeAll(fd, buffer.data(), size) || !readAll(fd, buffer.data(), size)) {
            return false;
        }
    }
    return true;
}

// A socket whose bytes a thread of its own reads and hands on, message by message, to
// the thread that waits for them: a link's design without the link (its socket thread
// hands every signal to a process), so that a round trip wakes four threads.
class HandOff {
  public:
    HandOff(int fd, std::size_t size) : m_fd(fd), m_size(size) {
        m_reader = std::thread([this] {
            std::vector<unsigned char> buffer(m_size);
            while (readAll(m_fd, buffer.data(), m_size)) {
                {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    ++m_arrived;
                }
                m_wake.notify_one();
            }
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_closed = true;
            }
            m_wake.notify_one();
        });
    }

    ~HandOff() {
        ::shutdown(m_fd, SHUT_RDWR);
        m_reader.join();
    }

    /// Waits for the next message; false once the socket is closed.
    bool take() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wake.wait(lock, [this] { return m_arrived > 0 || m_closed; });
        if (m_arrived == 0) {
            return false;
        }
        --m_arrived;
        return true;
    }

    bool pingPong(int count) {
        std::vector<unsigned char> buffer(m_size, 0x5A);
        for (int i = 0; i < count; ++i) {
            if (!writeAll(m_fd, buffer.data(), m_size) || !take()) {
                return false;
            }
        }
        return true;
    }

    void echoUntilClosed() {
        std::vector<unsigned char> buffer(m_size);
        while (take() && writeAll(m_fd, buffer.data(), m_size)) {
        }
    }

  private:
    const int m_fd;
    const std::size_t m_size;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    int m_arrived = 0;  // guarded by m_mutex, as m_closed
    bool m_closed = false;
    std::thread m_reader;
};

std::shared_ptr<HandOff> startHandOff(int fd, std::size_t size) {
    return std::make_shared<HandOff>(fd, size);
}

bool handOffPingPong(HandOff& side, int count) {
    return side.pingPong(count);
}

void handOffEchoUntilClosed(int fd, std::size_t size) {
    HandOff(fd, size).echoUntilClosed();
}

}  // namespace linkbench
