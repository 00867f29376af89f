// The RMCI client: from the unit's status service to the measurement server and
// through the RMCI exchange. See RmciClientHandlerImpl.h for the order of things.
#include "RmciClientHandlerImpl.h"

#include "MapTimer.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "processError.h"
#include "radioSignalReader.h"
#include "roSignalHandler.h"
#include "ulSpectrumAnalyzerEndianSwap.h"
#include "ulsaCtrlTrace.h"
#include "ulsaTriggerTime.h"

#include <cstring>

namespace {

// The conversion mode of this load module: signals stay as they are.
constexpr int kEndianMode = 1;
// A unit whose operational state is 0 is still usable with exactly these status bits.
constexpr uint32_t kUsableStatusBits = 544;
constexpr uint32_t kActionCapability = 1;
constexpr uint32_t kActionStart = 2;

const char* const kServerSuffix = "/RmcServer";
const char* const kPhantomName = "RMC_PHANTOM";

// The signals the client subscribes to, in order.
const SIGSELECT kSubscribed[] = {KGM_IW_USI_CONN_ESTABLISH_CFM,
                                 KGM_IW_USI_CONN_ESTABLISH_REJ,
                                 KGM_IW_USI_UNIT_INFO_UPDATE_IND,
                                 KGM_IW_USI_CONN_CLOSE_CFM,
                                 ULSA_RMCI_SERVER_HUNT_IND,
                                 ULSA_RMCI_SERVER_ATTACH_IND,
                                 RMCI_CONN_ESTABLISH_CFM,
                                 RMCI_CONN_ESTABLISH_REJ,
                                 RMCI_GET_CAPABILITIES_CFM,
                                 RMCI_CONFIG_CFM,
                                 RMCI_CONFIG_REJ,
                                 RMCI_MEASURE_CFM,
                                 RMCI_MEASURE_REJ,
                                 RMCI_MEASURE_IND,
                                 RMCI_MEASURE_STOP_CFM,
                                 ULSA_TMO_SIG};

// The requests, for the names in the traces of the supervision.
const SIGSELECT kRequests[] = {
    KGM_IW_USI_CONN_ESTABLISH_REQ, KGM_IW_USI_CONN_CLOSE_REQ, RMCI_CONN_ESTABLISH_REQ,
    RMCI_GET_CAPABILITIES_REQ,     RMCI_CONFIG_REQ,           RMCI_MEASURE_REQ,
    RMCI_MEASURE_STOP_REQ};

bool isUsiReply(SIGSELECT sigNo) {
    return sigNo == KGM_IW_USI_CONN_ESTABLISH_CFM || sigNo == KGM_IW_USI_CONN_ESTABLISH_REJ ||
           sigNo == KGM_IW_USI_UNIT_INFO_UPDATE_IND || sigNo == KGM_IW_USI_CONN_CLOSE_CFM;
}

bool isRmciReply(SIGSELECT sigNo) {
    return (sigNo & 0xFFFFFF00u) == 0x1706A00u;
}

// Signals that pass without the supervision: unsolicited ones.
bool isUnsupervised(SIGSELECT sigNo) {
    return sigNo == KGM_IW_USI_UNIT_INFO_UPDATE_IND || sigNo == RMCI_MEASURE_IND ||
           sigNo == ULSA_RMCI_SERVER_ATTACH_IND;
}

union SIGNAL* headSignal(OSBUFSIZE size, SIGSELECT sigNo, uint32_t clientRef,
                         uint32_t connectionRef) {
    union SIGNAL* signal = alloc(size, sigNo);
    std::memset(reinterpret_cast<uint8_t*>(signal) + sizeof(SIGSELECT), 0,
                size - sizeof(SIGSELECT));
    RadioSignalHead* head = reinterpret_cast<RadioSignalHead*>(signal);
    head->clientRef = clientRef;
    head->connectionRef = connectionRef;
    return signal;
}

}  // namespace

struct OS_redir_entry RmciClientHandlerImpl::phantomTable[1] = {{1, 0}};

