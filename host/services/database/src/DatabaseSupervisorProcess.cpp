// The process "Vq_rtrdb_supervisor": DatabaseSupervisor's steps between receives.
#include "DatabaseSupervisor.h"
#include "HostDbTrace.h"
#include "databaseSupervisor.h"

#include <chrono>
#include <cstring>
#include <memory>
#include <string>

namespace hostdb {

namespace {

constexpr OSADDRESS kStackSize = 65536;
constexpr OSPRIORITY kPriority = 10;
// The environment name under which the process finds its configuration at start.
constexpr const char* kConfigKey = "hostDatabaseConfig";

using Clock = std::chrono::steady_clock;

OS_PROCESS(databaseSupervisorMain) {
    // Handed over by startDatabase; owned from here on.
    std::unique_ptr<DatabaseSupervisorConfig> config(
        reinterpret_cast<DatabaseSupervisorConfig*>(get_envp(current_process(), kConfigKey)));
    if (!config) {
        TRACE(databaseTrace(), 1, "started without its configuration: ends");
        return;
    }
    DatabaseSupervisor supervisor(*config);
    config.reset();
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        const OSTIME wait = supervisor.step();
        // Signals sent to it do not cut the wait short.
        const Clock::time_point due = Clock::now() + std::chrono::milliseconds(wait);
        for (;;) {
            OSTIME left = OS_WAIT_FOREVER;
            if (wait != OS_WAIT_FOREVER) {
                const auto remaining =
                    std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now());
                if (remaining.count() <= 0)
                    break;
                left = static_cast<OSTIME>(remaining.count());
            }
            union SIGNAL* signal = receive_w_tmo(left, anySignal);
            if (signal == nullptr)
                break;
            SIGSELECT number = 0;
            std::memcpy(&number, signal, sizeof number);
            TRACE(databaseTrace(), 1, "unexpected signal 0x%x from 0x%x dropped", number,
                  sender(&signal));
            free_buf(&signal);
        }
    }
}

}  // namespace

PROCESS startDatabase(const DatabaseSupervisorConfig& config) {
    std::string reason;
    if (!prepareDatabaseConfig(config.database, reason)) {
        TRACE(databaseTrace(), 1, "database not started: %s", reason.c_str());
        return 0;
    }
    PROCESS pid = 0;
    union SIGNAL* none = nullptr;
    if (hunt(kDatabaseSupervisorProcess, 0, &pid, &none))
        return pid;
    pid = create_process(OS_PRI_PROC, kDatabaseSupervisorProcess, databaseSupervisorMain,
                         kStackSize, kPriority, 0, 0, nullptr, 0, 0);
    set_envp(pid, kConfigKey, reinterpret_cast<OSADDRESS>(new DatabaseSupervisorConfig(config)));
    start(pid);
    return pid;
}

}  // namespace hostdb
