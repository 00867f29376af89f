#include "RadioUnitState.h"

#include "DynTraceHandler.h"
#include "dynTrace.h"
#include "radioSignalReader.h"
#include "radioSignals.h"
#include "sampleFile.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace hostradio {

namespace {

// The worker's own time-outs; taken only from the worker itself.
constexpr SIGSELECT RADIO_HOST_ANSWER_DUE = 0x7E222;  // 4: the held answer's number
constexpr SIGSELECT RADIO_HOST_MEASURED = 0x7E223;    // 4: connectionRef, 8: measurement id

constexpr uint32_t kConnectionWordEstablish = 0;  // the reference a rejected establish carries
constexpr std::size_t kFilesKept = 8;             // results a unit holds; the oldest go first
constexpr uint32_t kLargestBlock = OS_MAX_SIGSIZE - RftiGetResultData::dataOffset;

const char* nameOf(SIGSELECT number) {
    const radioSignals::SignalInfo* info = radioSignals::findSignal(number);
    return info != nullptr ? info->name : "unknown signal";
}

// The rejection of a request, or 0 for a request that has none. Every rejecting
// request's rejection is its number + 2, its confirmation its number + 1.
SIGSELECT rejectionOf(SIGSELECT request) {
    switch (request) {
        case RMCI_CONN_ESTABLISH_REQ:
        case RMCI_CONFIG_REQ:
        case RMCI_MEASURE_REQ:
        case RFTI_CONN_ESTABLISH_REQ:
        case RFTI_GET_RESULT_REQ:
            return request + 2;
        default:
            return 0;
    }
}

union SIGNAL* head(SIGSELECT number, OSBUFSIZE size, uint32_t clientRef, uint32_t connectionRef) {
    union SIGNAL* signal = alloc(size, number);
    uint8_t* bytes = reinterpret_cast<uint8_t*>(signal);
    std::memset(bytes + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    RadioSignalHead* out = reinterpret_cast<RadioSignalHead*>(signal);
    out->clientRef = clientRef;
    out->connectionRef = connectionRef;
    return signal;
}

union SIGNAL* words(SIGSELECT number, uint32_t first, uint32_t second) {
    union SIGNAL* signal = alloc(12, number);
    std::memcpy(reinterpret_cast<uint8_t*>(signal) + 4, &first, 4);
    std::memcpy(reinterpret_cast<uint8_t*>(signal) + 8, &second, 4);
    return signal;
}

uint32_t wordAt(union SIGNAL* signal, std::size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, reinterpret_cast<uint8_t*>(signal) + offset, sizeof value);
    return value;
}

}  // namespace

PROCESS createServerPhantom(const std::string& name, PROCESS worker) {
    OS_redir_entry table[1] = {{1, worker}};
    return create_process(OS_PHANTOM, name.c_str(), nullptr, 0, 0, 0, 0, table, 0, 0);
}

RadioUnitState::RadioUnitState(RadioUnitConfig config, PROCESS self, PROCESS rmcServer,
                               PROCESS rftServer)
    : m_config(std::move(config)),
      m_prefix(serverNamePrefix(m_config)),
      m_blockSize(std::clamp<uint32_t>(m_config.blockSize, 1, kLargestBlock)),
      m_self(self),
      m_rmc(rmcServer),
      m_rft(rftServer),
      m_trace(DynTraceHandler::registerTraceObject("radioUnit")) {
    if (m_config.ports.size() > 8) {
        TRACE(m_trace, 1, "%s: %zu ports configured, the unit has 8", m_prefix.c_str(),
              m_config.ports.size());
        m_config.ports.resize(8);
    }
}

RadioUnitState::~RadioUnitState() {
    for (auto& held : m_held) {
        free_buf(&held.second.signal);
    }
    for (auto& connection : m_rmcConnections) {
        cancelMeasurement(connection.second);
    }
    kill_proc(m_rmc);
    kill_proc(m_rft);
    DynTraceHandler::deregisterTraceObject(m_trace);
}