RmciClientHandlerImpl::RmciClientHandlerImpl(RmciRftiClientHandlerOwner* ownerOfClient)
    : owner(ownerOfClient),
      usiConnectionRef(0),
      usiServerPid(0),
      rmcProcess(0),
      serverPid(0),
      froId(0),
      connectionRef(0),
      signalHandler(new roSignalHandler("rmciClientHandler")),
      attachRef(0),
      attached(false),
      measurementIndReceived(false),
      unitDisabled(false),
      endianMode(new int(kEndianMode)),
      alive(std::make_shared<bool>(true)) {
    ULSA_TRACE(2, "RmciClientHandlerImpl::RmciClientHandlerImpl()");
    // Both callbacks are the same: a lost service is asked again, as a found one is.
    auto callback = [this](const std::string& service, PROCESS pid) {
        serviceCallback(service, pid);
    };
    serviceFoundCallback = std::make_shared<plab::nameserver::v1::ServiceCallback>(callback);
    serviceLostCallback = std::make_shared<plab::nameserver::v1::ServiceCallback>(callback);
    createRmcProcess();
    ULSA_TRACE(3, "RmciClientHandlerImpl::RmciClientHandlerImpl() returned, phantom=%u",
               static_cast<unsigned>(rmcProcess));
}

RmciClientHandlerImpl::~RmciClientHandlerImpl() {
    ULSA_TRACE(2, "RmciClientHandlerImpl::~RmciClientHandlerImpl(froId=%u)", froId);
    *alive = false;
    resetTimer(TIMER_SUBSCRIBE);
    // The capability wait too: MapTimer must not call an observer that is gone.
    MapTimer::getInstance()->cancelAllTmo(this);
    deleteRmcProcess();
    for (const auto& subscribed : subscribedSignals) {
        getSignalDistributorAPI()->unsubscribe(subscribed.first, this);
    }
    subscribedSignals.clear();
    if (!subscribedService.empty()) {
        unsubscribeFromService(subscribedService);
    }
    if (attached) {
        detach(&attachRef);
        attached = false;
    }
    signalHandler.reset();
    ULSA_TRACE(3, "RmciClientHandlerImpl::~RmciClientHandlerImpl() returned");
}

void RmciClientHandlerImpl::createRmcProcess() {
    phantomTable[0].sig = 1;
    phantomTable[0].pid = current_process();
    rmcProcess = create_process(OS_PHANTOM, kPhantomName, nullptr, 0, 0, 0, 0, phantomTable, 0, 0);
    if (rmcProcess != 0) {
        start(rmcProcess);
    } else {
        ULSA_TRACE(1, "Could not create the process %s", kPhantomName);
    }
}

void RmciClientHandlerImpl::deleteRmcProcess() {
    if (rmcProcess != 0) {
        kill_proc(rmcProcess);
        rmcProcess = 0;
    }
}

void RmciClientHandlerImpl::init() {
    ULSA_TRACE(2, "RmciClientHandlerImpl::init()");
    serverPid = 0;
    usiConnectionRef = 0;
    connectionRef = 0;
    serverName.clear();
    dcControllerName.clear();
    froId = owner->getFroId();
    SignalNumber2Name* names = SignalNumber2Name::getInstance();
    for (SIGSELECT sigNo : kRequests) {
        names->insertSignalName(SignalName(sigNo, radioSignals::findSignal(sigNo)->name));
    }
    for (SIGSELECT sigNo : kSubscribed) {
        bool known = false;
        for (const auto& subscribed : subscribedSignals) {
            known = known || subscribed.first == sigNo;
        }
        if (known) {
            continue;  // an init on a client that has run already keeps its subscriptions
        }
        const std::string name = radioSignals::findSignal(sigNo)->name;
        names->insertSignalName(SignalName(sigNo, name));
        if (!getSignalDistributorAPI()->subscribe(sigNo, this)) {
            ULSA_TRACE(1, "Signal subscription failed!");
            nc::reportProcessError(traceGroups::ulSpectrumAnalyzerCtrlSwU,
                                   "Signal subscription failed!");
            break;
        }
        subscribedSignals.emplace_back(sigNo, name);
    }
    unitDisabled = false;
    ULSA_TRACE(3, "RmciClientHandlerImpl::init() returned, froId=%u", froId);
}

std::string RmciClientHandlerImpl::getServiceName(const std::string& ldn) {
    std::string unit = ldn;
    if (unit.find("ManagedElement=1") == std::string::npos) {
        unit = "ManagedElement=1," + unit;
    }
    return kUsiServicePrefix + unit;
}

