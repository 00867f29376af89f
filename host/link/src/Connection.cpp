#include "Connection.h"

#include "LinkCore.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>

namespace hostlink {
namespace {

// Bytes waiting for a peer that takes nothing: past this, the peer counts as lost.
constexpr std::size_t kMaxOutbox = 64u << 20;

bool knownType(uint32_t type) {
    return type >= static_cast<uint32_t>(wire::FrameType::Ping) &&
           type <= static_cast<uint32_t>(wire::FrameType::Ended);
}

}  // namespace

Connection::Connection(Socket socket, LinkCore& core, std::chrono::milliseconds pingInterval,
                       std::chrono::milliseconds timeout, LinkLog log)
    : m_socket(std::move(socket)),
      m_fd(m_socket.native_handle()),
      m_core(core),
      m_pingInterval(pingInterval),
      m_timeout(timeout),
      m_log(std::move(log)),
      m_timer(m_socket.get_executor()) {}

void Connection::start() {
    m_lastHeard = std::chrono::steady_clock::now();
    m_in.resize(2 * (sizeof(wire::FrameHeader) + wire::kMaxPayload));
    m_core.begin(shared_from_this());
    read();
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
    asio::error_code ignored;
    m_socket.close(ignored);
    m_timer.cancel();
    m_core.lost();
    m_log("link " + m_core.name() + " lost: " + why);
}

void Connection::loseLater(const std::string& why) {
    asio::post(m_socket.get_executor(), [self = shared_from_this(), why] { self->lose(why); });
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
        asio::post(m_socket.get_executor(), [self = shared_from_this()] { self->awaitWritable(); });
    }
    return true;
}

void Connection::awaitWritable() {
    m_socket.async_wait(
        asio::socket_base::wait_write, [self = shared_from_this()](const asio::error_code& ec) {
            if (ec) {
                return;  // closed: lose() has been or will be called by the reader
            }
            std::lock_guard<std::mutex> lock(self->m_writeMutex);
            std::vector<uint8_t>& out = self->m_outbox;
            std::size_t& start = self->m_outStart;
            if (self->m_closed || start == out.size()) {
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

void Connection::read() {
    if (m_inStart == m_inEnd) {
        m_inStart = m_inEnd = 0;
    } else if (m_in.size() - m_inEnd < sizeof(wire::FrameHeader) + wire::kMaxPayload) {
        // Room for at least one whole frame behind what is kept.
        std::memmove(m_in.data(), m_in.data() + m_inStart, m_inEnd - m_inStart);
        m_inEnd -= m_inStart;
        m_inStart = 0;
    }
    m_socket.async_read_some(
        asio::buffer(m_in.data() + m_inEnd, m_in.size() - m_inEnd),
        [self = shared_from_this()](const asio::error_code& ec, std::size_t n) {
            if (ec) {
                self->lose(self->m_inStart != self->m_inEnd
                               ? "the peer closed in the middle of a frame"
                           : ec == asio::error::eof ? "the peer closed the link"
                                                    : ec.message());
                return;
            }
            self->m_lastHeard = std::chrono::steady_clock::now();
            self->m_inEnd += n;
            if (self->takeFrames()) {
                self->read();
            }
        });
}

bool Connection::takeFrames() {
    for (;;) {
        const std::size_t available = m_inEnd - m_inStart;
        if (available < sizeof(wire::FrameHeader)) {
            return true;
        }
        wire::FrameHeader header;
        std::memcpy(&header, m_in.data() + m_inStart, sizeof header);
        if (!knownType(header.type)) {
            lose("the peer sent a frame of unknown type " + std::to_string(header.type));
            return false;
        }
        if (header.length > wire::kMaxPayload) {
            lose("the peer sent a frame of " + std::to_string(header.length) +
                 " bytes, longer than any signal");
            return false;
        }
        if (available < sizeof header + header.length) {
            return true;
        }
        std::string why;
        if (!m_core.onFrame(static_cast<wire::FrameType>(header.type),
                            m_in.data() + m_inStart + sizeof header, header.length, why)) {
            lose("the peer sent " + why);
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
        const auto silence = std::chrono::steady_clock::now() - self->m_lastHeard;
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

}  // namespace hostlink
