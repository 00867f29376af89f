#include "NodeLink.h"

#include "NameServerSignals.h"

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>

namespace ulsatools {

namespace {

// The relays' own signals: the hunt of the target answered, the target ended.
constexpr SIGSELECT kRelayFound = 0x7E300;
constexpr SIGSELECT kRelayGone = 0x7E301;

std::mutex& registryLock() {
    static std::mutex lock;
    return lock;
}

// Guarded by registryLock(): the setup of each relay, by its pid.
std::map<PROCESS, RelaySetup>& registry() {
    static std::map<PROCESS, RelaySetup> setups;
    return setups;
}

SIGSELECT numberOf(union SIGNAL* signal) {
    SIGSELECT number = 0;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

OS_PROCESS(relayProcess) {
    RelaySetup setup;
    {
        std::lock_guard<std::mutex> guard(registryLock());
        setup = registry()[current_process()];
    }
    union SIGNAL* found = alloc(sizeof(SIGSELECT), kRelayFound);
    PROCESS target = 0;
    hunt(setup.target.c_str(), 0, &target, &found);
    static const SIGSELECT foundOnly[] = {1, kRelayFound};
    union SIGNAL* answer = receive_w_tmo(setup.findTimeoutMs, const_cast<SIGSELECT*>(foundOnly));
    if (answer == nullptr)
        return;  // its clients' attaches tell them
    target = sender(&answer);
    free_buf(&answer);
    union SIGNAL* gone = alloc(sizeof(SIGSELECT), kRelayGone);
    attach(&gone, target);

    static const SIGSELECT any[] = {0};
    PROCESS client = 0;
    for (;;) {
        union SIGNAL* signal = receive(const_cast<SIGSELECT*>(any));
        if (signal == nullptr) {
            return;  // the stand-in is ending: a killed process's receive gives nothing
        }
        const PROCESS from = sender(&signal);
        if (from == target) {
            if (numberOf(signal) == kRelayGone) {
                free_buf(&signal);
                return;
            }
            if (setup.rewrite != nullptr)
                setup.rewrite(signal, sigsize(&signal));
            if (client != 0)
                send(&signal, client);
            else
                free_buf(&signal);
        } else {
            client = from;
            send(&signal, target);
        }
    }
}

std::atomic<PROCESS>& serviceStandIn() {
    static std::atomic<PROCESS> pid{0};
    return pid;
}

// The provider named in the name server's answer is a process of the node's kernel:
// on this side the service stand-in is the provider.
void provideThroughStandIn(union SIGNAL* signal, OSBUFSIZE size) {
    if (numberOf(signal) != hostns::NS_SUBSCRIBE_SERVICE_ADDED_PID || size < 12)
        return;
    uint32_t provider = 0;
    std::memcpy(&provider, reinterpret_cast<unsigned char*>(signal) + 8, sizeof provider);
    if (provider != 0) {
        provider = serviceStandIn().load();
        std::memcpy(reinterpret_cast<unsigned char*>(signal) + 8, &provider, sizeof provider);
    }
}

std::string prefixed(const char* name) { return std::string(kNodeLinkName) + "/" + name; }

}  // namespace

std::string nodeLinkPath(const std::string& stateDir) { return stateDir + "/link"; }

std::string linkToNode(hostlink::LinkEndpoint& links, const std::string& linkPath,
                       const std::string& nameAtNode) {
    hostlink::ConnectConfig config;
    config.unixPath = linkPath;
    config.linkName = kNodeLinkName;
    config.nameAtPeer = nameAtNode;
    config.heartbeat.interval = std::chrono::milliseconds(500);
    config.heartbeat.timeout = std::chrono::milliseconds(2000);
    config.setupTimeout = std::chrono::milliseconds(3000);
    const std::string why = links.connect(config);
    if (why.empty())
        return why;
    return "no node at " + linkPath + " (" + why + "); is ulsa-node running with that --state?";
}

PROCESS startRelay(const RelaySetup& setup) {
    const PROCESS pid = create_process(OS_PRI_PROC, setup.name.c_str(), relayProcess, 16384, 16, 0,
                                       0, nullptr, 0, 0);
    {
        std::lock_guard<std::mutex> guard(registryLock());
        registry()[pid] = setup;
    }
    start(pid);
    return pid;
}

void startNodeStandIns() {
    RelaySetup service;
    service.name = "ulsa_mgmt_service";
    service.target = prefixed("ulSpectrumAnalyzer_main_thread");
    serviceStandIn() = startRelay(service);

    RelaySetup nameServer;
    nameServer.name = hostns::kNameServerProcess;
    nameServer.target = prefixed(hostns::kNameServerProcess);
    nameServer.rewrite = provideThroughStandIn;
    startRelay(nameServer);

    RelaySetup transactions;
    transactions.name = "TarvoTransaction";
    transactions.target = prefixed("TarvoTransaction");
    startRelay(transactions);
}

}  // namespace ulsatools
