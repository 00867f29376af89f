// link_bench's bare reference: a ping-pong of plain bytes over a Unix socket pair.
// Apart from link_bench.cpp, which includes ose.h: the kernel's send() is not the
// socket's.
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
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

}  // namespace linkbench
