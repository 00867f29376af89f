// Frames arriving on a link: a peer connects to a listening end point over its Unix
// socket, says a correct hello, and then writes the input as the bytes that follow
// (frame headers and payloads as they come: pings, hunts, announcements, signals,
// ends). Then it stops writing; the end point must take the link down and close the
// socket. The target waits for the end point's own word that the link is lost (its log
// line), without a clock of its own: an end point that never says so is a hang, which
// the fuzzer's -timeout reports with the input. Once it has said so, the socket must
// be closed already: the end point closes it before it tells.
//
// This file includes no kernel header: the socket calls' send() is not the kernel's.
#include "LinkEndpoint.h"
#include "LinkWire.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace hostlink::wire;

hostlink::LinkEndpoint* endpoint = nullptr;
std::string socketPath;
unsigned peerNumber = 0;

// The links the end point has reported lost, by name.
std::mutex lostMutex;
std::condition_variable lostChanged;
std::set<std::string> lostLinks;

void logLine(const std::string& line) {
    static const std::string head = "link ";
    const std::size_t at = line.find(" lost: ");
    if (line.compare(0, head.size(), head) != 0 || at == std::string::npos) {
        return;
    }
    std::lock_guard<std::mutex> lock(lostMutex);
    lostLinks.insert(line.substr(head.size(), at - head.size()));
    lostChanged.notify_all();
}

void awaitLost(const std::string& name) {
    std::unique_lock<std::mutex> lock(lostMutex);
    lostChanged.wait(lock, [&] { return lostLinks.count(name) != 0; });
    lostLinks.erase(name);
}

bool writeAll(int fd, const void* data, std::size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size > 0) {
        const ssize_t n = ::send(fd, p, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;  // the end point closed already: it refused the bytes so far
        }
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

// Reads and drops what the end point wrote before it closed; false if the socket is
// still open once that is read.
bool closedByEndPoint(int fd) {
    uint8_t bytes[4096];
    for (;;) {
        const ssize_t n = ::recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
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
    endpoint = new hostlink::LinkEndpoint(&logLine);
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
    ssize_t got = 0;
    const bool sent = writeAll(fd, bytes.data(), bytes.size());
    do {
        got = ::recv(fd, &answer, sizeof answer, MSG_WAITALL);
    } while (got < 0 && errno == EINTR);
    if (!sent || got != static_cast<ssize_t>(sizeof answer) ||
        answer.status != static_cast<uint32_t>(HelloStatus::Accepted)) {
        std::fprintf(stderr, "the end point did not accept the hello of %s\n", name.c_str());
        std::abort();
    }
    writeAll(fd, data, size);
    ::shutdown(fd, SHUT_WR);
    awaitLost(name);
    if (!closedByEndPoint(fd)) {
        std::fprintf(stderr, "the end point kept the socket of %s open after it lost the link\n",
                     name.c_str());
        std::abort();
    }
    ::close(fd);
    return 0;
}