void RadioUnitState::handle(union SIGNAL* signal) {
    const PROCESS to = addressee(&signal);
    const PROCESS from = sender(&signal);
    if (from == 0) {  // from a thread that is no process: there is no one to answer
        TRACE(m_trace, 1, "%s: a signal from no process dropped", m_prefix.c_str());
        return;
    }
    if (to != m_rmc && to != m_rft) {
        handleOwn(signal, from);
        return;
    }
    const RadioSignalHead* fixed =
        radioSignals::checkedLayout<RadioSignalHead>(signal, sigsize(&signal));
    if (fixed == nullptr) {
        TRACE(m_trace, 1, "%s: a signal of %u bytes from 0x%x dropped", m_prefix.c_str(),
              sigsize(&signal), from);
        return;
    }
    const Request request{fixed->sigNo, from, fixed->clientRef, fixed->connectionRef};
    const PROCESS server = to;
    if (request.number == m_faults.rejectRequest && rejectionOf(request.number) != 0) {
        reject(request, server, m_faults.rejectCause, m_faults.rejectText);
        return;
    }
    if (server == m_rmc) {
        handleRmci(signal, request);
    } else {
        handleRfti(signal, request);
    }
}

void RadioUnitState::handleRmci(union SIGNAL* signal, const Request& request) {
    if (request.number == RMCI_CONN_ESTABLISH_REQ) {
        establish(signal, request, m_rmc);
        return;
    }
    switch (request.number) {
        case RMCI_GET_CAPABILITIES_REQ:
        case RMCI_CONFIG_REQ:
        case RMCI_MEASURE_REQ:
        case RMCI_MEASURE_STOP_REQ:
            break;
        default:
            TRACE(m_trace, 1, "%sRmcServer: signal 0x%x (%s) from 0x%x dropped", m_prefix.c_str(),
                  request.number, nameOf(request.number), request.from);
            return;
    }
    const auto it = m_rmcConnections.find(request.connectionRef);
    if (it == m_rmcConnections.end() || it->second.client != request.from) {
        if (rejectionOf(request.number) != 0) {
            reject(request, m_rmc, kCauseNoConnection, "no such connection");
        } else {
            TRACE(m_trace, 1, "%sRmcServer: %s on connection %u, which 0x%x does not hold, dropped",
                  m_prefix.c_str(), nameOf(request.number), request.connectionRef, request.from);
        }
        return;
    }
    switch (request.number) {
        case RMCI_GET_CAPABILITIES_REQ:
            capabilities(request);
            break;
        case RMCI_CONFIG_REQ:
            configure(signal, request, it->second);
            break;
        case RMCI_MEASURE_REQ:
            measure(signal, request, it->second);
            break;
        default:
            stopMeasurement(request, it->second);
            break;
    }
}

void RadioUnitState::handleRfti(union SIGNAL* signal, const Request& request) {
    if (request.number == RFTI_CONN_ESTABLISH_REQ) {
        establish(signal, request, m_rft);
        return;
    }
    switch (request.number) {
        case RFTI_GET_CAPABILITIES_REQ:
        case RFTI_GET_RESULT_REQ:
        case RFTI_GET_RESULT_ACK:
            break;
        default:
            TRACE(m_trace, 1, "%sRftServer: signal 0x%x (%s) from 0x%x dropped", m_prefix.c_str(),
                  request.number, nameOf(request.number), request.from);
            return;
    }
    const auto it = m_rftConnections.find(request.connectionRef);
    if (it == m_rftConnections.end() || it->second.client != request.from) {
        if (rejectionOf(request.number) != 0) {
            reject(request, m_rft, kCauseNoConnection, "no such connection");
        } else {
            TRACE(m_trace, 1, "%sRftServer: %s on connection %u, which 0x%x does not hold, dropped",
                  m_prefix.c_str(), nameOf(request.number), request.connectionRef, request.from);
        }
        return;
    }
    switch (request.number) {
        case RFTI_GET_CAPABILITIES_REQ:
            fileCapabilities(request);
            break;
        case RFTI_GET_RESULT_REQ:
            getResult(signal, request, it->second);
            break;
        default:
            acknowledged(signal, request, it->second);
            break;
    }
}

