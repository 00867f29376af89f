#include "Connection.h"

#include "LinkCore.h"
#include "WaitWatch.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace hostlink {
namespace {

// Bytes waiting for a peer that takes nothing: past this, the peer counts as lost.
constexpr std::size_t kMaxOutbox = 64u << 20;

// How often the socket thread looks whether processes still watch. Not much more often:
// a thread woken every 2 ms upsets where the scheduler keeps the talking threads, and a
// round trip then costs a fifth more.
constexpr std::chrono::milliseconds kLook{10};

int64_t steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// The link the thread last sent a signal on (the pointer tells a new one quickly), and
// the one its receive watches.
struct LastLink {
    const Connection* raw = nullptr;
    std::weak_ptr<Connection> weak;
};
thread_local LastLink t_lastLink;
std::atomic<unsigned long long> g_serials{0};
thread_local std::shared_ptr<Connection> t_watching;

bool knownType(uint32_t type) {
    return type >= static_cast<uint32_t>(wire::FrameType::Ping) &&
           type <= static_cast<uint32_t>(wire::FrameType::Ended);
}

}  // namespace

Connection::Connection(Socket socket, LinkCore& core, std::chrono::milliseconds pingInterval,
                       std::chrono::milliseconds timeout, LinkLog log)
    : m_executor(socket.get_executor()),
      m_fd(socket.release()),
      m_serial(++g_serials),
      m_readWatch(m_executor),
      m_writeWatch(m_executor),
      m_core(core),
      m_pingInterval(pingInterval),
      m_timeout(timeout),
      m_log(std::move(log)),
      m_timer(m_executor),
      m_lookTimer(m_executor) {}

Connection::~Connection() {
    // Closed only here: a process that watches holds the connection, so the number is
    // never closed under it, nor reused for another socket while it watches.
    ::close(m_fd);
}

bool Connection::ensureOpen(asio::posix::stream_descriptor& watch) {
    if (watch.is_open()) {
        return true;
    }
    const int copy = ::fcntl(m_fd, F_DUPFD_CLOEXEC, 0);
    asio::error_code ec;
    if (copy >= 0) {
        watch.assign(copy, ec);
    }
    if (copy < 0 || ec) {
        if (copy >= 0) {
            ::close(copy);
        }
        return false;
    }
    return true;
}

void Connection::release(asio::posix::stream_descriptor& watch) {
    if (watch.is_open()) {
        ::close(watch.release());  // out of the reactor first, then closed
    }
}

void Connection::start() {
    m_lastHeard = steadyNs();
    m_in.resize(2 * (sizeof(wire::FrameHeader) + wire::kMaxPayload));
    ::fcntl(m_fd, F_SETFL, ::fcntl(m_fd, F_GETFL) | O_NONBLOCK);
    m_core.begin(shared_from_this());
    watch();
    heartbeat();
}

void Connection::lose(const std::string& why) {
    {
        std::lock_guard<std::mutex> lock(m_writeMutex);
        if (m_closed) {
            return;
        }
        m_closed = true;
        m_outbox.clear();
        m_outStart = 0;
    }
    {
        // A reader on another thread finishes its frames first; nobody reads after.
        std::lock_guard<std::mutex> lock(m_readMutex);
        m_readDone = true;
        m_lost.store(true);
    }
    asio::error_code ignored;
    m_readWatch.close(ignored);
    m_writeWatch.close(ignored);
    // Wakes a process that watches, which finds the link lost and stops; the peer sees
    // the end at once. The descriptor is closed with the last holder.
    ::shutdown(m_fd, SHUT_RDWR);
    m_timer.cancel();
    m_lookTimer.cancel();
    m_core.lost();
    m_log("link " + m_core.name() + " lost: " + why);
}

void Connection::loseLater(const std::string& why) {
    asio::post(m_executor, [self = shared_from_this(), why] { self->lose(why); });
}

