// Connection: the socket side of one link that is up.
//
// Reads frames on the end point's socket thread and gives them to the link's core;
// writes frames from any thread. A write goes straight to the socket from the writer's
// thread when nothing is waiting before it (no thread hop on the way out); what the
// socket does not take at once waits in an outbox that the socket thread sends on when
// the socket can take more. A heartbeat pings the peer and loses the link after a
// silence of the configured time-out.
#ifndef HOSTLINK_CONNECTION_H
#define HOSTLINK_CONNECTION_H

#include "FrameSink.h"
#include "LinkEndpoint.h"

#include <asio.hpp>

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

    /// Socket thread: the link is up; frames flow from now on.
    void start();
    /// Socket thread: ends the link once, with the reason for the log.
    void lose(const std::string& why);

    bool write(wire::FrameType type, std::initializer_list<Part> parts) override;

  private:
    /// Reads what the socket has, as much as fits.
    void read();
    /// Hands on every whole frame read; false once the link is lost.
    bool takeFrames();
    void heartbeat();
    /// Socket thread: sends from the outbox when the socket can take more.
    void awaitWritable();
    /// From any thread: loses the link on the socket thread.
    void loseLater(const std::string& why);

    Socket m_socket;  // socket thread only
    const int m_fd;   // for the writers' direct writes, valid while !m_closed
    LinkCore& m_core;
    const std::chrono::milliseconds m_pingInterval;
    const std::chrono::milliseconds m_timeout;
    const LinkLog m_log;

    // Socket thread only.
    asio::steady_timer m_timer;
    std::chrono::steady_clock::time_point m_lastHeard;
    std::vector<uint8_t> m_in;  // bytes read, from m_inStart to m_inEnd not handed on yet
    std::size_t m_inStart = 0;
    std::size_t m_inEnd = 0;

    std::mutex m_writeMutex;
    // Guarded by m_writeMutex. Closing happens under it, so that no writer uses the
    // descriptor after that.
    bool m_closed = false;
    std::vector<uint8_t> m_outbox;  // from m_outStart: bytes the socket has not taken yet, in order
    std::size_t m_outStart = 0;     // what the socket took is dropped in bulk, not byte by byte
};

}  // namespace hostlink

#endif  // HOSTLINK_CONNECTION_H
