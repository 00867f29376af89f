// link_test_peer: the second kernel of the link tests.
//
//   link_test_peer (--unix PATH | --tcp PORT) --name LINK --as NAME [--heartbeat MS TIMEOUT_MS]
//
// Connects to the test's listener, calling the link LINK and known there as NAME, and
// runs "control", which starts and kills echo processes on request. Runs until killed.
#include "LinkEndpoint.h"
#include "LinkTestSignals.h"
#include "oseHost.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace linktest;

union SIGNAL {
    SIGSELECT sigNo;
    NameSig named;
};

namespace {

const SIGSELECT kAny[] = {0};

OS_PROCESS(echo) {
    for (;;) {
        union SIGNAL* s = receive(kAny);
        const PROCESS from = sender(&s);
        if (s->sigNo == kWho) {
            free_buf(&s);
            s = alloc(sizeof(NameSig), kWhoReply);
            ose_process_name(from, s->named.name, sizeof s->named.name);
        }
        send(&s, from);
    }
}

OS_PROCESS(control) {
    for (;;) {
        union SIGNAL* s = receive(kAny);
        s->named.name[sizeof s->named.name - 1] = '\0';
        if (s->sigNo == kCreate) {
            const PROCESS pid =
                create_process(OS_PRI_PROC, s->named.name, &echo, 0, 16, 0, 0, nullptr, 0, 0);
            start(pid);
        } else if (s->sigNo == kKill) {
            PROCESS pid = 0;
            if (hunt(s->named.name, 0, &pid, nullptr)) {
                kill_proc(pid);
            }
        }
        free_buf(&s);
    }
}

}  // namespace

int main(int argc, char** argv) {
    hostlink::ConnectConfig config;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--unix" && i + 1 < argc) {
            config.unixPath = argv[++i];
        } else if (a == "--tcp" && i + 1 < argc) {
            config.tcpPort = static_cast<uint16_t>(std::atoi(argv[++i]));
        } else if (a == "--name" && i + 1 < argc) {
            config.linkName = argv[++i];
        } else if (a == "--as" && i + 1 < argc) {
            config.nameAtPeer = argv[++i];
        } else if (a == "--heartbeat" && i + 2 < argc) {
            config.heartbeat.interval = std::chrono::milliseconds(std::atoi(argv[++i]));
            config.heartbeat.timeout = std::chrono::milliseconds(std::atoi(argv[++i]));
        } else {
            std::fprintf(stderr, "link_test_peer: unknown argument %s\n", a.c_str());
            return 2;
        }
    }
    const PROCESS pid =
        create_process(OS_PRI_PROC, "control", &control, 0, 16, 0, 0, nullptr, 0, 0);
    start(pid);
    hostlink::LinkEndpoint endpoint;
    const std::string error = endpoint.connect(config);
    if (!error.empty()) {
        std::fprintf(stderr, "link_test_peer: %s\n", error.c_str());
        return 1;
    }
    for (;;) {
        pause();
    }
}