void RmciClientHandlerImpl::subscribeToService(const std::string& ldn) {
    ULSA_TRACE(2, "RmciClientHandlerImpl::subscribeToService(ldn=%s)", ldn.c_str());
    const std::string service = getServiceName(ldn);
    targetLdn = ldn;
    setTimer(TIMER_SUBSCRIBE, kSubscribeMs);
    ULSA_TRACE(8, "subscribeToService : %s", service.c_str());
    subscribedService = service;
    // A provider that is up already is told at once, inside this call.
    const std::shared_ptr<bool> living = alive;
    plab::nameserver::v1::getNameServer()->subscribeToService(service, serviceFoundCallback,
                                                              serviceLostCallback);
    if (*living) {
        ULSA_TRACE(3, "RmciClientHandlerImpl::subscribeToService() returned");
    }
}

void RmciClientHandlerImpl::unsubscribeFromService(const std::string& serviceName) {
    ULSA_TRACE(2, "RmciClientHandlerImpl::unsubscribeFromService(serviceName=%s)",
               serviceName.c_str());
    // A copy: the name may be subscribedService itself (the destructor passes it).
    const std::string name = serviceName;
    if (name == subscribedService) {
        subscribedService.clear();
    }
    plab::nameserver::v1::getNameServer()->unsubscribeToService(name, serviceFoundCallback,
                                                                serviceLostCallback);
}

void RmciClientHandlerImpl::serviceCallback(const std::string& service, PROCESS pid) {
    resetTimer(TIMER_SUBSCRIBE);
    usiServerPid = pid;
    ULSA_TRACE(8, "Service: %s found with pid: %u", service.c_str(), static_cast<unsigned>(pid));
    sendUsiConnEstablishReq(service);
}

bool RmciClientHandlerImpl::isMeasurementIndReceived() {
    return measurementIndReceived;
}

void RmciClientHandlerImpl::setMeasurementIndReceived(bool received) {
    measurementIndReceived = received;
}

// ---- Requests ------------------------------------------------------------------

void RmciClientHandlerImpl::supervise(union SIGNAL* signal, const std::vector<SIGSELECT>& replies,
                                      PROCESS to) {
    SIGSELECT sigNo;
    std::memcpy(&sigNo, signal, sizeof sigNo);
    ULSA_TRACE(10, "Send %s to %u", nameOf(sigNo).c_str(), static_cast<unsigned>(to));
    if (signalHandler->send2RoWTmo(froId, rmcProcess, kSupervisionMs, &signal, replies, to) !=
        roSignalHandlerApi::Supervised) {
        ULSA_TRACE(1, "Sent signal with sigNo=(0x%x) (%s) will not be processed", sigNo,
                   nameOf(sigNo).c_str());
        free_buf(&signal);
    }
}

bool RmciClientHandlerImpl::serverKnown(const char* noServerTrace) {
    if (serverPid != 0) {
        return true;
    }
    ULSA_TRACE(1, "%s", noServerTrace);
    fail(0, 8, "Communication error(invalid PID) with RMCI Server");
    return false;
}

void RmciClientHandlerImpl::sendToServer(union SIGNAL* signal,
                                         const std::vector<SIGSELECT>& replies) {
    ulSpectrumAnalyzerEndianSwap::convertToSend(signal, sigsize(&signal), *endianMode);
    supervise(signal, replies, serverPid);
}

void RmciClientHandlerImpl::sendUsiConnEstablishReq(const std::string& service) {
    const std::size_t colon = service.find(':');
    const std::string ldn = colon == std::string::npos ? service : service.substr(colon + 1);
    supervise(radioSignals::makeUsiConnEstablishReq(froId, 0, ldn),
              {KGM_IW_USI_CONN_ESTABLISH_CFM, KGM_IW_USI_CONN_ESTABLISH_REJ}, usiServerPid);
}

void RmciClientHandlerImpl::sendUsiConnCloseReq() {
    union SIGNAL* close = alloc(UsiSignalHead::minSize, KGM_IW_USI_CONN_CLOSE_REQ);
    UsiSignalHead* head = reinterpret_cast<UsiSignalHead*>(close);
    head->procedureRef = froId;
    head->connectionRef = usiConnectionRef;
    supervise(close, {KGM_IW_USI_CONN_CLOSE_CFM}, usiServerPid);
}

