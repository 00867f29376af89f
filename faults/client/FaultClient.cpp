// ulsa-fault-client: the management side of the persistence fault tests, as a program
// of its own that links to a running node (host/mgmt's ManagementClient behind the
// stand-ins of tools/common), so that a test can kill the node, its transaction
// server or its database while this program has requests under way.
//
//   ulsa-fault-client stream --state DIR --first N --transactions T --creates K [--hold]
//     T transactions one after the other, each creating the K analyzers
//     "ManagedElement=1,UlSpectrumAnalyzer=<n>" from n = N + t*K on, each with
//     targetRfPort "RfPort=<n>", and committing them. One line a transaction, flushed at
//     once: "committed t", "failed t <why>" (the commit was not confirmed), "refused t
//     <why>" (a create was refused; rolled back). With --hold the last transaction is not
//     committed: "held t" once its creates are confirmed, then the program waits to be
//     killed.
//   ulsa-fault-client present --state DIR --first N --count C
//     gets each of those C analyzers and prints the numbers n of those the node has
//     with their own targetRfPort "RfPort=<n>", one a line.
//
// --timeout MS limits each answer (default 20000).
// Exit codes: 0 done; 1 the node could not be reached or stopped answering (the rest
// of the stream is not tried); 2 wrong usage.
#include "ManagementClient.h"
#include "NodeLink.h"
#include "oseHost.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

constexpr uint32_t kAnalyzerFroType = 0x100001B;

struct Options {
    std::string command;
    std::string state;
    unsigned first = 1;
    unsigned transactions = 1;
    unsigned creates = 1;
    unsigned count = 0;
    bool hold = false;
    OSTIME timeoutMs = 20000;  // each answer
};

bool parse(int argc, char** argv, Options& options) {
    if (argc < 2)
        return false;
    options.command = argv[1];
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--hold") {
            options.hold = true;
            continue;
        }
        if (i + 1 >= argc)
            return false;
        const char* value = argv[++i];
        if (arg == "--state")
            options.state = value;
        else if (arg == "--first")
            options.first = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        else if (arg == "--transactions")
            options.transactions = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        else if (arg == "--creates")
            options.creates = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        else if (arg == "--timeout")
            options.timeoutMs = static_cast<OSTIME>(std::strtoul(value, nullptr, 10));
        else if (arg == "--count")
            options.count = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        else
            return false;
    }
    return !options.state.empty() && (options.command == "stream" || options.command == "present");
}

mgmt::FroRef analyzer(unsigned n) {
    mgmt::FroRef fro;
    fro.froType = kAnalyzerFroType;
    fro.ldn = "ManagedElement=1,UlSpectrumAnalyzer=" + std::to_string(n);
    return fro;
}

std::string portOf(unsigned n) {
    return "RfPort=" + std::to_string(n);
}

void say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

// One transaction of the stream; false when the node stopped answering.
bool runTransaction(mgmt::ManagementClient& client, const Options& options, unsigned t) {
    const mgmt::Confirm transaction = client.createTransaction(options.timeoutMs);
    if (!transaction.ok()) {
        say("failed " + std::to_string(t) + " transaction: " + transaction.describe());
        return false;
    }
    const uint32_t id = transaction.transactionId;
    for (unsigned k = 0; k < options.creates; ++k) {
        const unsigned n = options.first + t * options.creates + k;
        const mgmt::Confirm created = client.create(
            id, analyzer(n), {{"targetRfPort", "STRING", portOf(n)}}, options.timeoutMs);
        if (!created.ok()) {
            say("refused " + std::to_string(t) + " " + created.describe());
            // Without a transaction server to roll back at, the stream ends.
            return created.outcome == mgmt::Outcome::answered &&
                   client.rollback(id, options.timeoutMs).outcome == mgmt::Outcome::answered;
        }
    }
    if (options.hold && t + 1 == options.transactions) {
        say("held " + std::to_string(t));
        for (;;)
            pause();
    }
    const mgmt::Confirm committed = client.commit(id, options.timeoutMs);
    say((committed.ok() ? "committed " : "failed ") + std::to_string(t) +
        (committed.ok() ? "" : " " + committed.describe()));
    return committed.outcome == mgmt::Outcome::answered;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(
            stderr,
            "usage: ulsa-fault-client stream|present --state DIR [--first N]\n"
            "       [--transactions T] [--creates K] [--hold] [--count C] [--timeout MS]\n");
        return 2;
    }
    hostlink::LinkEndpoint links{[](const std::string&) {}};
    const std::string why = ulsatools::linkToNode(links, ulsatools::nodeLinkPath(options.state),
                                                  "fault-client-" + std::to_string(getpid()));
    if (!why.empty()) {
        std::fprintf(stderr, "ulsa-fault-client: %s\n", why.c_str());
        return 1;
    }
    ulsatools::startNodeStandIns();
    int code = 0;
    {
        mgmt::ManagementClient client;
        const mgmt::Sent connected = client.connect(options.timeoutMs);
        mgmt::InitiateConfirm initiated;
        if (connected.ok())
            initiated = client.initiate("R1A", options.timeoutMs);
        if (!initiated.ok()) {
            std::fprintf(stderr, "ulsa-fault-client: the management service did not answer (%s)\n",
                         connected.ok() ? ("initiate: " + initiated.errorText).c_str()
                                        : ("connect: " + connected.errorText).c_str());
            code = 1;
        } else if (options.command == "stream") {
            for (unsigned t = 0; t < options.transactions && code == 0; ++t)
                code = runTransaction(client, options, t) ? 0 : 1;
        } else {
            for (unsigned i = 0; i < options.count && code == 0; ++i) {
                const unsigned n = options.first + i;
                const mgmt::Confirm got =
                    client.get(0, analyzer(n), {"targetRfPort"}, options.timeoutMs);
                if (got.ok() && got.value("targetRfPort") == portOf(n))
                    say(std::to_string(n));
                else if (got.outcome != mgmt::Outcome::answered)
                    code = 1;
            }
        }
        client.close();
    }
    links.close();
    ose_shutdown();
    return code;
}
