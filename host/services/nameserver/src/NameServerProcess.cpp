// The process "ose_ns": one receive loop around NameServerState.
#include "NameServerSignals.h"
#include "NameServerState.h"
#include "nameServerHost.h"

namespace hostns {

namespace {

constexpr OSADDRESS kStackSize = 16384;
constexpr OSPRIORITY kPriority = 10;

OS_PROCESS(nameServerMain) {
    static const SIGSELECT anySignal[] = {0};
    NameServerState state;
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr)
            continue;  // killed while about to wait: the next kernel call unwinds
        state.handle(signal);
        free_buf(&signal);
    }
}

}  // namespace

PROCESS startNameServer() {
    PROCESS pid = 0;
    union SIGNAL* none = nullptr;
    if (hunt(kNameServerProcess, 0, &pid, &none))
        return pid;
    pid = create_process(OS_PRI_PROC, kNameServerProcess, nameServerMain, kStackSize, kPriority, 0,
                         0, nullptr, 0, 0);
    start(pid);
    return pid;
}

}  // namespace hostns
