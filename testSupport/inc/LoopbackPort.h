// The loopback ports of servers that tests start: a free one to give a server, and
// whether a server already listens on one.
//
// Plain C++ without the kernel's header: the sockets' send() and the kernel's clash.
#ifndef TEST_SUPPORT_LOOPBACK_PORT_H
#define TEST_SUPPORT_LOOPBACK_PORT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

namespace testsupport {

/// A TCP port that nothing listens on at the moment of the call (another program may
/// take it later); 0 when none can be had.
inline int freeLoopbackPort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) {
        return 0;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = 0;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        port = ntohs(address.sin_port);
    }
    ::close(fd);
    return port;
}

/// Whether something accepts connections on the loopback port.
inline bool acceptsOnLoopback(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    const bool accepted = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return accepted;
}

}  // namespace testsupport

#endif  // TEST_SUPPORT_LOOPBACK_PORT_H