void RmciClientHandlerImpl::sendRmciConnEstablishReq() {
    if (!serverKnown("serverPid = 0, sendRmciConnEstablishReq")) {
        return;
    }
    union SIGNAL* signal = headSignal(RadioConnEstablishReq::minSize, RMCI_CONN_ESTABLISH_REQ,
                                      froId, kRadioConnEstablishWord);
    reinterpret_cast<RadioConnEstablishReq*>(signal)->protocolRev = kRadioProtocolRev;
    sendToServer(signal, {RMCI_CONN_ESTABLISH_CFM, RMCI_CONN_ESTABLISH_REJ});
}

void RmciClientHandlerImpl::sendRmciGetCapabilityReq() {
    if (!serverKnown("serverPid = 0, sendRmciGetCapabilityReq")) {
        return;
    }
    sendToServer(
        headSignal(RadioSignalHead::minSize, RMCI_GET_CAPABILITIES_REQ, froId, connectionRef),
        {RMCI_GET_CAPABILITIES_CFM});
}

void RmciClientHandlerImpl::sendRmciConfigReq() {
    if (!serverKnown("serverPid = 0, sendRmciConfigReq")) {
        return;
    }
    RmciSamplingParameters parameters = owner->getSamplingParameters();
    // A conditional run with a real time of day waits for that time here: the unit
    // measures at once when asked.
    if (parameters.samplingType == 2 && !ulsaIsPowerTrigger(owner->getTriggerTimeOfDay())) {
        parameters.samplingType = 0;
    }
    union SIGNAL* signal =
        headSignal(RmciConfigReq::minSize, RMCI_CONFIG_REQ, froId, connectionRef);
    RmciConfigReq* req = reinterpret_cast<RmciConfigReq*>(signal);
    req->configVersion = 1;
    req->configLength = sizeof(RmciSamplingParameters);
    req->parameters = parameters;
    sendToServer(signal, {RMCI_CONFIG_CFM, RMCI_CONFIG_REJ});
}

void RmciClientHandlerImpl::startRmciMeasurement(uint32_t measurementType, uint32_t portId) {
    ULSA_TRACE(2, "RmciClientHandlerImpl::startRmciMeasurement(measurementType=%u, portId=%u)",
               measurementType, portId);
    if (measurementType != 1 || portId < 1 || portId > 8) {
        ULSA_TRACE(1, "Invalid measurement: type %u, port %u", measurementType, portId);
        fail(0, 1, "Communication error(invalid parameter(s)) with RMCI Server");
        return;
    }
    if (!serverKnown("serverPid = 0, sendRmciMeasureReq")) {
        return;
    }
    union SIGNAL* signal =
        headSignal(RmciMeasureReq::minSize, RMCI_MEASURE_REQ, froId, connectionRef);
    RmciMeasureReq* req = reinterpret_cast<RmciMeasureReq*>(signal);
    req->portId = portId;
    req->measurementType = static_cast<uint16_t>(measurementType);
    sendToServer(signal, {RMCI_MEASURE_CFM, RMCI_MEASURE_REJ});
}

void RmciClientHandlerImpl::stopUlsaSampling(uint32_t portId) {
    ULSA_TRACE(2, "RmciClientHandlerImpl::stopUlsaSampling(portId=%u)", portId);
    if (!serverKnown("serverPid = 0, RMCI_MEASURE_STOP_REQ")) {
        return;
    }
    union SIGNAL* signal =
        headSignal(RmciMeasureStopReq::minSize, RMCI_MEASURE_STOP_REQ, froId, connectionRef);
    reinterpret_cast<RmciMeasureStopReq*>(signal)->portId = portId;
    sendToServer(signal, {RMCI_MEASURE_STOP_CFM});
}

void RmciClientHandlerImpl::startHunt() {
    ULSA_TRACE(8, "Hunt %s", serverName.c_str());
    union SIGNAL* huntSignal = radioSignals::makeServerInd(ULSA_RMCI_SERVER_HUNT_IND, serverName);
    hunt(serverName.c_str(), 0, nullptr, &huntSignal);
    if (signalHandler->prep4ToSup(froId, kSupervisionMs, ULSA_RMCI_SERVER_HUNT_IND,
                                  {ULSA_RMCI_SERVER_HUNT_IND}) != roSignalHandlerApi::Supervised) {
        ULSA_TRACE(1, "Can't process preparation to supervise signal with sigNo=(0x%x) (%s)",
                   ULSA_RMCI_SERVER_HUNT_IND, nameOf(ULSA_RMCI_SERVER_HUNT_IND).c_str());
    }
}

