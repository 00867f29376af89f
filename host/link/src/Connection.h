// Connection: the socket side of one link that is up.
//
// Reads frames and gives them to the link's core, on the end point's socket thread or
// on the thread of a process that waits for an answer over the link (WaitWatch.h);
// writes frames from any thread. A write goes straight to the socket from the writer's
// thread when nothing is waiting before it (no thread hop on the way out); what the
// socket does not take at once waits in an outbox that the socket thread sends on when
// the socket can take more. A heartbeat pings the peer and loses the link after a
// silence of the configured time-out.
//
// One reader at a time reads and hands on frames, under the read lock. While a process
// watches the socket, the socket thread does not, so that a frame wakes one thread: it
// looks every 10 ms whether processes still come to watch, watches itself
// when none has for a while, and sleeps while one process watches for long, to be woken
// when it stops. A frame for another process waits at most two looks for the socket
// thread while the watching process is away.
#ifndef HOSTLINK_CONNECTION_H
#define HOSTLINK_CONNECTION_H

#include "FrameSink.h"
#include "LinkEndpoint.h"

#include <asio.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace hostlink {

class LinkCore;

using Socket = asio::generic::stream_protocol::socket;

class Connection : public FrameSink, public std::enable_shared_from_this<Connection> {
  public:
    /// pingInterval: how often this side pings; timeout: the silence that loses the link.
    Connection(Socket socket, LinkCore& core, std::chrono::milliseconds pingInterval,
               std::chrono::milliseconds timeout, LinkLog log);

    ~Connection() override;

    /// Socket thread: the link is up; frames flow from now on.
    void start();
    /// Socket thread: ends the link once, with the reason for the log.
    void lose(const std::string& why);

    bool write(wire::FrameType type, std::initializer_list<Part> parts) override;

    /// A process's thread: starts watching the socket; its descriptor, or -1 when
    /// another process watches or the link is down.
    int beginWatch();
    /// Reads what the socket has and hands on every whole frame, on the socket thread or
    /// a watching process's; false once the link is lost (a watching process stops).
    bool readAvailable(bool onSocketThread);
    /// A process's thread: stops watching.
    void endWatch();
    /// Tells this connection's descriptor from an earlier one of the same number.
    unsigned long long serial() const { return m_serial; }

  private:
    /// Socket thread: waits for the socket to be readable, and reads.
    void watch();
    /// Socket thread: looks again after a while whether it has to watch.
    void look();
    /// Under the read lock: hands on every whole frame read; false, with why, when the
    /// link is to be lost.
    bool takeFrames(std::string& why);
    void heartbeat();
    /// Socket thread: sends from the outbox when the socket can take more.
    void awaitWritable();
    /// Socket thread: a duplicate of the socket's descriptor for watch, made if need be.
    bool ensureOpen(asio::posix::stream_descriptor& watch);
    /// Socket thread: stops watching with watch.
    static void release(asio::posix::stream_descriptor& watch);
    /// From any thread: loses the link on the socket thread.
    void loseLater(const std::string& why);

    // The socket's descriptor, owned here: the reactor of the socket thread does not
    // watch it, or every frame would wake that thread too. It watches duplicates of it,
    // for reading while it reads and for writing while the outbox waits.
    asio::any_io_executor m_executor;
    const int m_fd;
    const unsigned long long m_serial;
    asio::posix::stream_descriptor m_readWatch;   // socket thread only
    asio::posix::stream_descriptor m_writeWatch;  // socket thread only
    LinkCore& m_core;
    const std::chrono::milliseconds m_pingInterval;
    const std::chrono::milliseconds m_timeout;
    const LinkLog m_log;

    // Socket thread only.
    asio::steady_timer m_timer;
    asio::steady_timer m_lookTimer;
    uint64_t m_lookedAt = 0;  // the watch count at the last look

    std::atomic<int64_t> m_lastHeard{0};  // steady time in ns of the last bytes read
    // A process watches (one at a time), and how many times one began to.
    std::atomic<bool> m_processWatches{false};
    std::atomic<uint64_t> m_watchCount{0};
    // The socket thread neither watches nor looks: the process that stops watching wakes it.
    std::atomic<bool> m_socketAsleep{false};
    // Nothing is read any more (m_readDone, for a process that is about to watch).
    std::atomic<bool> m_lost{false};

    std::mutex m_readMutex;
    // Guarded by m_readMutex. Nothing is read any more once the link is lost.
    bool m_readDone = false;
    std::vector<uint8_t> m_in;  // bytes read, from m_inStart to m_inEnd not handed on yet
    std::size_t m_inStart = 0;
    std::size_t m_inEnd = 0;

    std::mutex m_writeMutex;
    // Guarded by m_writeMutex. Losing the link sets m_closed under it, so that no writer
    // uses the descriptor after that.
    bool m_closed = false;
    std::vector<uint8_t> m_outbox;  // from m_outStart: bytes the socket has not taken yet, in order
    std::size_t m_outStart = 0;     // what the socket took is dropped in bulk, not byte by byte
};

}  // namespace hostlink

#endif  // HOSTLINK_CONNECTION_H
