#include "tarvo_dbagent.h"

#include "tarvo_poly_handler.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <cstdint>
#include <cstring>

TarvoDbEntry tarvoDbAgentTable[kTarvoDbAgentTableSize] = {};

namespace {

void writeAddress(union SIGNAL* signal, std::size_t offset, std::uintptr_t address) {
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, &address, sizeof address);
}

// Waits at most waitMs for the hunt's signal; the agent's identity, or 0.
PROCESS huntAgent(OSTIME waitMs) {
    union SIGNAL* huntSignal = alloc(sizeof(SIGSELECT), TARVO_DBAGENT_HUNT_SIG);
    hunt(kTarvoDbAgentName, 0, nullptr, &huntSignal);
    static const SIGSELECT selectHunt[] = {1, TARVO_DBAGENT_HUNT_SIG};
    union SIGNAL* answer = receive_w_tmo(waitMs, selectHunt);
    if (answer == nullptr) {
        return 0;
    }
    const PROCESS agent = sender(&answer);
    free_buf(&answer);
    return agent;
}

}  // namespace

bool TarvoDbAgent_bind(OSTIME waitMs) {
    const PROCESS agent = huntAgent(waitMs);
    if (agent == 0) {
        TRACE_GROUP(traceGroups::OSA_PRI_IF, 1,
                    "No response hunting for Osa_dbAgent_proc after %d msec.",
                    static_cast<int>(waitMs));
        static const char kText[] = "No response hunting for Osa_dbAgent_proc";
        // The text goes with the report; its length is sizeof kText - 1.
        error2(kTarvoDbAgentNoResponseError, reinterpret_cast<OSADDRESS>(kText));
        return false;
    }

    union SIGNAL* request = alloc(kTarvoDbAgentRequestSize, TARVO_DBAGENT_REQ);
    // The client routine: the agent reports the interface's error events, log lines and
    // ready note through it.
    const TarvoPolyHandlerFn routine = &tarvo_poly_handler;
    writeAddress(request, kTarvoDbAgentAddressOffset, reinterpret_cast<std::uintptr_t>(routine));
    writeAddress(request, kTarvoDbAgentAddressOffset + sizeof(void*),
                 reinterpret_cast<std::uintptr_t>(&tarvoDbAgentTable));
    send(&request, agent);

    static const SIGSELECT selectReply[] = {1, TARVO_DBAGENT_REPLY};
    union SIGNAL* reply = receive(selectReply);
    const OSBUFSIZE size = sigsize(&reply);
    const std::size_t present =
        size > kTarvoDbAgentAddressOffset ? (size - kTarvoDbAgentAddressOffset) / sizeof(void*) : 0;
    const std::size_t count = present < kTarvoDbAgentTableSize ? present : kTarvoDbAgentTableSize;
    if (count < kTarvoDbAgentTableSize) {
        TRACE_GROUP(traceGroups::OSA_PRI_IF, 1,
                    "Database agent reply of %u bytes holds %u of %u entries",
                    static_cast<unsigned>(size), static_cast<unsigned>(count),
                    static_cast<unsigned>(kTarvoDbAgentTableSize));
    }
    const auto* words = reinterpret_cast<const unsigned char*>(reply) + kTarvoDbAgentAddressOffset;
    for (std::size_t i = 0; i < count; ++i) {
        std::uintptr_t address;
        std::memcpy(&address, words + i * sizeof address, sizeof address);
        tarvoDbAgentTable[i] = reinterpret_cast<TarvoDbEntry>(address);
    }
    free_buf(&reply);
    return true;
}