// ---- Reception ------------------------------------------------------------------

void RmciClientHandlerImpl::handleSignal(union SIGNAL** signal) {
    if (signal == nullptr || *signal == nullptr) {
        return;
    }
    const OSBUFSIZE size = sigsize(signal);
    const radioSignals::SignalReader reader(*signal, size);
    SIGSELECT sigNo = 0;
    if (!reader.u32(0, sigNo)) {
        return;
    }
    const ulSpectrumAnalyzerEndianSwap::Result converted =
        ulSpectrumAnalyzerEndianSwap::convertReceived(*signal, size, *endianMode);
    if (!isOwnSignal(signal, sigNo, size)) {
        return;  // another client's: several share one subscription
    }
    ULSA_TRACE(11, "Received %s (%u bytes) from %u", nameOf(sigNo).c_str(),
               static_cast<unsigned>(size), static_cast<unsigned>(sender(signal)));
    if (converted == ulSpectrumAnalyzerEndianSwap::Result::Malformed ||
        !radioSignals::isWellFormed(*signal, size)) {
        dropMalformed(sigNo, size);
        return;
    }
    if (!isUnsupervised(sigNo) && !passesSupervision(*signal, sigNo)) {
        return;
    }
    dispatch(signal, sigNo, size);
}

bool RmciClientHandlerImpl::isOwnSignal(union SIGNAL** signal, SIGSELECT sigNo,
                                        OSBUFSIZE size) const {
    if (sigNo == ULSA_RMCI_SERVER_HUNT_IND) {
        return true;
    }
    if (sigNo == ULSA_RMCI_SERVER_ATTACH_IND) {
        // The death of this client's server: an attach of another client, or a stale
        // one of a server left behind, is not this client's business.
        return attached && serverPid != 0 && sender(signal) == serverPid;
    }
    uint32_t clientWord = 0;
    if (!radioSignals::SignalReader(*signal, size).u32(4, clientWord) || clientWord != froId) {
        return false;
    }
    if (sigNo == ULSA_TMO_SIG) {
        return true;
    }
    if (isUsiReply(sigNo)) {
        return sender(signal) == usiServerPid;
    }
    return isRmciReply(sigNo) && sender(signal) == serverPid;
}

bool RmciClientHandlerImpl::passesSupervision(union SIGNAL* signal, SIGSELECT sigNo) {
    SIGSELECT supervisedSigNo = roSignalHandlerApi::noSupervisedSigNo;
    const uint32_t result = signalHandler->receiveFromRo(signal, supervisedSigNo);
    if (result == roSignalHandlerApi::HandlingError) {
        ULSA_TRACE(4, "Signal with sigNo=(0x%x) (%s) unable to handle by signalHandler", sigNo,
                   nameOf(sigNo).c_str());
        return false;
    }
    if (result == roSignalHandlerApi::NotSupervised) {
        ULSA_TRACE(4, "Signal with sigNo=(0x%x) (%s) received late or not supervised", sigNo,
                   nameOf(sigNo).c_str());
        return false;
    }
    if (result == roSignalHandlerApi::Timeout) {
        handleTimeout(signal, supervisedSigNo);
        return false;  // handled: the time-out's failure
    }
    return true;
}

void RmciClientHandlerImpl::dropMalformed(SIGSELECT sigNo, OSBUFSIZE size) {
    ULSA_TRACE(1, "Signal with sigNo=(0x%x) (%s) of %u bytes is malformed, dropped", sigNo,
               nameOf(sigNo).c_str(), static_cast<unsigned>(size));
    if (sigNo == RMCI_MEASURE_IND) {
        // No supervision waits for it: the measurement's outcome is lost.
        fail(0, 8, "Communication error(RMCI_MEASURE_IND) with RMCI Server");
    }
}