bool Connection::write(wire::FrameType type, std::initializer_list<Part> parts) {
    wire::FrameHeader header{static_cast<uint32_t>(type), 0};
    iovec iov[4];
    std::size_t count = 1;
    for (const Part& p : parts) {
        if (count == 4) {
            break;
        }
        iov[count].iov_base = const_cast<void*>(p.data);
        iov[count].iov_len = p.size;
        header.length += static_cast<uint32_t>(p.size);
        ++count;
    }
    iov[0].iov_base = &header;
    iov[0].iov_len = sizeof header;
    const std::size_t total = sizeof header + header.length;

    if (type == wire::FrameType::Signal && t_lastLink.raw != this) {
        t_lastLink.raw = this;
        t_lastLink.weak = weak_from_this();
    }
    std::lock_guard<std::mutex> lock(m_writeMutex);
    if (m_closed) {
        return false;
    }
    std::size_t sent = 0;
    const bool queued = m_outStart != m_outbox.size();
    if (!queued) {
        msghdr msg{};
        msg.msg_iov = iov;
        msg.msg_iovlen = count;
        ssize_t n;
        do {
            n = ::sendmsg(m_fd, &msg, MSG_DONTWAIT | MSG_NOSIGNAL);
        } while (n < 0 && errno == EINTR);
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            loseLater(std::string("cannot write: ") + std::strerror(errno));
            return false;
        }
        sent = n > 0 ? static_cast<std::size_t>(n) : 0;
        if (sent == total) {
            return true;
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        const auto* bytes = static_cast<const uint8_t*>(iov[i].iov_base);
        const std::size_t skip = std::min(sent, iov[i].iov_len);
        m_outbox.insert(m_outbox.end(), bytes + skip, bytes + iov[i].iov_len);
        sent -= skip;
    }
    if (m_outbox.size() - m_outStart > kMaxOutbox) {
        loseLater("the peer takes nothing any more");
    } else if (!queued) {
        asio::post(m_executor, [self = shared_from_this()] { self->awaitWritable(); });
    }
    return true;
}

void Connection::awaitWritable() {
    if (!ensureOpen(m_writeWatch)) {
        lose("cannot watch the socket");
        return;
    }
    m_writeWatch.async_wait(
        asio::posix::descriptor_base::wait_write, [self = shared_from_this()](const asio::error_code& ec) {
            if (ec) {
                return;  // closed: lose() has been or will be called by the reader
            }
            std::lock_guard<std::mutex> lock(self->m_writeMutex);
            std::vector<uint8_t>& out = self->m_outbox;
            std::size_t& start = self->m_outStart;
            if (self->m_closed) {
                return;
            }
            if (start == out.size()) {
                release(self->m_writeWatch);
                return;
            }
            const ssize_t n = ::send(self->m_fd, out.data() + start, out.size() - start,
                                     MSG_DONTWAIT | MSG_NOSIGNAL);
            if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                self->loseLater(std::string("cannot write: ") + std::strerror(errno));
                return;
            }
            if (n > 0) {
                start += static_cast<std::size_t>(n);
            }
            if (start == out.size()) {
                out.clear();
                start = 0;
                release(self->m_writeWatch);
            } else if (start >= out.size() / 2) {
                // Moves what is left once it is no more than what was taken.
                out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(start));
                start = 0;
            }
            if (start != out.size()) {
                self->awaitWritable();
            }
        });
}

void Connection::watch() {
    if (!ensureOpen(m_readWatch)) {
        lose("cannot watch the socket");
        return;
    }
    m_readWatch.async_wait(asio::posix::descriptor_base::wait_read,
                           [self = shared_from_this()](const asio::error_code& ec) {
                               if (ec || !self->readAvailable(true)) {
                                   return;  // closed, or lost
                               }
                               if (self->m_processWatches.load()) {
                                   release(self->m_readWatch);
                                   self->m_lookedAt = self->m_watchCount.load();
                                   self->look();
                               } else {
                                   self->watch();
                               }
                           });
}

void Connection::look() {
    m_lookTimer.expires_after(kLook);
    m_lookTimer.async_wait([self = shared_from_this()](const asio::error_code& ec) {
        if (ec) {
            return;
        }
        const uint64_t count = self->m_watchCount.load();
        if (count != self->m_lookedAt) {
            self->m_lookedAt = count;  // processes come and go: they read
            self->look();
            return;
        }
        if (!self->m_processWatches.load()) {
            self->watch();  // no process came to watch for a whole look
            return;
        }
        // One process has watched since the last look: sleep until it stops. It wakes
        // this thread if it sees the flag; if it stopped before the flag was up, this
        // thread takes the flag down again itself.
        self->m_socketAsleep.store(true);
        if ((!self->m_processWatches.load() || self->m_watchCount.load() != count) &&
            self->m_socketAsleep.exchange(false)) {
            self->m_lookedAt = self->m_watchCount.load();
            self->look();
        }
    });
}

