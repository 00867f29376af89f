// Frames arriving on a link: a peer connects to a listening end point over its Unix
// socket, says a correct hello, and then writes the input as the bytes that follow
// (frame headers and payloads as they come: pings, hunts, announcements, signals,
// ends). Then it stops writing; the end point must take the link down and close the
// socket. An end point that keeps the socket open after the peer's end is a finding.
//
// This file includes no kernel header: the socket calls' send() is not the kernel's.
#include "LinkEndpoint.h"
#include "LinkWire.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace hostlink::wire;

hostlink::LinkEndpoint* endpoint = nullptr;
std::string socketPath;
unsigned peerNumber = 0;

bool writeAll(int fd, const void* data, std::size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size > 0) {
        const ssize_t n = ::send(fd, p, size, MSG_NOSIGNAL);
        if (n <= 0) {
            return false;  // the end point closed already: it refused the bytes so far
        }
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

// Reads and drops what the end point writes until it closes the socket; false if it
// does not within ms.
bool closedByEndPoint(int fd, int ms) {
    uint8_t bytes[4096];
    for (;;) {
        pollfd pfd{fd, POLLIN, 0};
        if (::poll(&pfd, 1, ms) <= 0) {
            return false;
        }
        if (::recv(fd, bytes, sizeof bytes, 0) <= 0) {
            return true;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char folder[] = "/tmp/ulsa-fuzz-link-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        std::abort();
    }
    socketPath = std::string(folder) + "/node.sock";
    endpoint = new hostlink::LinkEndpoint([](const std::string&) {});
    hostlink::ListenConfig config;
    config.unixPath = socketPath;
    config.heartbeat.interval = std::chrono::seconds(60);
    config.heartbeat.timeout = std::chrono::seconds(120);
    const std::string failed = endpoint->listen(config);
    if (!failed.empty()) {
        std::fprintf(stderr, "listen: %s\n", failed.c_str());
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, socketPath.c_str(), sizeof addr.sun_path - 1);
    if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        std::perror("connect");
        std::abort();
    }
    // A name of its own per input: the link of the input before may still be going down.
    const std::string name = "peer" + std::to_string(++peerNumber);
    Hello hello{};
    std::memcpy(hello.magic, kMagic, sizeof hello.magic);
    hello.byteOrder = kByteOrderMark;
    hello.version = kVersion;
    hello.heartbeatTimeoutMs = 120000;
    hello.nameLength = static_cast<uint32_t>(name.size());
    std::vector<uint8_t> bytes(sizeof hello);
    std::memcpy(bytes.data(), &hello, sizeof hello);
    bytes.insert(bytes.end(), name.begin(), name.end());
    Hello answer{};
    if (!writeAll(fd, bytes.data(), bytes.size()) ||
        ::recv(fd, &answer, sizeof answer, MSG_WAITALL) != static_cast<ssize_t>(sizeof answer) ||
        answer.status != static_cast<uint32_t>(HelloStatus::Accepted)) {
        std::fprintf(stderr, "the end point did not accept the hello of %s\n", name.c_str());
        std::abort();
    }
    writeAll(fd, data, size);
    ::shutdown(fd, SHUT_WR);
    if (!closedByEndPoint(fd, 10000)) {
        std::fprintf(stderr, "the end point kept the link open after the peer's end\n");
        std::abort();
    }
    ::close(fd);
    return 0;
}