void RmciClientHandlerImpl::dispatch(union SIGNAL** signal, SIGSELECT sigNo, OSBUFSIZE size) {
    union SIGNAL* sig = *signal;
    switch (sigNo) {
        case KGM_IW_USI_CONN_ESTABLISH_CFM:
            usiConnectionRef = reinterpret_cast<const UsiSignalHead*>(sig)->connectionRef;
            ULSA_TRACE(8, "Received KGM_IW_USI_CONN_ESTABLISH_CFM, connectionRef: %u",
                       usiConnectionRef);
            break;
        case KGM_IW_USI_CONN_ESTABLISH_REJ:
        case RMCI_CONN_ESTABLISH_REJ:
        case RMCI_CONFIG_REJ:
        case RMCI_MEASURE_REJ:
            handleReject(sig, sigNo, size);
            break;
        case KGM_IW_USI_UNIT_INFO_UPDATE_IND:
            handleUnitInfo(sig, size);
            break;
        case KGM_IW_USI_CONN_CLOSE_CFM:
            ULSA_TRACE(8, "Received KGM_IW_USI_CONN_CLOSE_CFM");
            if (unitDisabled) {
                fail(0, 8, "Communication error with RMCI Server, operationalState=DISABLED");
                return;
            }
            sendRmciConnEstablishReq();
            break;
        case ULSA_RMCI_SERVER_HUNT_IND:
            handleHuntInd(signal, size);
            break;
        case ULSA_RMCI_SERVER_ATTACH_IND:
            ULSA_TRACE(1, "Received ULSA_RMCI_SERVER_ATTACH_IND, dcControllerName=%s ",
                       dcControllerName.c_str());
            owner->lostConnection(1);
            return;
        case RMCI_CONN_ESTABLISH_CFM: {
            connectionRef = reinterpret_cast<const RadioSignalHead*>(sig)->connectionRef;
            const uint32_t action = owner->currentAction();
            ULSA_TRACE(8, "Received RMCI_CONN_ESTABLISH_CFM, connectionRef: %u, action: %u",
                       connectionRef, action);
            if (action == kActionCapability || action == kActionStart) {
                sendRmciGetCapabilityReq();
            } else {
                const std::string text = "Unknown action : " + std::to_string(action);
                ULSA_TRACE(1, "%s", text.c_str());
                nc::reportProcessError(traceGroups::ulSpectrumAnalyzerCtrlSwU, text);
            }
            break;
        }
        case RMCI_GET_CAPABILITIES_CFM:
            handleCapabilities(sig);
            break;
        case RMCI_CONFIG_CFM:
            ULSA_TRACE(8, "Received RMCI_CONFIG_CFM");
            owner->startRftiClient(dcControllerName);
            return;
        case RMCI_MEASURE_CFM:
            ULSA_TRACE(8, "Received RMCI_MEASURE_CFM");
            break;
        case RMCI_MEASURE_IND:
            handleMeasureInd(sig);
            break;
        case RMCI_MEASURE_STOP_CFM:
            ULSA_TRACE(8, "Received RMCI_MEASURE_STOP_CFM");
            owner->actionSuccess(sig);
            return;
        default:
            ULSA_TRACE(1, "Signal %u is not supported!", sigNo);
            break;
    }
}

void RmciClientHandlerImpl::handleReject(union SIGNAL* signal, SIGSELECT sigNo, OSBUFSIZE size) {
    radioSignals::RejectInfo reject;
    radioSignals::readReject(signal, size, reject);  // the signal is well formed
    const int code = static_cast<int>(reject.errorCode);
    const char* description = reject.errorDescription.c_str();
    switch (sigNo) {
        case KGM_IW_USI_CONN_ESTABLISH_REJ:
            ULSA_TRACE(1,
                       "Received KGM_IW_USI_CONN_ESTABLISH_REJ, procedureRef: %u, error code : %d",
                       reinterpret_cast<const UsiSignalHead*>(signal)->procedureRef, code);
            fail(sigNo, reject.errorCode,
                 "Communication error(KGM_IW_USI_CONN_ESTABLISH_REJ) with USI Server");
            return;
        case RMCI_CONN_ESTABLISH_REJ:
            ULSA_TRACE(1,
                       "Received RMCI_CONN_ESTABLISH_REJ, supportedProtocolRev=%d, "
                       "rejectCause.errorCode=%d, rejectCause.errorDescription=%s",
                       static_cast<int>(reject.supportedProtocolRev), code, description);
            fail(sigNo, reject.errorCode,
                 "Communication error(RMCI_CONN_ESTABLISH_REJ) with RMCI Server");
            return;
        case RMCI_CONFIG_REJ:
            ULSA_TRACE(1,
                       "Received RMCI_CONFIG_REJ, rejectCause.errorCode=%d, "
                       "rejectCause.errorDescription=%s",
                       code, description);
            if (owner->isRecovery()) {
                // No retry of its own: the expiry ends the recovery with the
                // subscription's failure.
                ULSA_TRACE(4, "Received RMCI_CONFIG_REJ - wait for 5 seconds");
                setTimer(TIMER_SUBSCRIBE, kRetryMs);
                return;
            }
            fail(sigNo, reject.errorCode, "Communication error(RMCI_CONFIG_REJ) with RMCI Server");
            return;
        default:
            ULSA_TRACE(1,
                       "Received RMCI_MEASURE_REJ, rejectCause.errorCode=%d, "
                       "rejectCause.errorDescription=%s",
                       code, description);
            fail(sigNo, reject.errorCode, "Communication error(RMCI_MEASURE_REJ) with RMCI Server");
            return;
    }
}