void RadioUnitState::handleOwn(union SIGNAL* signal, PROCESS from) {
    SIGSELECT number = 0;
    std::memcpy(&number, signal, sizeof number);
    const bool own = from == m_self && sigsize(&signal) >= 12;
    if (number == OS_ATTACH_SIG) {
        clientEnded(from);
    } else if (number == RADIO_HOST_SET_FAULTS_REQ) {
        setFaults(signal, from);
    } else if (number == RADIO_HOST_ANSWER_DUE && own) {
        const auto it = m_held.find(wordAt(signal, 4));
        if (it == m_held.end()) {
            return;
        }
        HeldAnswer held = it->second;
        m_held.erase(it);
        if (held.from == m_rmc || held.from == m_rft) {
            send_w_s(&held.signal, held.from, held.to);
        } else {
            free_buf(&held.signal);  // its server has died since
        }
    } else if (number == RADIO_HOST_MEASURED && own) {
        measured(wordAt(signal, 4), wordAt(signal, 8));
    } else {
        TRACE(m_trace, 1, "%sRadioUnit: signal 0x%x of %u bytes from 0x%x dropped",
              m_prefix.c_str(), number, sigsize(&signal), from);
    }
}

void RadioUnitState::establish(union SIGNAL* signal, const Request& request, PROCESS server) {
    const RadioConnEstablishReq* req =
        radioSignals::checkedLayout<RadioConnEstablishReq>(signal, sigsize(&signal));
    if (req == nullptr) {
        reject(request, server, kCauseMalformed, "short connection request");
        return;
    }
    if (req->protocolRev != kRadioProtocolRev) {
        reject(request, server, kCauseUnsupportedProtocol, "protocol revision 1 only");
        return;
    }
    const uint32_t connectionRef = m_nextConnectionRef++;
    if (m_nextConnectionRef == 0) {
        m_nextConnectionRef = 1;  // 0 stands for no connection
    }
    if (server == m_rmc) {
        m_rmcConnections[connectionRef] = RmcConnection{request.from, request.clientRef};
    } else {
        m_rftConnections[connectionRef] = RftConnection{request.from, request.clientRef};
    }
    watch(request.from);
    TRACE(m_trace, 8, "%s: connection %u for client %u of 0x%x", nameOf(request.number),
          connectionRef, request.clientRef, request.from);
    answer(request.number, server, request.from,
           head(request.number + 1, sizeof(RadioSignalHead), request.clientRef, connectionRef));
}

void RadioUnitState::capabilities(const Request& request) {
    std::vector<radioSignals::Capability> records;
    if (!m_faults.zeroCapabilities && !m_config.ports.empty()) {
        radioSignals::Capability spectrum;
        spectrum.capabilityType = kRmciCapabilityEntries;
        spectrum.capabilityLength = 60;  // at least the stride of the load module's walk
        for (std::size_t i = 0; i < m_config.ports.size(); ++i) {
            const PortCapability& port = m_config.ports[i];
            radioSignals::CapabilityEntry entry;
            entry.entryId = static_cast<uint32_t>(i + 1);
            for (const FrequencyRange& range : port.ranges) {
                entry.ranges.push_back({{range.minFrequency, range.maxFrequency, range.flatGainBW,
                                         range.samplingRate, range.maxNumSamplings}});
            }
            if (port.trigger.present) {
                radioSignals::Trigger trigger;
                trigger.triggerIdentity = kRmciPowerTrigger;
                trigger.firstValue = static_cast<uint32_t>(port.trigger.minPower);
                trigger.secondValue = static_cast<uint32_t>(port.trigger.maxPower);
                entry.triggers.push_back(trigger);
            }
            spectrum.entries.push_back(std::move(entry));
        }
        records.push_back(std::move(spectrum));
    }
    answer(request.number, m_rmc, request.from,
           radioSignals::makeCapabilitiesCfm(request.clientRef, request.connectionRef, records));
}

