#include "NodeBoot.h"

#include "SignalDistributorAPI.h"
#include "TransactionSignals.h"
#include "ULSpectrumAnalyzerMain.h"
#include "hostServices.h"
#include "lmConfiguration.h"
#include "lmProcessTable.h"
#include "lmStartup.h"
#include "oseHost.h"
#include "tarvo_dbagent.h"
#include "traceAndError.h"
#include "traceHost.h"

#include <cstdlib>
#include <utility>

namespace ulsanode {

namespace {

// The boot's own copy of the load module's process table, whose main process runs the
// application with the boot's manager factory, and the boot's own started flag: the
// start-up code takes both as arguments, so the node can load the module again after
// a stop, and swap the factory, without a change in the load module.
struct BootState {
    LmProcessTable table{};
    bool started = false;
    ULSpectrumAnalyzerApplication::ManagerFactory factory;
    PROCESS entry = 0;
    hosttx::TransactionServerConfig transactions;
};

// How long the stop waits for each of the load module's processes to unwind.
constexpr OSTIME kUnwindMs = 5000;

BootState& bootState() {
    static BootState state;
    return state;
}

// The factory moves into the main process: what it owns ends with the application, on
// that process, while the process-wide services still stand.
OS_PROCESS(nodeMainProcess) { runULSpectrumAnalyzerMain(std::move(bootState().factory)); }

OS_PROCESS(nodeEntryProcess) {
    BootState& state = bootState();
    lmRunStartup(state.table, state.started, kTarvoDbAgentWaitMs);
}

// A text value of the block's environment; false when it is not set.
bool blockValue(const char* key, std::string& value) {
    char* text = get_env(0, key);
    if (text == nullptr)
        return false;
    value = text;
    free_buf(reinterpret_cast<union SIGNAL**>(&text));
    return true;
}

bool blockNumber(const char* key, unsigned long& number) {
    std::string text;
    if (!blockValue(key, text) || text.empty())
        return false;
    char* end = nullptr;
    number = std::strtoul(text.c_str(), &end, 10);
    return *end == '\0';
}

// What the loader does: the configuration block into the environment, then the entry
// process under OSE_LM_MAIN_NAME with the block's priority and stack.
PROCESS loadModule() {
    if (lmLoadConfiguration(ulsaLmConfiguration, kLmConfigurationSize) < 0)
        return 0;
    std::string name;
    unsigned long priority = 0;
    unsigned long stackSize = 0;
    if (!blockValue("OSE_LM_MAIN_NAME", name) || !blockNumber("OSE_LM_MAIN_PRIORITY", priority) ||
        !blockNumber("OSE_LM_MAIN_STACK_SIZE", stackSize))
        return 0;
    const PROCESS pid = create_process(OS_PRI_PROC, name.c_str(), nodeEntryProcess,
                                       static_cast<OSADDRESS>(stackSize),
                                       static_cast<OSPRIORITY>(priority), 0, 0, nullptr, 0, 0);
    if (pid != 0) {
        ose_set_mark(pid, kLoadModuleMark);  // handed on to every process the module creates
        start(pid);
    }
    return pid;
}

}  // namespace

bool startNode(const NodeBootOptions& options, BootedNode& node, std::string& problem) {
    if (bootState().entry != 0) {
        problem = "a node runs already in this process: stop it first";
        return false;
    }
    TraceCall setup{};
    traceAndErrorInit(TRACE_OP_SETUP, &setup);
    traceStartControlProcess();

    hostdb::DatabaseConfig database;
    database.stateDir = options.stateDir;
    database.connectString = options.dbConnect;
    if (!hostdb::prepareDatabaseConfig(database, problem)) {
        ose_shutdown();
        return false;
    }
    hostns::startNameServer();
    hostdb::startDatabaseAgent(database);
    hostdb::startDatabase({database, 5000, 1000});
    bootState().transactions = {database, 4096, 64u << 20};
    hosttx::startTransactionServer(bootState().transactions);
    node.database = hostdb::resolveConnectString(database);

    BootState& state = bootState();
    state.table = ulsaLmProcessTable;
    state.table.version = kLmProcessTableVersion;
    for (LmProcessEntry& entry : state.table.entries) {
        if (entry.entry == ULSpectrumAnalyzerMain)
            entry.entry = nodeMainProcess;  // "ulSpectrumAnalyzer_main_thread"
    }
    state.started = false;
    state.factory = options.managerFactory;

    node.entry = state.entry = loadModule();
    if (node.entry == 0) {
        problem = "the load module's configuration block is unreadable";
        ose_shutdown();
        return false;
    }
    return true;
}

PROCESS restartTransactionServer() {
    BootState& state = bootState();
    if (state.entry == 0 || ose_current_process_or_zero() != 0)
        return 0;
    ose_adopt_thread("ulsa_node_restart");
    PROCESS restarted = 0;
    PROCESS old = 0;
    union SIGNAL* none = nullptr;
    const bool found = hunt(hosttx::kTransactionServerProcess, 0, &old, &none);
    if (found)
        kill_proc(old);
    if (!found || ose_wait_ended(old, kUnwindMs))
        restarted = hosttx::startTransactionServer(state.transactions);
    ose_leave_thread();
    return restarted;
}

void stopNode() {
    // The load module's own end first, signal 252 to its entry process, which kills the
    // static processes: they unwind (the application, its manager, the process-wide
    // services it tears down) while the kernel still stands. Then the kernel goes.
    BootState& state = bootState();
    if (state.entry != 0 && ose_current_process_or_zero() == 0) {
        ose_adopt_thread("ulsa_node_stop");
        union SIGNAL* end = alloc(4, kLmEndSignal);
        send(&end, state.entry);
        ose_wait_ended(state.entry, kUnwindMs);
        for (const LmProcessEntry& entry : state.table.entries) {
            if (entry.pid != nullptr && *entry.pid != 0)
                ose_wait_ended(*entry.pid, kUnwindMs);
        }
        // The signal distributor has no owner in the module (a node has no orderly
        // end): what the end of the Linux process would free, the stop frees.
        destroySignalDistributorAPI();
        ose_leave_thread();
    }
    state.entry = 0;
    ose_shutdown();
}

}  // namespace ulsanode
