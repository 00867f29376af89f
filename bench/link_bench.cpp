// link_bench: what a signal round trip over a link costs, against the bare socket.
//
// Two Linux processes, each with its kernel, linked over a Unix socket. The figure is
// a signal's round trip (send to the phantom of the other side's echo process, which
// sends it back to its sender) divided by a round trip of the same number of bytes
// over a plain Unix socket pair between the same two processes. Batches of both are
// interleaved in one run and their medians compared, as a run of two unpinned vCPUs
// flips between cheap and dear wake-ups.
//
// A process that sent over a link reads the answer off the socket itself while it
// waits, so a link's round trip wakes the same two threads as the bare one. A third
// reference, interleaved with the other two, is the bare ping-pong with a reader thread
// on each side that hands every message to the thread that answers or waits: a design
// in which a thread of its own reads the socket (link_round_trip_ratio_to_handoff).
// `link_bench --apart` puts the two processes on vCPUs 0 and 1 and prints the ratio as
// link_round_trip_ratio_apart, to tell placement from the cost of the path.
#include "LinkEndpoint.h"
#include "ose.h"
#include "oseHost.h"

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

union SIGNAL {
    SIGSELECT sigNo;
};

namespace linkbench {
bool socketPair(int fds[2]);
void echoUntilClosed(int fd, std::size_t size);
bool pingPong(int fd, std::size_t size, int count);
class HandOff;
std::shared_ptr<HandOff> startHandOff(int fd, std::size_t size);
bool handOffPingPong(HandOff& side, int count);
void handOffEchoUntilClosed(int fd, std::size_t size);
}  // namespace linkbench