void RmciClientHandlerImpl::handleUnitInfo(union SIGNAL* signal, OSBUFSIZE size) {
    radioSignals::UnitInfo info;
    radioSignals::readUnitInfo(signal, size, info);  // the signal is well formed
    ULSA_TRACE(8,
               "Received KGM_IW_USI_UNIT_INFO_UPDATE_IND, operationalState=%u, "
               "unitStatusBits=%u, dcControllerName=%s",
               info.operationalState, info.unitStatusBits, info.dcControllerName.c_str());
    if (owner->getSamplingParameters().samplingType == 2 && owner->isRecovery()) {
        dcControllerName.clear();  // a recovery always hunts anew
    }
    const bool usable = (info.operationalState == kUsiOperationalEnabled ||
                         (info.operationalState == kUsiOperationalDisabled &&
                          info.unitStatusBits == kUsableStatusBits)) &&
                        !info.dcControllerName.empty();
    if (usable) {
        unitDisabled = false;
        if (info.dcControllerName != dcControllerName) {
            dcControllerName = info.dcControllerName;
            serverName = dcControllerName + kServerSuffix;
            startHunt();
        }
        return;
    }
    unitDisabled = true;
    sendUsiConnCloseReq();
    ULSA_TRACE(4, "Received KGM_IW_USI_UNIT_INFO_UPDATE_IND with operationalState=DISABLED");
}

void RmciClientHandlerImpl::handleHuntInd(union SIGNAL** signal, OSBUFSIZE size) {
    std::string name;
    radioSignals::readServerName(*signal, size, name);  // the signal is well formed
    // The signal carries at most kUlsaServerNameMax characters of the name.
    if (name != serverName.substr(0, kUlsaServerNameMax)) {
        ULSA_TRACE(4, "Stale hunt of %s, waiting for %s", name.c_str(), serverName.c_str());
        if (signalHandler->prep4ToSup(froId, kSupervisionMs, ULSA_RMCI_SERVER_HUNT_IND,
                                      {ULSA_RMCI_SERVER_HUNT_IND}) !=
            roSignalHandlerApi::Supervised) {
            ULSA_TRACE(1, "Can't process preparation to supervise signal with sigNo=(0x%x) (%s)",
                       ULSA_RMCI_SERVER_HUNT_IND, nameOf(ULSA_RMCI_SERVER_HUNT_IND).c_str());
        }
        return;
    }
    const PROCESS found = sender(signal);
    if (attached) {
        detach(&attachRef);  // the server of an earlier hunt
    }
    union SIGNAL* attachSignal =
        radioSignals::makeServerInd(ULSA_RMCI_SERVER_ATTACH_IND, serverName);
    attachRef = attach(&attachSignal, found);
    attached = true;
    serverPid = found;
    ULSA_TRACE(8, "get rmciserverPid=%u ", static_cast<unsigned>(serverPid));
    sendUsiConnCloseReq();
}

void RmciClientHandlerImpl::handleCapabilities(union SIGNAL* signal) {
    const uint16_t count =
        reinterpret_cast<const RmciGetCapabilitiesCfm*>(signal)->noOfCapabilities;
    ULSA_TRACE(8, "Received RMCI_GET_CAPABILITIES_CFM, noOfCapabilities: %u",
               static_cast<unsigned>(count));
    if (!owner->isRecovery()) {
        ULSA_TRACE(8, "Calling action sucess");
        const uint32_t action = owner->currentAction();
        const std::shared_ptr<bool> living = alive;
        owner->actionSuccess(signal);
        if (!*living || action != kActionStart) {
            return;  // a capability action ends here
        }
        sendRmciConfigReq();
        return;
    }
    ULSA_TRACE(8, " Recovery - continue with start measurement");
    if (count == 0) {
        ULSA_TRACE(4, "Zero capabillities wait for 5 seconds");
        setTimer(TIMER_CAPABILITIES, kRetryMs);
        return;
    }
    sendRmciConfigReq();
}

