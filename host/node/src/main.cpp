// ulsa-node: one Linux process that is a node: it boots the kernel, the platform's
// services and the load module, and runs until it is told to stop (SIGINT, SIGTERM)
// or for a given number of seconds.
#include "NodeBoot.h"
#include "NodeOptions.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <pthread.h>

namespace {

// Blocks the stop signals in this thread before any other thread exists, so that
// every kernel thread inherits the mask and only sigtimedwait() below sees them.
sigset_t blockStopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

// Waits for a stop signal, at most `seconds` when that is not 0.
void waitForStop(const sigset_t& set, unsigned seconds) {
    if (seconds == 0) {
        int signal = 0;
        sigwait(&set, &signal);
        return;
    }
    timespec timeout{static_cast<time_t>(seconds), 0};
    sigtimedwait(&set, nullptr, &timeout);
}

}  // namespace

int main(int argc, char** argv) {
    NodeOptions options;
    std::string problem;
    if (!parseNodeOptions(argc, argv, options, problem)) {
        std::fprintf(stderr, "ulsa-node: %s\n%s", problem.c_str(), nodeUsage());
        return 2;
    }
    if (options.help) {
        std::fputs(nodeUsage(), stdout);
        return 0;
    }
    const sigset_t stopSignals = blockStopSignals();

    ulsanode::NodeBootOptions boot;
    boot.stateDir = options.stateDir;
    boot.dbConnect = options.dbConnect;
    ulsanode::BootedNode node;
    if (!ulsanode::startNode(boot, node, problem)) {
        std::fprintf(stderr, "ulsa-node: %s\n", problem.c_str());
        return 1;
    }
    std::fprintf(stderr, "ulsa-node: database %s\n", node.database.c_str());
    std::fprintf(stderr, "ulsa-node: load module started (entry process 0x%x)%s\n", node.entry,
                 options.seconds ? "" : "; stop with Ctrl-C");

    waitForStop(stopSignals, options.seconds);

    std::fprintf(stderr, "ulsa-node: stopping\n");
    ulsanode::stopNode();
    return 0;
}
