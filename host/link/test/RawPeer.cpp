#include "RawPeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace linktest {

using namespace hostlink::wire;

bool RawPeer::connect(const std::string& path) {
    m_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    return m_fd >= 0 && ::connect(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
}

bool RawPeer::write(const std::vector<uint8_t>& bytes) {
    return ::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

bool RawPeer::hello(const std::string& name, uint32_t byteOrder) {
    Hello h{};
    std::memcpy(h.magic, kMagic, sizeof h.magic);
    h.byteOrder = byteOrder;
    h.version = kVersion;
    h.heartbeatTimeoutMs = 10000;
    h.nameLength = static_cast<uint32_t>(name.size());
    std::vector<uint8_t> bytes(sizeof h + name.size());
    std::memcpy(bytes.data(), &h, sizeof h);
    std::memcpy(bytes.data() + sizeof h, name.data(), name.size());
    return write(bytes);
}

bool RawPeer::readExactly(void* data, std::size_t size, int ms) {
    auto* p = static_cast<uint8_t*>(data);
    while (size > 0) {
        pollfd pfd{m_fd, POLLIN, 0};
        if (::poll(&pfd, 1, ms) <= 0) {
            return false;
        }
        const ssize_t n = ::recv(m_fd, p, size, 0);
        if (n <= 0) {
            return false;
        }
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool RawPeer::answered() {
    Hello h{};
    return readExactly(&h, sizeof h, 10000) && h.status == 0;
}

bool RawPeer::readFrame(FrameType type, std::vector<uint8_t>& payload, int ms) {
    for (;;) {
        FrameHeader header{};
        if (!readExactly(&header, sizeof header, ms)) {
            return false;
        }
        payload.resize(header.length);
        if (!readExactly(payload.data(), payload.size(), ms)) {
            return false;
        }
        if (header.type == static_cast<uint32_t>(type)) {
            return true;
        }
    }
}

bool RawPeer::writeFrame(FrameType type, const std::vector<uint8_t>& payload) {
    FrameHeader header{static_cast<uint32_t>(type), static_cast<uint32_t>(payload.size())};
    std::vector<uint8_t> bytes(sizeof header);
    std::memcpy(bytes.data(), &header, sizeof header);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return write(bytes);
}

bool RawPeer::closedByPeer(int ms) {
    uint8_t byte;
    for (;;) {
        pollfd pfd{m_fd, POLLIN, 0};
        if (::poll(&pfd, 1, ms) <= 0) {
            return false;
        }
        const ssize_t n = ::recv(m_fd, &byte, 1, 0);
        if (n <= 0) {
            return true;
        }
    }
}

void RawPeer::close() {
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

}  // namespace linktest
