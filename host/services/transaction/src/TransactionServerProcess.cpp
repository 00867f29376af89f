// The process "TarvoTransaction": one receive loop around TransactionServer.
#include "HostDbTrace.h"
#include "TransactionServer.h"
#include "TransactionSignals.h"
#include "transactionServer.h"

#include <memory>
#include <string>

namespace hosttx {

namespace {

constexpr OSADDRESS kStackSize = 65536;
constexpr OSPRIORITY kPriority = 10;
// The environment name under which the process finds its configuration at start.
constexpr const char* kConfigKey = "hostTransactionConfig";

OS_PROCESS(transactionServerMain) {
    // Handed over by startTransactionServer; owned from here on.
    std::unique_ptr<TransactionServerConfig> config(
        reinterpret_cast<TransactionServerConfig*>(get_envp(current_process(), kConfigKey)));
    if (!config) {
        TRACE(hostdb::transactionTrace(), 1, "started without its configuration: ends");
        return;
    }
    TransactionServer server(*config);
    config.reset();
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        server.handle(&signal);
        free_buf(&signal);
    }
}

}  // namespace

PROCESS startTransactionServer(const TransactionServerConfig& config) {
    std::string reason;
    if (!hostdb::prepareDatabaseConfig(config.database, reason)) {
        TRACE(hostdb::transactionTrace(), 1, "transaction server not started: %s", reason.c_str());
        return 0;
    }
    PROCESS pid = 0;
    union SIGNAL* none = nullptr;
    if (hunt(kTransactionServerProcess, 0, &pid, &none))
        return pid;
    pid = create_process(OS_PRI_PROC, kTransactionServerProcess, transactionServerMain, kStackSize,
                         kPriority, 0, 0, nullptr, 0, 0);
    set_envp(pid, kConfigKey, reinterpret_cast<OSADDRESS>(new TransactionServerConfig(config)));
    start(pid);
    return pid;
}

}  // namespace hosttx
