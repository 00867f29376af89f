// The process "Osa_dbAgent_proc": answers every request for the call table.
#include "AgentConfiguration.h"
#include "ClientRoutine.h"
#include "HostDbTrace.h"
#include "databaseAgent.h"
#include "tarvo_dbagent.h"

#include <cstring>
#include <string>

namespace hostdb {

namespace {

constexpr OSADDRESS kStackSize = 16384;
constexpr OSPRIORITY kPriority = 10;

void answerRequest(union SIGNAL** request) {
    const PROCESS client = sender(request);
    uintptr_t routine = 0;
    // The client's routine, called once the table is handed over (0: none).
    std::memcpy(&routine,
                reinterpret_cast<const unsigned char*>(*request) + kTarvoDbAgentAddressOffset,
                sizeof routine);
    setClientRoutine(routine);
    // One pointer-wide address per entry: the host's width, since they are addresses.
    uintptr_t entries[kTarvoDbAgentTableSize];
    fillSqlCallTable(entries, kTarvoDbAgentTableSize);
    union SIGNAL* reply =
        alloc(static_cast<OSBUFSIZE>(kTarvoDbAgentReplySize), TARVO_DBAGENT_REPLY);
    std::memcpy(reinterpret_cast<unsigned char*>(reply) + kTarvoDbAgentAddressOffset, entries,
                sizeof entries);
    send(&reply, client);
    TRACE(agentTrace(), 4, "call table of %u entries sent to 0x%x",
          static_cast<unsigned>(kTarvoDbAgentTableSize), client);
    notifyClientReady();
}

OS_PROCESS(databaseAgentMain) {
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        SIGSELECT number = 0;
        std::memcpy(&number, signal, sizeof number);
        const OSBUFSIZE size = sigsize(&signal);
        if (number != TARVO_DBAGENT_REQ)
            TRACE(agentTrace(), 1, "unexpected signal 0x%x from 0x%x dropped", number,
                  sender(&signal));
        else if (size < kTarvoDbAgentRequestSize)
            TRACE(agentTrace(), 1, "call table request of %u bytes from 0x%x dropped: %u expected",
                  size, sender(&signal), static_cast<unsigned>(kTarvoDbAgentRequestSize));
        else
            answerRequest(&signal);
        free_buf(&signal);
    }
}

}  // namespace

PROCESS startDatabaseAgent(const DatabaseConfig& config) {
    std::string reason;
    if (!prepareDatabaseConfig(config, reason)) {
        TRACE(agentTrace(), 1, "database agent not started: %s", reason.c_str());
        return 0;
    }
    AgentConfiguration::instance().set(config);
    PROCESS pid = 0;
    union SIGNAL* none = nullptr;
    if (hunt(kDatabaseAgentProcess, 0, &pid, &none))
        return pid;
    pid = create_process(OS_PRI_PROC, kDatabaseAgentProcess, databaseAgentMain, kStackSize,
                         kPriority, 0, 0, nullptr, 0, 0);
    start(pid);
    return pid;
}

}  // namespace hostdb
