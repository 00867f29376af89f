#include "proxyProcesses.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <cstring>

namespace {

// Placeholder loop, see the header: drains the queue for ever.
[[noreturn]] void drainSignals(const char* processName) {
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr) {
            continue;
        }
        SIGSELECT sigNo;
        std::memcpy(&sigNo, signal, sizeof sigNo);
        TRACE_GROUP(traceGroups::OSA_PRI_IF, 1,
                    "%s: signal 0x%x from 0x%x not served in this build", processName, sigNo,
                    sender(&signal));
        free_buf(&signal);
    }
}

}  // namespace

OS_PROCESS(Vq_IfSupport_proc) {
    drainSignals("Vq_IfSupport_proc");
}

OS_PROCESS(VqDb_name_proc) {
    drainSignals("VqDb_name_proc");
}