uint16_t RadioUnitState::checkConfig(const RmciConfigReq& request, uint32_t& binCount,
                                     std::string& why) const {
    const RmciSamplingParameters& p = request.parameters;
    if (request.configVersion != 1 || request.configLength != sizeof(RmciSamplingParameters)) {
        why = traceFormat("configVersion %u, configLength %u", request.configVersion,
                          request.configLength);
        return kCauseMalformed;
    }
    if (p.portId < 1 || p.portId > m_config.ports.size()) {
        why = traceFormat("no port %u", p.portId);
        return kCauseUnknownPort;
    }
    if (p.samplingType > 2) {
        why = traceFormat("sampling type %u", p.samplingType);
        return kCauseSamplingType;
    }
    if (p.displayedBandwidth == 0 || p.resolutionBandwidth == 0 ||
        p.resolutionBandwidth > p.displayedBandwidth) {
        why = traceFormat("bandwidths %u and %u kHz", p.displayedBandwidth, p.resolutionBandwidth);
        return kCauseBandwidth;
    }
    binCount = p.displayedBandwidth / p.resolutionBandwidth;
    const uint32_t half = p.displayedBandwidth / 2;
    const uint64_t low = p.centerFrequency >= half ? p.centerFrequency - half : 0;
    const uint64_t high = low + p.displayedBandwidth;
    bool inRange = false;
    bool enoughBins = false;
    for (const FrequencyRange& range : m_config.ports[p.portId - 1].ranges) {
        if (p.centerFrequency >= half && range.minFrequency <= low && high <= range.maxFrequency) {
            inRange = true;
            enoughBins = enoughBins || binCount <= range.maxNumSamplings;
        }
    }
    if (!inRange) {
        why = traceFormat("%u kHz +- %u kHz is outside the port's ranges", p.centerFrequency, half);
        return kCauseFrequency;
    }
    if (!enoughBins) {
        why = traceFormat("%u bins are more than the port sweeps", binCount);
        return kCauseBandwidth;
    }
    if (p.samplingType == 2) {
        const PowerTrigger& trigger = m_config.ports[p.portId - 1].trigger;
        const int32_t level = static_cast<int32_t>(p.powerLevel);
        if (p.triggerIdentity != kRmciPowerTrigger || !trigger.present) {
            why = traceFormat("trigger identity %u on a port %s a power trigger", p.triggerIdentity,
                              trigger.present ? "with" : "without");
            return kCauseTrigger;
        }
        if (level < trigger.minPower || level > trigger.maxPower) {
            why = traceFormat("trigger level %d outside %d to %d", level, trigger.minPower,
                              trigger.maxPower);
            return kCauseTrigger;
        }
    }
    return 0;
}

void RadioUnitState::configure(union SIGNAL* signal, const Request& request,
                               RmcConnection& connection) {
    const RmciConfigReq* req = radioSignals::checkedLayout<RmciConfigReq>(signal, sigsize(&signal));
    if (req == nullptr) {
        reject(request, m_rmc, kCauseMalformed, "short configuration");
        return;
    }
    if (connection.measuring) {
        reject(request, m_rmc, kCauseBusy, "a measurement runs");
        return;
    }
    uint32_t binCount = 0;
    std::string why;
    const uint16_t cause = checkConfig(*req, binCount, why);
    if (cause != 0) {
        reject(request, m_rmc, cause, why);
        return;
    }
    connection.configured = true;
    connection.parameters = req->parameters;
    connection.binCount = binCount;
    TRACE(m_trace, 8, "RMCI_CONFIG_REQ: port %u, type %u, %u kHz +- %u kHz in %u bins",
          req->parameters.portId, req->parameters.samplingType, req->parameters.centerFrequency,
          req->parameters.displayedBandwidth / 2, binCount);
    answer(
        request.number, m_rmc, request.from,
        head(RMCI_CONFIG_CFM, sizeof(RadioSignalHead), request.clientRef, request.connectionRef));
}

