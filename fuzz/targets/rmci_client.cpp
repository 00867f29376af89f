// A signal to the RMCI client, RmciClientHandlerImpl, as the main process receives it:
// through the signal distributor to the client's handleSignal. The client runs against
// the real unit status service of one radio unit, whose controller name leads to a
// measurement server played by this process (see RadioClientFuzz.h). Per input a new
// client is driven until it waits for the input's answer: the status service's
// confirmation, rejection, unit information or close confirmation, the hunt or attach
// signal of its server, the server's connection, capability records, configuration,
// measurement answers and indication, the stop confirmation, or a supervision's
// time-out. A bad answer must end as the client defines it (a dropped signal with a
// trace, or a failure given to its owner), never read outside the signal.
#include "MapTimer.h"
#include "RadioClientFuzz.h"
#include "RmciClientHandlerImpl.h"
#include "nameServerHost.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "radioSignalReader.h"
#include "radioSignals.h"
#include "unitStatusService.h"

#include <memory>
#include <vector>

namespace {

using fuzzkernel::Awaited;

const std::string kLdn = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
const std::string kController = "FUZZ-link";

constexpr uint32_t kCapability = 1;
constexpr uint32_t kStart = 2;

// Every number the client takes, with the request or reply held back to make it wait.
const Awaited kAwaited[] = {
    {KGM_IW_USI_CONN_ESTABLISH_CFM, KGM_IW_USI_CONN_ESTABLISH_CFM, false, true, kCapability},
    {KGM_IW_USI_CONN_ESTABLISH_REJ, KGM_IW_USI_CONN_ESTABLISH_CFM, false, true, kCapability},
    {KGM_IW_USI_UNIT_INFO_UPDATE_IND, KGM_IW_USI_UNIT_INFO_UPDATE_IND, false, true, kCapability},
    {KGM_IW_USI_CONN_CLOSE_CFM, KGM_IW_USI_CONN_CLOSE_CFM, false, true, kCapability},
    {ULSA_RMCI_SERVER_HUNT_IND, ULSA_RMCI_SERVER_HUNT_IND, true, false, kCapability},
    {ULSA_RMCI_SERVER_ATTACH_IND, RMCI_GET_CAPABILITIES_REQ, true, false, kStart},
    {RMCI_CONN_ESTABLISH_CFM, RMCI_CONN_ESTABLISH_REQ, true, true, kStart},
    {RMCI_CONN_ESTABLISH_REJ, RMCI_CONN_ESTABLISH_REQ, true, true, kCapability},
    {RMCI_GET_CAPABILITIES_CFM, RMCI_GET_CAPABILITIES_REQ, true, true, kStart},
    {RMCI_CONFIG_CFM, RMCI_CONFIG_REQ, true, true, kStart},
    {RMCI_CONFIG_REJ, RMCI_CONFIG_REQ, true, true, kStart},
    {RMCI_MEASURE_CFM, RMCI_MEASURE_REQ, true, true, kStart},
    {RMCI_MEASURE_REJ, RMCI_MEASURE_REQ, true, true, kStart},
    {RMCI_MEASURE_IND, RMCI_MEASURE_REQ, true, true, kStart},
    {RMCI_MEASURE_STOP_CFM, RMCI_MEASURE_STOP_REQ, true, true, kStart},
    {ULSA_TMO_SIG, RMCI_GET_CAPABILITIES_REQ, true, true, kCapability},
};

// The analyzer as the client sees it: it ends the run (deletes the client) on a
// failure and on the answer of a capability or stop action; a start measures once the
// configuration is confirmed and stops once a result is there.
class Owner : public RmciRftiClientHandlerOwner {
  public:
    void actionFailed(const std::string&, uint32_t) override { client.reset(); }
    void actionSuccess(union SIGNAL* signal) override {
        if (action != kStart || fuzzkernel::numberOf(signal) == RMCI_MEASURE_STOP_CFM) {
            client.reset();
        }
    }
    uint32_t currentAction() override { return action; }
    void startRftiClient(const std::string&) override { client->startRmciMeasurement(1, 1); }
    void startRftiGetResult(uint32_t) override { client->stopUlsaSampling(1); }
    void startRmciMeasurement(const RftiGetCapabilitiesCfm&) override {}
    RmciSamplingParameters getSamplingParameters() override {
        RmciSamplingParameters p{};
        p.portId = 1;
        p.centerFrequency = 1950000;
        p.displayedBandwidth = 40000;
        p.resolutionBandwidth = 100;
        p.samplingTimeout = 60000;
        return p;
    }
    uint32_t getFroId() override { return froId; }
    std::string getTriggerTimeOfDay() override { return "ff:ff:ff.fff"; }
    uint32_t getPowerLevel() override { return 0; }
    bool isRecovery() override { return false; }
    void setRecovery(bool) override {}
    std::string getTargetRfPort() override { return kLdn + ",DeviceGroup=ru,RfPort=A"; }
    void getFtpParameters(std::string&, std::string&, std::string&, std::string&) override {}
    void setInfoFromError(uint32_t, uint32_t) override {}
    void lostConnection(uint32_t) override { client.reset(); }
    void setFtpInProgress(bool) override {}

