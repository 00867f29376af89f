// ulsa-node: one Linux process that is a node: it boots the kernel, the platform's
// services and the load module, and runs until it is told to stop (SIGINT, SIGTERM)
// or for a given number of seconds. SIGUSR1 restarts its transaction server.
#include "LinkEndpoint.h"
#include "NodeBoot.h"
#include "NodeOptions.h"
#include "attrReadService.h"
#include "fileTransferService.h"
#include "hostDisk.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <pthread.h>

namespace {

// Blocks the signals the node acts on in this thread before any other thread exists,
// so that every kernel thread inherits the mask and only sigtimedwait() below sees them.
sigset_t blockNodeSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

// Waits for a stop signal, at most `seconds` when that is not 0; restarts the
// transaction server at each SIGUSR1 meanwhile.
void waitForStop(const sigset_t& set, unsigned seconds) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        int signal = 0;
        if (seconds == 0) {
            sigwait(&set, &signal);
        } else {
            const long long left =
                std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now())
                    .count();
            if (left <= 0)
                return;
            const timespec wait{static_cast<time_t>(left / 1000000000LL),
                                static_cast<long>(left % 1000000000LL)};
            signal = sigtimedwait(&set, nullptr, &wait);
            if (signal < 0 && errno == EINTR)
                continue;
        }
        if (signal != SIGUSR1)
            return;
        const PROCESS server = ulsanode::restartTransactionServer();
        if (server != 0)
            std::fprintf(stderr, "ulsa-node: transaction server restarted (process 0x%x)\n",
                         server);
        else
            std::fprintf(stderr, "ulsa-node: the transaction server could not be restarted\n");
    }
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
    const sigset_t nodeSignals = blockNodeSignals();

    ulsanode::NodeBootOptions boot;
    boot.stateDir = options.stateDir;
    boot.dbConnect = options.dbConnect;
    if (!hostdisk::setDiskRoot(options.stateDir, problem)) {
        std::fprintf(stderr, "ulsa-node: %s\n", problem.c_str());
        return 1;
    }
    ulsanode::BootedNode node;
    if (!ulsanode::startNode(boot, node, problem)) {
        std::fprintf(stderr, "ulsa-node: %s\n", problem.c_str());
        return 1;
    }
    // The platform services a sampling run needs beside the boot's, and the end point
    // where ulsactl and ulsa-radio (its radio units, by their dcControllerName) link in.
    hostftp::startFileTransferService();
    hostima::AttrReadConfig attributes;
    attributes.attributes = hostima::nodeAttributes(options.networkDn);
    hostima::startAttrReadService(attributes);
    hostlink::LinkEndpoint links;
    hostlink::ListenConfig where;
    where.unixPath = options.linkPath.empty() ? options.stateDir + "/link" : options.linkPath;
    if (std::string why = links.listen(where); !why.empty()) {
        std::fprintf(stderr, "ulsa-node: cannot listen for links at %s: %s\n",
                     where.unixPath.c_str(), why.c_str());
        links.close();
        ulsanode::stopNode();
        return 1;
    }
    std::fprintf(stderr, "ulsa-node: links at %s\n", where.unixPath.c_str());
    std::fprintf(stderr, "ulsa-node: database %s\n", node.database.c_str());
    std::fprintf(stderr, "ulsa-node: load module started (entry process 0x%x)%s\n", node.entry,
                 options.seconds ? "" : "; stop with Ctrl-C");

    waitForStop(nodeSignals, options.seconds);

    std::fprintf(stderr, "ulsa-node: stopping\n");
    links.close();
    ulsanode::stopNode();
    return 0;
}