void RadioUnitState::measure(union SIGNAL* signal, const Request& request,
                             RmcConnection& connection) {
    const RmciMeasureReq* req =
        radioSignals::checkedLayout<RmciMeasureReq>(signal, sigsize(&signal));
    if (req == nullptr) {
        reject(request, m_rmc, kCauseMalformed, "short measure request");
    } else if (!connection.configured) {
        reject(request, m_rmc, kCauseNotConfigured, "no configuration");
    } else if (req->portId != connection.parameters.portId) {
        reject(request, m_rmc, kCauseUnknownPort,
               traceFormat("port %u is not the configured %u", req->portId,
                           connection.parameters.portId));
    } else if (req->measurementType != 1) {
        reject(request, m_rmc, kCauseSamplingType,
               traceFormat("measurement type %u", req->measurementType));
    } else if (connection.measuring) {
        reject(request, m_rmc, kCauseBusy, "a measurement runs");
    } else {
        answer(request.number, m_rmc, request.from,
               head(RMCI_MEASURE_CFM, sizeof(RadioSignalHead), request.clientRef,
                    request.connectionRef));
        connection.measuring = true;
        connection.measurementId = m_nextMeasurementId++;
        uint64_t wait = m_config.measurementTimeMs;
        if (connection.parameters.samplingType == 2) {
            if (m_config.triggerDelayMs == kNever) {
                TRACE(m_trace, 8, "RMCI_MEASURE_REQ: waiting for a trigger that never fires");
                return;
            }
            wait += m_config.triggerDelayMs;
        }
        union SIGNAL* done =
            words(RADIO_HOST_MEASURED, request.connectionRef, connection.measurementId);
        connection.timer =
            request_tmo_sig(static_cast<OSTIME>(std::min<uint64_t>(wait, 0xFFFFFFF0u)), &done);
    }
}

void RadioUnitState::measured(uint32_t connectionRef, uint32_t measurementId) {
    const auto it = m_rmcConnections.find(connectionRef);
    if (it == m_rmcConnections.end() || !it->second.measuring ||
        it->second.measurementId != measurementId) {
        return;  // stopped or ended since
    }
    RmcConnection& connection = it->second;
    connection.measuring = false;
    connection.timer = 0;
    uint32_t fileRef = 0;
    if (m_faults.measurementStatus == RMC_MEASURE_STATUS_SUCCESS) {
        const RmciSamplingParameters& p = connection.parameters;
        SweepRequest sweep;
        sweep.portId = static_cast<uint16_t>(p.portId);
        sweep.samplingType = static_cast<uint16_t>(p.samplingType);
        sweep.centerFrequency = p.centerFrequency;
        sweep.displayedBandwidth = p.displayedBandwidth;
        sweep.binCount = connection.binCount;
        fileRef = m_nextFileRef++;
        ResultFile& file = m_files[fileRef];
        file.bytes = encodeSampleFile(makeSweep(m_config.spectrum, sweep, ++m_sweeps));
        file.checksum = fileChecksum(file.bytes);
        TRACE(m_trace, 8, "RMCI_MEASURE_IND: file %u of %zu bytes", fileRef, file.bytes.size());
        while (m_files.size() > kFilesKept) {
            m_files.erase(m_files.begin());
        }
    }
    union SIGNAL* ind =
        head(RMCI_MEASURE_IND, sizeof(RmciMeasureInd), connection.clientRef, connectionRef);
    RmciMeasureInd* out = reinterpret_cast<RmciMeasureInd*>(ind);
    out->measurementStatus = m_faults.measurementStatus;
    out->dataFileRef = fileRef;
    send_w_s(&ind, m_rmc, connection.client);
}

void RadioUnitState::stopMeasurement(const Request& request, RmcConnection& connection) {
    cancelMeasurement(connection);
    answer(request.number, m_rmc, request.from,
           head(RMCI_MEASURE_STOP_CFM, sizeof(RadioSignalHead), request.clientRef,
                request.connectionRef));
}

void RadioUnitState::cancelMeasurement(RmcConnection& connection) {
    if (connection.timer != 0) {
        union SIGNAL* timeout = cancel_tmo_sig(&connection.timer);
        if (timeout != nullptr) {
            free_buf(&timeout);
        }
    }
    connection.timer = 0;
    connection.measuring = false;
}

