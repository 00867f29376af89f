// The unit's worker process: one receive loop around RadioUnitState.
#include "radioUnit.h"

#include "RadioUnitState.h"
#include "oseHost.h"
#include "unitStatusService.h"

#include <cstring>
#include <memory>
#include <type_traits>

namespace hostradio {

namespace {

constexpr OSADDRESS kStackSize = 16384;
constexpr OSPRIORITY kPriority = 12;
// What the new worker needs is handed over through its environment.
constexpr const char* kStartKey = "radioUnitStart";
constexpr OSTIME kEndWaitMs = 2000;

struct StartData {
    RadioUnitConfig config;
    PROCESS rmcServer;
    PROCESS rftServer;
};

static_assert(std::is_trivially_copyable<RadioFaults>::value,
              "RadioFaults travels as bytes in a signal");

OS_PROCESS(radioUnitMain) {
    static const SIGSELECT anySignal[] = {0};
    const PROCESS self = current_process();
    std::unique_ptr<StartData> start(reinterpret_cast<StartData*>(get_envp(self, kStartKey)));
    RadioUnitState state(std::move(start->config), self, start->rmcServer, start->rftServer);
    start.reset();
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr) {
            continue;  // killed while about to wait: the next kernel call unwinds
        }
        state.handle(signal);
        free_buf(&signal);
    }
}

}  // namespace

RadioUnit startRadioUnit(const RadioUnitConfig& config) {
    const std::string prefix = serverNamePrefix(config);
    RadioUnit unit;
    unit.dcControllerName = config.dcControllerName;
    unit.unit = create_process(OS_PRI_PROC, (prefix + "RadioUnit").c_str(), radioUnitMain,
                               kStackSize, kPriority, 0, 0, nullptr, 0, 0);
    // The servers exist, and answer hunts, from here on; what they get waits in the
    // worker's queue until it starts.
    unit.rmcServer = createServerPhantom(prefix + "RmcServer", unit.unit);
    unit.rftServer = createServerPhantom(prefix + "RftServer", unit.unit);
    unit.unitStatus = hostusi::startUnitStatusService(
        {config.ldn, {config.dcControllerName, config.operationalState, config.unitStatusBits}});
    set_envp(unit.unit, kStartKey,
             reinterpret_cast<OSADDRESS>(new StartData{config, unit.rmcServer, unit.rftServer}));
    start(unit.unit);
    return unit;
}

bool setRadioFaults(const RadioUnit& unit, const RadioFaults& faults, OSTIME timeoutMs) {
    union SIGNAL* request =
        alloc(static_cast<OSBUFSIZE>(4 + sizeof faults), RADIO_HOST_SET_FAULTS_REQ);
    std::memcpy(reinterpret_cast<uint8_t*>(request) + 4, &faults, sizeof faults);
    send(&request, unit.unit);
    static const SIGSELECT confirm[] = {1, RADIO_HOST_SET_FAULTS_CFM};
    union SIGNAL* reply = receive_from(timeoutMs, confirm, unit.unit);
    if (reply == nullptr) {
        return false;
    }
    uint32_t malformed = 1;
    std::memcpy(&malformed, reinterpret_cast<uint8_t*>(reply) + 4, sizeof malformed);
    free_buf(&reply);
    return malformed == 0;
}

bool setUnitEnabled(const RadioUnit& unit, bool enabled, OSTIME timeoutMs) {
    hostusi::UnitStatus status;
    status.dcControllerName = unit.dcControllerName;
    status.operationalState = enabled ? 1 : 0;
    return hostusi::setUnitStatus(unit.unitStatus, status, timeoutMs) >= 0;
}

void stopRadioUnit(const RadioUnit& unit) {
    hostusi::stopUnitStatusService(unit.unitStatus);
    kill_proc(unit.unit);
    // The worker kills its servers on its way out.
    ose_wait_ended(unit.unit, kEndWaitMs);
}

}  // namespace hostradio