void RmciClientHandlerImpl::handleMeasureInd(union SIGNAL* signal) {
    const RmciMeasureInd* ind = reinterpret_cast<const RmciMeasureInd*>(signal);
    ULSA_TRACE(8, "Received RMCI_MEASURE_IND, measurementStatus: %u, dataFileRef: %u",
               ind->measurementStatus, ind->dataFileRef);
    if (ind->measurementStatus == RMC_MEASURE_STATUS_SUCCESS) {
        measurementIndReceived = true;
        owner->startRftiGetResult(ind->dataFileRef);
        return;
    }
    ULSA_TRACE(1, "Received RMCI_MEASURE_IND with measurementStatus : %s ",
               ind->measurementStatus == RMC_MEASURE_STATUS_FAILURE ? "RMC_MEASURE_STATUS_FAILURE"
                                                                    : "RMC_MEASURE_STATUS_TIMEOUT");
    fail(RMCI_MEASURE_IND, ind->measurementStatus,
         "Communication error(RMCI_MEASURE_IND : Failure or Timeout) with RMCI Server");
}

void RmciClientHandlerImpl::handleTimeout(union SIGNAL* signal, SIGSELECT supervisedSigNo) {
    const UlsaTmoSig* tmo = reinterpret_cast<const UlsaTmoSig*>(signal);
    ULSA_TRACE(1, "Received ULSA_TMO_SIG");
    ULSA_TRACE(1, "ULSA_TMO_SIG, id = %d, sender pid = %d, supervisedSigNo %d",
               static_cast<int>(tmo->id), static_cast<int>(sender(&signal)),
               static_cast<int>(supervisedSigNo));
    if (supervisedSigNo == ULSA_RMCI_SERVER_HUNT_IND) {
        ULSA_TRACE(1, "Received Timeout signal sigNo=(0x%x) during hunt", supervisedSigNo);
        fail(0, 8, "Communication error(hunt timeout) with USI Server");
        return;
    }
    ULSA_TRACE(1, "Received Timeout signal when processing signal with sigNo=(0x%x)",
               supervisedSigNo);
    fail(0, 8, "Communication error(timeout) with RMCI Server");
}

// ---- Timers and failures ----------------------------------------------------------

void RmciClientHandlerImpl::timeout(uint32_t type) {
    ULSA_TRACE(2, "RmciClientHandlerImpl::timeout(type=%u)", type);
    switch (type) {
        case TIMER_SUBSCRIBE:
            ULSA_TRACE(1, "Received Timeout during subscribing USI service");
            fail(0, 8, "Communication error(subscribe USI service timeout) with USI Server");
            return;
        case TIMER_CAPABILITIES:
            ULSA_TRACE(4, "Received Timeout for doing GetCapReq");
            sendRmciGetCapabilityReq();
            return;
        default:
            ULSA_TRACE(1, "Received unexpected tmo type(%u)", type);
            return;
    }
}

void RmciClientHandlerImpl::fail(uint32_t sigNo, uint32_t errorCode, const char* text) {
    const std::shared_ptr<bool> living = alive;
    RmciRftiClientHandlerOwner* const failedOwner = owner;
    failedOwner->setInfoFromError(sigNo, errorCode);
    if (*living) {
        failedOwner->actionFailed(text, kFailureCode);
    }
}

void RmciClientHandlerImpl::setTimer(uint32_t type, uint32_t ms) {
    ULSA_TRACE(4, "setTimer: Type: %d Time: %d ldn: %s", static_cast<int>(type),
               static_cast<int>(ms), targetLdn.c_str());
    MapTimer::getInstance()->cancelTmo(this, type);
    MapTimer::getInstance()->requestTmo(this, ms, type, targetLdn);
}

void RmciClientHandlerImpl::resetTimer(uint32_t type) {
    ULSA_TRACE(4, "resetTimer: Type: %d", static_cast<int>(type));
    MapTimer::getInstance()->cancelTmo(this, type);
}

std::string RmciClientHandlerImpl::nameOf(SIGSELECT sigNo) const {
    return SignalNumber2Name::getInstance()->sigNo2Name(sigNo);
}