void RadioUnitState::fileCapabilities(const Request& request) {
    union SIGNAL* cfm = head(RFTI_GET_CAPABILITIES_CFM, sizeof(RftiGetCapabilitiesCfm),
                             request.clientRef, request.connectionRef);
    RftiGetCapabilitiesCfm* out = reinterpret_cast<RftiGetCapabilitiesCfm*>(cfm);
    out->firstCapability = kSampleFileVersion;  // the format of the files it serves
    out->secondCapability = 1;                  // transfers at a time on a connection
    out->thirdCapability = 0;
    out->blockSize = m_blockSize;
    answer(request.number, m_rft, request.from, cfm);
}

void RadioUnitState::getResult(union SIGNAL* signal, const Request& request,
                               RftConnection& connection) {
    const RftiGetResultReq* req =
        radioSignals::checkedLayout<RftiGetResultReq>(signal, sigsize(&signal));
    if (req == nullptr) {
        reject(request, m_rft, kCauseMalformed, "short result request");
        return;
    }
    const auto file = m_files.find(req->dataFileRef);
    if (file == m_files.end()) {
        reject(request, m_rft, kCauseUnknownFile, traceFormat("no file %u", req->dataFileRef));
        return;
    }
    // The unit's own block size unless the client asks for smaller blocks.
    const uint32_t blockSize =
        req->blockSize >= 1 && req->blockSize <= m_blockSize ? req->blockSize : m_blockSize;
    const uint32_t fileSize = static_cast<uint32_t>(file->second.bytes.size());
    connection.fileRef = req->dataFileRef;
    connection.blockSize = blockSize;
    connection.totalBlocks = (fileSize + blockSize - 1) / blockSize;
    connection.sent = 0;
    union SIGNAL* cfm = head(RFTI_GET_RESULT_CFM, sizeof(RftiGetResultCfm), request.clientRef,
                             request.connectionRef);
    RftiGetResultCfm* out = reinterpret_cast<RftiGetResultCfm*>(cfm);
    out->fileSize = fileSize;
    out->blockSize = blockSize;
    out->totalNoOfBlocks = connection.totalBlocks;
    out->checksum = file->second.checksum + (m_faults.badChecksum ? 1u : 0u);
    TRACE(m_trace, 8, "RFTI_GET_RESULT_REQ: file %u, %u bytes in %u blocks", req->dataFileRef,
          fileSize, connection.totalBlocks);
    answer(request.number, m_rft, request.from, cfm);
    sendBlock(request.connectionRef, connection, request.number);
}

void RadioUnitState::acknowledged(union SIGNAL* signal, const Request& request,
                                  RftConnection& connection) {
    const RftiGetResultAck* ack =
        radioSignals::checkedLayout<RftiGetResultAck>(signal, sigsize(&signal));
    if (ack == nullptr || connection.fileRef == 0 || ack->seqNumber != connection.sent) {
        TRACE(m_trace, 1,
              "RFTI_GET_RESULT_ACK of block %u from 0x%x, which waits for none, dropped",
              ack != nullptr ? ack->seqNumber : 0, request.from);
        return;
    }
    if (connection.sent == connection.totalBlocks) {
        TRACE(m_trace, 8, "RFTI_GET_RESULT_ACK: file %u sent", connection.fileRef);
        connection.fileRef = 0;
        return;
    }
    sendBlock(request.connectionRef, connection, request.number);
}

void RadioUnitState::sendBlock(uint32_t connectionRef, RftConnection& connection,
                               SIGSELECT answering) {
    const auto file = m_files.find(connection.fileRef);
    if (file == m_files.end()) {
        TRACE(m_trace, 1, "RFTI: file %u was dropped during its transfer", connection.fileRef);
        connection.fileRef = 0;
        return;
    }
    const uint32_t seqNumber = connection.sent + 1;
    const std::size_t offset = static_cast<std::size_t>(seqNumber - 1) * connection.blockSize;
    const std::vector<uint8_t>& bytes = file->second.bytes;
    const std::size_t length = std::min<std::size_t>(connection.blockSize, bytes.size() - offset);
    // Every byte is written once: the fixed part, then the block straight from the file.
    union SIGNAL* data =
        alloc(static_cast<OSBUFSIZE>(RftiGetResultData::dataOffset + length), RFTI_GET_RESULT_DATA);
    RftiGetResultData* fixed = reinterpret_cast<RftiGetResultData*>(data);
    fixed->clientRef = connection.clientRef;
    fixed->connectionRef = connectionRef;
    fixed->seqNumber = seqNumber;
    std::memcpy(reinterpret_cast<uint8_t*>(data) + RftiGetResultData::dataOffset,
                bytes.data() + offset, length);
    connection.sent = seqNumber;
    answer(answering, m_rft, connection.client, data);
    if (m_faults.dieAfterBlock == seqNumber) {
        rftServerDies();  // ends connection too
    }
}