namespace {

using Clock = std::chrono::steady_clock;

constexpr OSBUFSIZE kSignalSize = 64;
constexpr int kBatches = 300;
constexpr int kRoundTripsPerBatch = 40;
constexpr SIGSELECT kPing = 1;
constexpr SIGSELECT kFound = 2;
const SIGSELECT kAny[] = {0};

// Keeps the calling thread, and the threads it makes from now on, on one vCPU.
void pinTo(int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

OS_PROCESS(echo) {
    for (;;) {
        union SIGNAL* s = receive(kAny);
        const PROCESS from = sender(&s);
        send(&s, from);
    }
}

// The second process: a bare echo and one behind a hand-off on their ends of the pairs,
// a kernel echo behind a link.
[[noreturn]] void peer(int fd, int handOffFd, const std::string& path) {
    std::thread bare([fd] { linkbench::echoUntilClosed(fd, kSignalSize); });
    std::thread handOff([handOffFd] { linkbench::handOffEchoUntilClosed(handOffFd, kSignalSize); });
    start(create_process(OS_PRI_PROC, "echo", &echo, 0, 16, 0, 0, nullptr, 0, 0));
    hostlink::LinkEndpoint endpoint;
    hostlink::ConnectConfig config;
    config.unixPath = path;
    config.linkName = "bench";
    config.nameAtPeer = "peer";
    std::string error = "not tried";
    for (int i = 0; i < 500 && !error.empty(); ++i) {
        error = endpoint.connect(config);
        if (!error.empty()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    if (!error.empty()) {
        std::fprintf(stderr, "link_bench peer: %s\n", error.c_str());
    }
    bare.join();  // until the measuring process closes its ends
    handOff.join();
    endpoint.close();
    std::_Exit(0);
}

double linkBatch(PROCESS echoPhantom) {
    const auto t0 = Clock::now();
    for (int i = 0; i < kRoundTripsPerBatch; ++i) {
        union SIGNAL* s = alloc(kSignalSize, kPing);
        send(&s, echoPhantom);
        s = receive(kAny);
        free_buf(&s);
    }
    return std::chrono::duration<double>(Clock::now() - t0).count() / kRoundTripsPerBatch;
}

double bareBatch(int fd) {
    const auto t0 = Clock::now();
    if (!linkbench::pingPong(fd, kSignalSize, kRoundTripsPerBatch)) {
        std::fprintf(stderr, "link_bench: the bare echo is gone\n");
        std::exit(1);
    }
    return std::chrono::duration<double>(Clock::now() - t0).count() / kRoundTripsPerBatch;
}

double handOffBatch(linkbench::HandOff& side) {
    const auto t0 = Clock::now();
    if (!linkbench::handOffPingPong(side, kRoundTripsPerBatch)) {
        std::fprintf(stderr, "link_bench: the hand-off echo is gone\n");
        std::exit(1);
    }
    return std::chrono::duration<double>(Clock::now() - t0).count() / kRoundTripsPerBatch;
}

}  // namespace

int main(int argc, char** argv) {
    const bool apart = argc > 1 && std::strcmp(argv[1], "--apart") == 0;
    char folder[] = "/tmp/link_bench-XXXXXX";
    if (::mkdtemp(folder) == nullptr) {
        return 1;
    }
    const std::string path = std::string(folder) + "/link";
    int fds[2];
    int handOffFds[2];
    if (!linkbench::socketPair(fds) || !linkbench::socketPair(handOffFds)) {
        return 1;
    }
    // Before any thread exists here: the child starts clean.
    const pid_t child = ::fork();
    if (child == 0) {
        if (apart) {
            pinTo(1);
        }
        ::close(fds[0]);
        ::close(handOffFds[0]);
        peer(fds[1], handOffFds[1], path);
    }
    ::close(fds[1]);
    ::close(handOffFds[1]);
    if (apart) {
        pinTo(0);
    }

    hostlink::LinkEndpoint endpoint;
    hostlink::ListenConfig listen;
    listen.unixPath = path;
    const std::string error = endpoint.listen(listen);
    if (!error.empty()) {
        std::fprintf(stderr, "link_bench: %s\n", error.c_str());
        return 1;
    }
    ose_adopt_thread("bench");
    union SIGNAL* found = alloc(sizeof(SIGSELECT), kFound);
    PROCESS echoPhantom = 0;
    hunt("peer/echo", 0, &echoPhantom, &found);
    const SIGSELECT foundSel[] = {1, kFound};
    found = receive_w_tmo(10000, foundSel);
    if (found == NIL) {
        std::fprintf(stderr, "link_bench: the peer's echo was never found\n");
        ::kill(child, SIGKILL);
        return 1;
    }
    echoPhantom = sender(&found);
    free_buf(&found);
    std::shared_ptr<linkbench::HandOff> handOffSide =
        linkbench::startHandOff(handOffFds[0], kSignalSize);

    for (int i = 0; i < 20; ++i) {  // warm up all three
        linkBatch(echoPhantom);
        handOffBatch(*handOffSide);
        bareBatch(fds[0]);
    }
    std::vector<double> link, bare, handOff, neighbours;
    for (int b = 0; b < kBatches; ++b) {
        double l, r;
        if (b % 2 == 0) {
            l = linkBatch(echoPhantom);
            handOff.push_back(handOffBatch(*handOffSide));
            r = bareBatch(fds[0]);
        } else {
            r = bareBatch(fds[0]);
            handOff.push_back(handOffBatch(*handOffSide));
            l = linkBatch(echoPhantom);
        }
        link.push_back(l);
        bare.push_back(r);
        neighbours.push_back(l / r);
    }
    handOffSide.reset();  // shuts its socket down: the peer's hand-off echo ends
    ::close(handOffFds[0]);
    ::close(fds[0]);
    ose_leave_thread();
    endpoint.close();
    int status = 0;
    ::waitpid(child, &status, 0);
    ::rmdir(folder);

    std::printf("link_round_trip_us_median %.2f\n", median(link) * 1e6);
    std::printf("bare_socket_round_trip_us_median %.2f\n", median(bare) * 1e6);
    std::printf("handoff_socket_round_trip_us_median %.2f\n", median(handOff) * 1e6);
    std::printf("handoff_round_trip_ratio %.3f\n", median(handOff) / median(bare));
    std::printf("link_round_trip_ratio_to_handoff %.3f\n", median(link) / median(handOff));
    std::printf("link_round_trip_ratio_of_neighbours %.3f\n", median(neighbours));
    std::printf("%s %.3f\n", apart ? "link_round_trip_ratio_apart" : "figure link_round_trip_ratio",
                median(link) / median(bare));
    return 0;
}
