#include "lmStartup.h"

#include "lmConfiguration.h"
#include "tarvo_dbagent.h"
#include "traceGroups.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// A text value of the block's environment; false when it is not set.
bool blockValue(const char* key, std::string& value) {
    char* text = get_env(0, key);
    if (text == nullptr) {
        return false;
    }
    value = text;
    free_buf(reinterpret_cast<union SIGNAL**>(&text));
    return true;
}

bool blockNumber(const char* key, unsigned long& number) {
    std::string text;
    if (!blockValue(key, text) || text.empty()) {
        return false;
    }
    char* end = nullptr;
    number = std::strtoul(text.c_str(), &end, 10);
    return end != nullptr && *end == '\0';
}

bool alive(PROCESS pid) {
    struct OS_pcb* pcb = get_pcb(pid);
    if (pcb == nullptr) {
        return false;
    }
    const bool running = pcb->status != OS_STATE_KILLED && pcb->status != OS_STATE_ENDED;
    free_buf(reinterpret_cast<union SIGNAL**>(&pcb));
    return running;
}

}  // namespace

bool lmCreateStaticProcesses(LmProcessTable& table, bool& started) {
    if (table.version != kLmProcessTableVersion) {
        error(kLmFatalProcessTable);
        return false;
    }
    table.version = 0;
    if (started) {
        error(kLmFatalProcessTable);
        return false;
    }
    started = true;
    for (LmProcessEntry& entry : table.entries) {
        const PROCESS pid =
            create_process(OS_PRI_PROC, entry.name, entry.entry, entry.stackSize,
                           static_cast<OSPRIORITY>(entry.priority >> 24), 0,
                           entry.block != nullptr ? entry.block->block : 0, nullptr, 0, 0);
        if (entry.pid != nullptr) {
            *entry.pid = pid;
        }
    }
    return true;
}

bool lmRegisterTraceGroups(OSTIME agentWaitMs) {
    traceGroups::registerTraceGroup("OSA_PRI_IF", &traceGroups::OSA_PRI_IF);
    const bool bound = TarvoDbAgent_bind(agentWaitMs);
    traceGroups::registerProxyTraceGroups();
    traceGroups::registerApplicationTraceGroups();
    traceGroups::registerFtTraceGroups();
    traceGroups::elibTraceRestartTimeTraceStartHook();
    return bound;
}

void lmStartStaticProcesses(const LmProcessTable& table) {
    for (const LmProcessEntry& entry : table.entries) {
        if (entry.pid != nullptr && *entry.pid != 0) {
            start(*entry.pid);
        }
    }
}

void lmReceiveLoop(const LmProcessTable& table) {
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr) {
            continue;
        }
        SIGSELECT sigNo;
        std::memcpy(&sigNo, signal, sizeof sigNo);
        if (sigNo == kLmEndSignal) {
            free_buf(&signal);
            break;
        }
        error(kLmUnexpectedSignal);
        free_buf(&signal);
    }
    for (const LmProcessEntry& entry : table.entries) {
        if (entry.pid != nullptr && *entry.pid != 0 && alive(*entry.pid)) {
            kill_proc(*entry.pid);
        }
    }
}

void lmRunStartup(LmProcessTable& table, bool& started, OSTIME agentWaitMs) {
    if (!lmCreateStaticProcesses(table, started)) {
        return;
    }
    lmRegisterTraceGroups(agentWaitMs);
    lmStartStaticProcesses(table);
    lmReceiveLoop(table);
}

OS_PROCESS(ulsaLmEntry) {
    static bool started = false;
    lmRunStartup(ulsaLmProcessTable, started, kTarvoDbAgentWaitMs);
}

PROCESS ulsaLmLoad() {
    if (lmLoadConfiguration(ulsaLmConfiguration, kLmConfigurationSize) < 0) {
        return 0;
    }
    std::string name;
    unsigned long priority = 0;
    unsigned long stackSize = 0;
    if (!blockValue("OSE_LM_MAIN_NAME", name) || !blockNumber("OSE_LM_MAIN_PRIORITY", priority) ||
        !blockNumber("OSE_LM_MAIN_STACK_SIZE", stackSize)) {
        return 0;
    }
    const PROCESS pid =
        create_process(OS_PRI_PROC, name.c_str(), ulsaLmEntry, static_cast<OSADDRESS>(stackSize),
                       static_cast<OSPRIORITY>(priority), 0, 0, nullptr, 0, 0);
    if (pid != 0) {
        start(pid);
    }
    return pid;
}