void RadioUnitState::rftServerDies() {
    TRACE(m_trace, 4, "%sRftServer dies on request, with %zu connections", m_prefix.c_str(),
          m_rftConnections.size());
    kill_proc(m_rft);
    m_rftConnections.clear();
    m_rft = createServerPhantom(m_prefix + "RftServer", m_self);
}

void RadioUnitState::setFaults(union SIGNAL* signal, PROCESS from) {
    uint32_t malformed = 1;
    if (sigsize(&signal) >= 4 + sizeof(RadioFaults)) {
        std::memcpy(&m_faults, reinterpret_cast<uint8_t*>(signal) + 4, sizeof m_faults);
        m_faults.rejectText[sizeof m_faults.rejectText - 1] = '\0';
        malformed = 0;
    } else {
        TRACE(m_trace, 1, "RADIO_HOST_SET_FAULTS_REQ of %u bytes from 0x%x dropped",
              sigsize(&signal), from);
    }
    union SIGNAL* cfm = words(RADIO_HOST_SET_FAULTS_CFM, malformed, m_rft);
    send(&cfm, from);
}

void RadioUnitState::answer(SIGSELECT request, PROCESS server, PROCESS to, union SIGNAL* reply) {
    if (m_faults.slowRequest != request || m_faults.slowRequest == 0) {
        send_w_s(&reply, server, to);
        return;
    }
    if (m_faults.answerDelayMs == kNever) {
        TRACE(m_trace, 4, "the answer to %s is not sent, on request", nameOf(request));
        free_buf(&reply);
        return;
    }
    const uint32_t id = m_nextHeld++;
    m_held[id] = HeldAnswer{reply, server, to};
    union SIGNAL* due = words(RADIO_HOST_ANSWER_DUE, id, 0);
    request_tmo_sig(m_faults.answerDelayMs, &due);
}

void RadioUnitState::reject(const Request& request, PROCESS server, uint16_t cause,
                            const std::string& text) {
    TRACE(m_trace, 4, "%s from 0x%x rejected (%u): %s", nameOf(request.number), request.from, cause,
          text.c_str());
    radioSignals::RejectInfo info;
    info.supportedProtocolRev = kRadioProtocolRev;
    info.errorCode = cause;
    info.errorDescription = text;
    const bool establishing =
        request.number == RMCI_CONN_ESTABLISH_REQ || request.number == RFTI_CONN_ESTABLISH_REQ;
    answer(request.number, server, request.from,
           radioSignals::makeReject(rejectionOf(request.number), request.clientRef,
                                    establishing ? kConnectionWordEstablish : request.connectionRef,
                                    info));
}

void RadioUnitState::watch(PROCESS client) {
    if (m_watched.count(client) == 0) {
        m_watched[client] = attach(nullptr, client);
    }
}

void RadioUnitState::clientEnded(PROCESS client) {
    if (m_watched.erase(client) == 0) {
        return;
    }
    for (auto it = m_rmcConnections.begin(); it != m_rmcConnections.end();) {
        if (it->second.client == client) {
            cancelMeasurement(it->second);
            it = m_rmcConnections.erase(it);
        } else {
            ++it;
        }
    }
    for (auto it = m_rftConnections.begin(); it != m_rftConnections.end();) {
        it = it->second.client == client ? m_rftConnections.erase(it) : std::next(it);
    }
    TRACE(m_trace, 4, "%sRadioUnit: client 0x%x ended, its connections dropped", m_prefix.c_str(),
          client);
}

}  // namespace hostradio