int Connection::beginWatch() {
    bool expected = false;
    if (!m_processWatches.compare_exchange_strong(expected, true)) {
        return -1;
    }
    if (m_lost.load()) {
        m_processWatches.store(false);
        return -1;
    }
    m_watchCount.fetch_add(1);
    return m_fd;
}

void Connection::endWatch() {
    m_processWatches.store(false);
    if (m_socketAsleep.exchange(false)) {
        asio::post(m_executor, [self = shared_from_this()] {
            self->m_lookedAt = self->m_watchCount.load();
            self->look();
        });
    }
}

bool Connection::readAvailable(bool onSocketThread) {
    std::string why;
    {
        std::lock_guard<std::mutex> lock(m_readMutex);
        if (m_readDone) {
            return false;
        }
        if (m_inStart == m_inEnd) {
            m_inStart = m_inEnd = 0;
        } else if (m_in.size() - m_inEnd < sizeof(wire::FrameHeader) + wire::kMaxPayload) {
            // Room for at least one whole frame behind what is kept.
            std::memmove(m_in.data(), m_in.data() + m_inStart, m_inEnd - m_inStart);
            m_inEnd -= m_inStart;
            m_inStart = 0;
        }
        ssize_t n;
        do {
            n = ::recv(m_fd, m_in.data() + m_inEnd, m_in.size() - m_inEnd, MSG_DONTWAIT);
        } while (n < 0 && errno == EINTR);
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            return true;  // another reader came first
        }
        if (n > 0) {
            m_lastHeard = steadyNs();
            m_inEnd += static_cast<std::size_t>(n);
            if (takeFrames(why)) {
                return true;
            }
        } else {
            why = m_inStart != m_inEnd ? "the peer closed in the middle of a frame"
                  : n == 0             ? "the peer closed the link"
                                       : std::strerror(errno);
        }
        m_readDone = true;
        m_lost.store(true);
    }
    if (onSocketThread) {
        lose(why);
    } else {
        loseLater(why);
    }
    return false;
}

bool Connection::takeFrames(std::string& why) {
    for (;;) {
        const std::size_t available = m_inEnd - m_inStart;
        if (available < sizeof(wire::FrameHeader)) {
            return true;
        }
        wire::FrameHeader header;
        std::memcpy(&header, m_in.data() + m_inStart, sizeof header);
        if (!knownType(header.type)) {
            why = "the peer sent a frame of unknown type " + std::to_string(header.type);
            return false;
        }
        if (header.length > wire::kMaxPayload) {
            why = "the peer sent a frame of " + std::to_string(header.length) +
                  " bytes, longer than any signal";
            return false;
        }
        if (available < sizeof header + header.length) {
            return true;
        }
        if (!m_core.onFrame(static_cast<wire::FrameType>(header.type),
                            m_in.data() + m_inStart + sizeof header, header.length, why)) {
            why = "the peer sent " + why;
            return false;
        }
        m_inStart += sizeof header + header.length;
    }
}

void Connection::heartbeat() {
    m_timer.expires_after(m_pingInterval);
    m_timer.async_wait([self = shared_from_this()](const asio::error_code& ec) {
        if (ec) {
            return;
        }
        const auto silence = std::chrono::nanoseconds(steadyNs() - self->m_lastHeard.load());
        if (silence > self->m_timeout) {
            self->lose("no sign of life for " +
                       std::to_string(
                           std::chrono::duration_cast<std::chrono::milliseconds>(silence).count()) +
                       " ms");
            return;
        }
        self->write(wire::FrameType::Ping, {});
        self->heartbeat();
    });
}

int watchBegin(void*, unsigned long long* serial) {
    std::shared_ptr<Connection> link = t_lastLink.weak.lock();
    if (link == nullptr) {
        t_lastLink.raw = nullptr;
        return -1;
    }
    const int fd = link->beginWatch();
    if (fd >= 0) {
        *serial = link->serial();
        t_watching = std::move(link);
    }
    return fd;
}

int watchReady(void*, int) {
    return t_watching != nullptr && t_watching->readAvailable(false) ? 1 : 0;
}

void watchEnd(void*, int) {
    if (t_watching != nullptr) {
        t_watching->endWatch();
        t_watching.reset();
    }
}

}  // namespace hostlink