    std::unique_ptr<RmciClientHandlerImpl> client;
    uint32_t action = kCapability;
    uint32_t froId = 0;
};

Owner* owner = nullptr;
PROCESS usi = 0;
fuzzkernel::ServerPhantom* server = nullptr;
fuzzkernel::Freeze freeze;

union SIGNAL* head(SIGSELECT number, uint32_t clientRef, OSBUFSIZE size = RadioSignalHead::minSize) {
    union SIGNAL* signal = alloc(size, number);
    std::memset(reinterpret_cast<uint8_t*>(signal) + 4, 0, size - 4);
    reinterpret_cast<RadioSignalHead*>(signal)->clientRef = clientRef;
    reinterpret_cast<RadioSignalHead*>(signal)->connectionRef = 7;
    return signal;
}

// One spectrum record of port A with a power trigger, and an opaque one.
std::vector<radioSignals::Capability> capabilities() {
    radioSignals::Capability spectrum;
    spectrum.capabilityType = kRmciCapabilityEntries;
    spectrum.capabilityLength = 60;
    radioSignals::CapabilityEntry entry;
    entry.entryId = 1;
    entry.ranges.push_back(RmciRange{{1920000, 1980000, 60000, 61440, 4096}});
    radioSignals::Trigger trigger;
    trigger.triggerIdentity = kRmciPowerTrigger;
    trigger.triggerLength = 12;
    entry.triggers.push_back(trigger);
    spectrum.entries.push_back(entry);
    radioSignals::Capability opaque;
    opaque.capabilityType = kRmciCapabilityOpaque;
    opaque.capabilityLength = 8;
    return {spectrum, opaque};
}

// The server's proper answers to a request.
void answer(union SIGNAL* request) {
    const PROCESS client = sender(&request);
    const RadioSignalHead fields = *reinterpret_cast<const RadioSignalHead*>(request);
    free_buf(&request);
    const uint32_t ref = fields.clientRef;
    switch (fields.sigNo) {
        case RMCI_CONN_ESTABLISH_REQ:
            server->answer(head(RMCI_CONN_ESTABLISH_CFM, ref), client);
            return;
        case RMCI_GET_CAPABILITIES_REQ:
            server->answer(radioSignals::makeCapabilitiesCfm(ref, 7, capabilities()), client);
            return;
        case RMCI_CONFIG_REQ:
            server->answer(head(RMCI_CONFIG_CFM, ref), client);
            return;
        case RMCI_MEASURE_REQ: {
            server->answer(head(RMCI_MEASURE_CFM, ref), client);
            union SIGNAL* ind = head(RMCI_MEASURE_IND, ref, RmciMeasureInd::minSize);
            reinterpret_cast<RmciMeasureInd*>(ind)->measurementStatus = RMC_MEASURE_STATUS_SUCCESS;
            reinterpret_cast<RmciMeasureInd*>(ind)->dataFileRef = 5;
            server->answer(ind, client);
            return;
        }
        case RMCI_MEASURE_STOP_REQ:
            server->answer(head(RMCI_MEASURE_STOP_CFM, ref), client);
            return;
        default:
            return;
    }
}

// The main loop's part: requests to the server are answered (or held), the status
// service's replies and the hunt signal go on to the client unless held.
bool intercept(union SIGNAL* signal) {
    const SIGSELECT number = fuzzkernel::numberOf(signal);
    if (server->isRequest(signal)) {
        if (freeze.drops(number)) {
            free_buf(&signal);
        } else {
            answer(signal);
        }
        return true;
    }
    if ((sender(&signal) == usi || number == ULSA_RMCI_SERVER_HUNT_IND) && freeze.drops(number)) {
        free_buf(&signal);
        return true;
    }
    return false;
}

void pump() {
    mainloop::pump(&intercept);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzkernel::quietTraces();
    ose_clock_set_manual(1);
    ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
    hostns::startNameServer();
    plab::nameserver::v1::getNameServer();
    MapTimer::getInstance();
    usi = hostusi::startUnitStatusService({kLdn, {kController, 1, 0}});
    server = new fuzzkernel::ServerPhantom(kController + "/RmcServer");
    owner = new Owner;
    pump();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (!fuzzkernel::fitsSignal(size)) {
        return 0;
    }
    const Awaited& awaited = fuzzkernel::pick(kAwaited, data);
    owner->action = awaited.action;
    owner->froId += 1;
    freeze.arm(awaited.held);
    owner->client.reset(new RmciClientHandlerImpl(owner));
    RmciClientHandlerImpl* client = owner->client.get();
    client->init();
    client->subscribeToService(kLdn);
    pump();
    if (owner->client != nullptr) {
        union SIGNAL* signal = fuzzkernel::answerOf(data, size, awaited, owner->froId);
        send_w_s(&signal, awaited.fromServer ? server->pid() : usi, client->phantom());
    }
    freeze.thaw();
    pump();
    owner->client.reset();
    pump();
    return 0;
}
