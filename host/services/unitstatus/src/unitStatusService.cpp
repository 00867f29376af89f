// The service process: publishes its name, then one receive loop around
// UnitStatusState.
#include "UnitStatusState.h"
#include "dynTrace.h"
#include "nameServerHost.h"
#include "unitStatusService.h"
#include "usiSig.h"

#include <cstring>
#include <memory>

namespace hostusi {

namespace {

constexpr OSADDRESS kStackSize = 16384;
constexpr OSPRIORITY kPriority = 12;
// The configuration is handed to the new process through its environment.
constexpr const char* kConfigKey = "unitStatusConfig";

OS_PROCESS(unitStatusMain) {
    static const SIGSELECT anySignal[] = {0};
    std::unique_ptr<UnitStatusConfig> config(
        reinterpret_cast<UnitStatusConfig*>(get_envp(current_process(), kConfigKey)));
    const std::string name = serviceName(config->ldn);
    UnitStatusState state(std::move(*config));
    config.reset();
    if (!hostns::publishService(name.c_str())) {
        TRACE(state.trace(), 1, "%s could not be published", name.c_str());
    }
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr)
            continue;  // killed while about to wait: the next kernel call unwinds
        state.handle(signal);
        free_buf(&signal);
    }
}

}  // namespace

std::string serviceName(const std::string& ldn) {
    return kUsiServicePrefix + ldn;
}

PROCESS startUnitStatusService(const UnitStatusConfig& config) {
    const std::string name = serviceName(config.ldn);
    const PROCESS pid = create_process(OS_PRI_PROC, name.c_str(), unitStatusMain, kStackSize,
                                       kPriority, 0, 0, nullptr, 0, 0);
    // The process owns the copy from its first step on.
    set_envp(pid, kConfigKey, reinterpret_cast<OSADDRESS>(new UnitStatusConfig(config)));
    start(pid);
    return pid;
}

int setUnitStatus(PROCESS service, const UnitStatus& status, OSTIME timeoutMs) {
    const std::string& text = status.dcControllerName;
    union SIGNAL* request =
        alloc(static_cast<OSBUFSIZE>(12 + text.size() + 1), USI_HOST_SET_STATUS_REQ);
    uint8_t* bytes = reinterpret_cast<uint8_t*>(request);
    std::memcpy(bytes + 4, &status.unitStatusBits, 4);
    std::memcpy(bytes + 8, &status.operationalState, 4);
    std::memcpy(bytes + 12, text.c_str(), text.size() + 1);
    send(&request, service);
    static const SIGSELECT confirm[] = {1, USI_HOST_SET_STATUS_CFM};
    union SIGNAL* reply = receive_from(timeoutMs, confirm, service);
    if (reply == nullptr) {
        return -1;
    }
    int32_t told = -1;
    std::memcpy(&told, reinterpret_cast<uint8_t*>(reply) + 4, sizeof told);
    free_buf(&reply);
    return told;
}

void stopUnitStatusService(PROCESS service) {
    kill_proc(service);
}

}  // namespace hostusi
