// ULSpectrumAnalyzerImpl: the object as the management layer sees it: the actions,
// their parameters and answers, and the attributes info and ulSpectrumSamplingStatus.
// The run that an action sets going is in ULSpectrumAnalyzerRun.cpp.
#include "ULSpectrumAnalyzerImpl.h"

#include "FroCallbackIf.h"
#include "IndHandlerApi.h"
#include "LdnText.h"
#include "froMgr.h"
#include "radioSignalReader.h"
#include "rftiSig.h"
#include "rmciSig.h"
#include "ulsaCtrlTrace.h"
#include "ulsaSig.h"
#include "ulsaTriggerTime.h"
#include "xmlStringUtils.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

namespace {

const char* const kInfo = "info";
const char* const kStatus = "ulSpectrumSamplingStatus";

/// The value as the object reads it: every ";" a blank, then XML-unescaped.
std::string parameterValue(const Attribute& parameter) {
    std::string value = parameter.value;
    std::replace(value.begin(), value.end(), ';', ' ');
    return unescapeXml(value);
}

/// The value of the first parameter of that name.
bool findParameter(const Attributes& parameters, const char* name, std::string& value) {
    for (const Attribute& parameter : parameters) {
        if (parameter.name == name) {
            value = parameterValue(parameter);
            return true;
        }
    }
    return false;
}

/// The C library's text-to-integer reading: no number gives 0, and a number out of
/// range is cut as atoi cuts it (strtol saturates, then the word is taken).
uint32_t toNumber(const std::string& text) {
    return static_cast<uint32_t>(std::strtol(text.c_str(), nullptr, 10));
}

bool isPortLetter(char letter) {
    return letter >= 'A' && letter <= 'H';
}

/// Seconds since the local midnight.
int32_t localTimeOfDay() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
}

/// What the capability reply tells of one RF port: one entry of a type 1 record.
struct PortCapability {
    uint32_t carrierRfPort = 0;
    uint32_t numSpectrumTypes = 0;
    uint32_t numTriggerTypes = 0;
    uint32_t minPower = 0;
    uint32_t maxPower = 0;
    uint32_t triggerDataDefined = 0;
    std::vector<RmciRange> ranges;
};

/// The columns of a range row, in the order of the reply, with the word of the range
/// record that each is read from.
struct RangeColumn {
    const char* name;
    std::size_t word;
};
const RangeColumn kRangeColumns[] = {{"flatGainBW", 2},
                                     {"maxFrequency", 1},
                                     {"maxNumSamplings", 4},
                                     {"minFrequency", 0},
                                     {"samplingRate", 3}};

std::string arrayText(const RangeColumn& column, int port,
                      const std::vector<const RmciRange*>& rows) {
    std::string text = "<array name=\"" + std::string(column.name) + std::to_string(port) + "\">\n";
    for (const RmciRange* row : rows) {
        text += "<attr type=\"U32\" value=\"" + std::to_string(row->words[column.word]) + "\"/>\n";
    }
    text += "</array>";
    return text;
}

}  // namespace

ULSpectrumAnalyzerImpl::ULSpectrumAnalyzerImpl()
    : m_rmciFactory(defaultRmciClientFactory),
      m_rftiFactory(defaultRftiClientFactory),
      m_currentAction(ACTION_NONE),
      m_samplingParameters(),
      m_samplingInterval(0),
      m_powerLevel(0),
      m_callback(nullptr),
      m_dataFileRef(0),
      m_rftiCapabilities(),
      m_firstCapability(),
      m_actionAnswered(false),
      m_ftpInProgress(false),
      m_recovery(false),
      m_stopAfterUpload(false),
      m_stopped(false),
      m_timeOfDay(localTimeOfDay) {
    m_actionResult.result = 0;
    m_actionResult.actionName = "No Action";
    m_actionResult.errorText = "No action requested!";
    gff::v1::getIndHandlerApi()->registerClient(this);
}

ULSpectrumAnalyzerImpl::~ULSpectrumAnalyzerImpl() {
    gff::v1::getIndHandlerApi()->deregisterClient(this);
    if (m_callback != nullptr) {
        ULSA_TRACE(4, "action of %s on MO(%s) aborted: the object is deleted",
                   m_actionResult.actionName.c_str(), m_ownLdn.c_str());
        answer(kResultUnknownAction, "Action abort");
    }
    endRun();
}

fRO* ULSpectrumAnalyzerImpl::create() {
    return new ULSpectrumAnalyzerImpl();
}

std::string ULSpectrumAnalyzerImpl::getInterfaceName() {
    return "UlSpectrumAnalyzer";
}

std::string ULSpectrumAnalyzerImpl::getSubjectName() const {
    return "UlSpectrumAnalyzer";
}

void ULSpectrumAnalyzerImpl::performAction(const std::string& command, const Attributes& parameters,
                                           FroCallbackIf* callback) {
    ULSA_TRACE(2, "ULSpectrumAnalyzerImpl::performAction(command=%s)", command.c_str());
    // Also for a request that is then refused: a run that goes on loses these two.
    m_actionAnswered = false;
    m_recovery = false;
    m_actionResult.actionName = command;
    m_actionResult.result = 0;
    m_actionResult.errorText.clear();
    m_actionResult.attrNames.clear();
    m_actionResult.attrTypes.clear();
    m_actionResult.attrValues.clear();

    m_ownLdn = froMgr::instance().getLdn(fRO::getFroId());
    if (getS32AttrValue(kInfo) != 0) {
        setAttributeAndNotify(kInfo, 0);
    }

    ULSA_TRACE(4, "handleActionReq : %s", command.c_str());
    if (command == "getUlsaSamplingCapability") {
        getUlsaSamplingCapability(parameters, callback);
    } else if (command == "startUlsaSampling") {
        startUlsaSampling(parameters, callback);
    } else if (command == "stopUlsaSampling") {
        stopUlsaSampling(parameters, callback);
    } else {
        ULSA_TRACE(4, "action of %s on MO(%s) not supported", command.c_str(), m_ownLdn.c_str());
        m_actionResult.result = kResultUnknownAction;
        m_actionResult.errorText = "Action " + command + " not supported!";
        if (callback != nullptr) {
            callback->actionCompleted(this, m_actionResult);
        }
    }
    ULSA_TRACE(3, "ULSpectrumAnalyzerImpl::performAction returned");
}

void ULSpectrumAnalyzerImpl::refuseBusy(FroCallbackIf* callback) {
    ULSA_TRACE(4, "Action already in active on MO(%s)", m_ownLdn.c_str());
    m_actionResult.result = kResultBusy;
    m_actionResult.errorText = "Action already in active";
    if (callback != nullptr) {
        callback->actionCompleted(this, m_actionResult);
    }
}

void ULSpectrumAnalyzerImpl::getUlsaSamplingCapability(const Attributes& parameters,
                                                       FroCallbackIf* callback) {
    if (m_callback != nullptr) {
        refuseBusy(callback);
        return;
    }
    m_currentAction = ACTION_GET_CAPABILITY;
    m_callback = callback;
    m_targetRadioUnit.clear();
    if (!findParameter(parameters, "targetRadioUnit", m_targetRadioUnit)) {
        ULSA_TRACE(1, "performAction Could not find targetRadioUnit");
        ULSA_TRACE(1, "Could not find targetRadioUnit for action<%s>",
                   m_actionResult.actionName.c_str());
        actionFailed("Could not find targetRadioUnit", kResultFailed);
        return;
    }
    ULSA_TRACE(4, "action of %s on MO(%s) started, target RU: %s",
               m_actionResult.actionName.c_str(), m_ownLdn.c_str(), m_targetRadioUnit.c_str());
    startRmciClient();
}

void ULSpectrumAnalyzerImpl::startUlsaSampling(const Attributes& parameters,
                                               FroCallbackIf* callback) {
    if (m_callback != nullptr) {
        refuseBusy(callback);
        return;
    }
    m_currentAction = ACTION_START_SAMPLING;
    m_callback = callback;
    // A failed parse has ended the run and answered the action; the steps below still
    // run, on an object without a run: the status shows 1 again, and a client is
    // made that works without a callback until it fails or a later action comes.
    parseStartParameters(parameters);
    setAttributeAndNotify(kStatus, STATUS_RUNNING);
    setS32AttrValue("samplingType", static_cast<int32_t>(m_samplingParameters.samplingType));
    setAttrValue("targetRfPort", m_targetRfPort);
    if (startRmciClient()) {
        startSamplingTypeTimer();
    }
}

void ULSpectrumAnalyzerImpl::parseStartParameters(const Attributes& parameters) {
    // Nothing of a former run counts: what is not given is empty or 0.
    m_targetRfPort.clear();
    m_targetRadioUnit.clear();
    m_username.clear();
    m_password.clear();
    m_ipAddress.clear();
    m_uploadDirectory.clear();
    m_triggerTimeOfDay.clear();
    m_samplingInterval = 0;
    m_powerLevel = 0;
    m_samplingParameters = RmciSamplingParameters();

    for (const Attribute& parameter : parameters) {
        const std::string& name = parameter.name;
        const std::string value = parameterValue(parameter);
        if (name == "targetRfPort") {
            m_targetRfPort = value;
        } else if (name == "ipAddress") {
            m_ipAddress = value;
        } else if (name == "uploadDirectory") {
            m_uploadDirectory = value;
        } else if (name == "username") {
            m_username = value;
        } else if (name == "password") {
            m_password = value;
        } else if (name == "samplingType") {
            m_samplingParameters.samplingType = toNumber(value);
        } else if (name == "centerFrequency") {
            m_samplingParameters.centerFrequency = toNumber(value);
        } else if (name == "displayedBandwidth") {
            m_samplingParameters.displayedBandwidth = toNumber(value);
        } else if (name == "resolutionBandwidth") {
            m_samplingParameters.resolutionBandwidth = toNumber(value);
        } else if (name == "samplingTimeout") {
            m_samplingParameters.samplingTimeout = toNumber(value) * 1000u;
        } else if (name == "samplingInterval") {
            m_samplingInterval = toNumber(value);
        } else if (name == "triggerTimeOfDay") {
            m_triggerTimeOfDay = value;
        } else if (name == "powerLevel") {
            m_powerLevel = toNumber(value);
        }
    }

    if (m_samplingParameters.samplingType == 2 && ulsaIsPowerTrigger(m_triggerTimeOfDay)) {
        m_samplingParameters.triggerIdentity = kRmciPowerTrigger;
        m_samplingParameters.triggerLength = 20;
        m_samplingParameters.powerLevel = m_powerLevel;
    }
    if (m_targetRfPort.empty()) {
        ULSA_TRACE(0, "Failed to get AuxPlugInUnit from LDN(%s) ", m_targetRfPort.c_str());
        actionFailed("Invalid action parameter(s)", kResultFailed);
        return;
    }
    m_targetRadioUnit = getParentLdn(getParentLdn(m_targetRfPort));
    const char port = m_targetRfPort.back();
    m_samplingParameters.portId = static_cast<uint32_t>(static_cast<int>(port) - 64);
    if (!isPortLetter(port)) {
        // The text names "F" as the last port; the radio unit has eight, up to "H".
        ULSA_TRACE(0, "Invalid RfPort Id(%c), the valid number is from 'A 'to 'F' ", port);
        actionFailed("Invalid action parameter(s)", kResultFailed);
    }
}

void ULSpectrumAnalyzerImpl::stopUlsaSampling(const Attributes& parameters,
                                              FroCallbackIf* callback) {
    if (m_callback == nullptr) {
        ULSA_TRACE(4, "No active action is ongoing on MO(%s)", m_ownLdn.c_str());
        if (callback != nullptr) {
            callback->actionCompleted(this, m_actionResult);
        }
        return;
    }
    // The start action has been answered by now, or its answer is forgotten.
    m_currentAction = ACTION_STOP_SAMPLING;
    m_callback = callback;
    std::string rfPort;
    if (!findParameter(parameters, "targetRfPort", rfPort)) {
        ULSA_TRACE(1, "Could not find targetRfPort for action<%s>",
                   m_actionResult.actionName.c_str());
        actionFailed("Could not find targetRfPort", kResultFailed);
        return;
    }
    const char port = rfPort.empty() ? '\0' : rfPort.back();
    if (!isPortLetter(port)) {
        ULSA_TRACE(0, "Invalid RfPort Id(%c), the valid number is from 'A 'to 'F' ", port);
        actionFailed("Invalid action parameter(s)", kResultFailed);
        return;
    }
    // The port is not compared with the run's: the stop goes to the port it names.
    if (m_rmciClient) {
        m_rmciClient->stopUlsaSampling(static_cast<uint32_t>(port - 64));
    }
}

void ULSpectrumAnalyzerImpl::answerCapabilities(union SIGNAL* signal) {
    ULSA_TRACE(4, "action of %s on MO(%s) succeed, target RU: %s",
               m_actionResult.actionName.c_str(), m_ownLdn.c_str(), m_targetRadioUnit.c_str());
    const OSBUFSIZE size = signal != nullptr ? sigsize(&signal) : 0;
    const RmciGetCapabilitiesCfm* cfm =
        radioSignals::checkedLayout<RmciGetCapabilitiesCfm>(signal, size);
    std::vector<radioSignals::Capability> capabilities;
    if (cfm == nullptr || (cfm->noOfCapabilities != 0 &&
                           !radioSignals::readCapabilities(signal, size, capabilities))) {
        ULSA_TRACE(1, "RMCI_GET_CAPABILITIES_CFM of %u bytes is malformed",
                   static_cast<unsigned>(size));
        setInfoFromError(0, 8);
        actionFailed("Communication error(RMCI_GET_CAPABILITIES_CFM) with RMCI Server",
                     kResultFailed);
        return;
    }

    std::vector<PortCapability> ports;
    if (cfm->noOfCapabilities != 0) {
        const std::size_t first = RmciGetCapabilitiesCfm::firstRecordOffset;
        std::memset(m_firstCapability, 0, sizeof m_firstCapability);
        std::memcpy(m_firstCapability, reinterpret_cast<const uint8_t*>(signal) + first,
                    std::min<std::size_t>(sizeof m_firstCapability, size - first));
    }
    for (const radioSignals::Capability& capability : capabilities) {
        if (capability.capabilityType == kRmciCapabilityOpaque) {
            continue;
        }
        if (capability.capabilityType != kRmciCapabilityEntries) {
            ULSA_TRACE(0, "Unknown capability %d:\n", capability.capabilityType);
            continue;
        }
        for (const radioSignals::CapabilityEntry& entry : capability.entries) {
            PortCapability port;
            port.carrierRfPort = entry.entryId;
            port.numSpectrumTypes = static_cast<uint32_t>(entry.ranges.size());
            port.numTriggerTypes = static_cast<uint32_t>(entry.triggers.size());
            port.ranges = entry.ranges;
            for (const radioSignals::Trigger& trigger : entry.triggers) {
                if (trigger.triggerIdentity == kRmciPowerTrigger) {
                    port.triggerDataDefined = 1;
                    port.minPower = trigger.firstValue;
                    port.maxPower = trigger.secondValue;
                } else {
                    ULSA_TRACE(4, "WRONG trigger identity (%d) received!\n",
                               trigger.triggerIdentity);
                }
            }
            ports.push_back(port);
        }
        if (capability.entries.size() == 1) {
            ports.emplace_back();
        }
    }
    // Without capabilities both ports have only zeros.
    while (ports.size() < 2) {
        ports.emplace_back();
    }

    for (int portNo = 1; portNo <= 2; ++portNo) {
        const PortCapability& port = ports[static_cast<std::size_t>(portNo - 1)];
        // The first array has the first port's rows, the second every row behind them.
        std::vector<const RmciRange*> rows;
        for (std::size_t i = static_cast<std::size_t>(portNo - 1);
             i < (portNo == 1 ? 1 : ports.size()); ++i) {
            for (const RmciRange& range : ports[i].ranges) {
                rows.push_back(&range);
            }
        }
        const std::string suffix = std::to_string(portNo);
        auto add = [this, &suffix](const char* name, const char* type, const std::string& value) {
            m_actionResult.attrNames.push_back(name + suffix);
            m_actionResult.attrTypes.push_back(type);
            m_actionResult.attrValues.push_back(value);
        };
        add("carrierRfPort", "S32", std::to_string(static_cast<int32_t>(port.carrierRfPort)));
        add("numSpectrumTypes", "S32", std::to_string(static_cast<int32_t>(port.numSpectrumTypes)));
        add("numTriggerTypes", "S32", std::to_string(static_cast<int32_t>(port.numTriggerTypes)));
        if (port.numSpectrumTypes != 0) {
            for (const RangeColumn& column : kRangeColumns) {
                add(column.name, "array", arrayText(column, portNo, rows));
            }
        }
        add("minPower", "S64", std::to_string(static_cast<int64_t>(port.minPower)));
        add("maxPower", "S64", std::to_string(static_cast<int64_t>(port.maxPower)));
        add("trigger1DataDefined", "S32", std::to_string(port.triggerDataDefined));
    }

    if (m_callback != nullptr) {
        m_callback->actionCompleted(this, m_actionResult);
        endRun();
        ULSA_TRACE(4, "action of %s on MO(%s) succeed return, target RU: %s",
                   m_actionResult.actionName.c_str(), m_ownLdn.c_str(), m_targetRadioUnit.c_str());
    }
}

void ULSpectrumAnalyzerImpl::actionFailed(const std::string& text, uint32_t code) {
    ULSA_TRACE(2, "ULSpectrumAnalyzerImpl::actionFailed(text=%s, code=0x%x)", text.c_str(), code);
    switch (m_currentAction) {
        case ACTION_GET_CAPABILITY:
            ULSA_TRACE(1, "action of %s on MO(%s) failed, target RU: %s, error cause: %s",
                       m_actionResult.actionName.c_str(), m_ownLdn.c_str(),
                       m_targetRadioUnit.c_str(), text.c_str());
            answer(code, text);
            endRun();
            break;
        case ACTION_START_SAMPLING:
        case ACTION_STOP_SAMPLING:
            ULSA_TRACE(1, "action of %s on MO(%s) failed, target RfPort: %s, error cause: %s",
                       m_actionResult.actionName.c_str(), m_ownLdn.c_str(), m_targetRfPort.c_str(),
                       text.c_str());
            // Only the first failure of a start is answered; a stop is always answered.
            if (m_currentAction == ACTION_STOP_SAMPLING || !m_actionAnswered) {
                answer(code, text);
            }
            setAttributeAndNotify(kStatus, STATUS_FAILED);
            endRun();
            break;
        default:
            ULSA_TRACE(1, "Unsupported action(%d) failed", static_cast<int>(m_currentAction));
            break;
    }
}

void ULSpectrumAnalyzerImpl::answer(uint32_t result, const std::string& errorText) {
    m_actionResult.result = result;
    m_actionResult.errorText = errorText;
    if (m_callback != nullptr) {
        m_callback->actionCompleted(this, m_actionResult);
    }
}

void ULSpectrumAnalyzerImpl::setInfoFromError(uint32_t sigNo, uint32_t errorCode) {
    ULSA_TRACE(2, "ULSpectrumAnalyzerImpl::setInfoFromError(sigNo=0x%x, errorCode=%u)", sigNo,
               errorCode);
    int32_t info = 0;
    bool supported = true;
    if (m_currentAction == ACTION_START_SAMPLING || m_currentAction == ACTION_STOP_SAMPLING) {
        switch (sigNo) {
            case 0:  // a failure found in this system: the code is the value
                info = static_cast<int32_t>(errorCode);
                break;
            case RMCI_CONN_ESTABLISH_REJ:
            case RFTI_CONN_ESTABLISH_REJ:
                supported = errorCode == 1 || errorCode == 2;
                info = errorCode == 1 ? 7 : errorCode == 2 ? 8 : 0;
                break;
            case RMCI_CONFIG_REJ:
            case RFTI_GET_RESULT_REJ:
                supported = errorCode == 1 || errorCode == 2;
                info = errorCode == 1 ? 7 : errorCode == 2 ? 1 : 0;
                break;
            case RMCI_MEASURE_REJ:
                supported = errorCode == 1 || errorCode == 2;
                info = errorCode == 1 ? 7 : errorCode == 2 ? 5 : 0;
                break;
            case RMCI_MEASURE_IND:
                if (errorCode == RMC_MEASURE_STATUS_FAILURE) {
                    info = 7;
                } else if (errorCode == RMC_MEASURE_STATUS_TIMEOUT) {
                    const uint32_t type = m_samplingParameters.samplingType;
                    info = type == 0 ? 7 : type == 2 ? 4 : 0;
                } else {
                    supported = false;
                }
                break;
            case ULSA_RMCI_SERVER_ATTACH_IND:
            case ULSA_RFTI_SERVER_ATTACH_IND:
                info = 8;
                break;
            default:
                break;
        }
    }
    if (!supported) {
        ULSA_TRACE(1, "unsupported error code(%u) in sig no(%d)", errorCode,
                   static_cast<int>(sigNo));
    }
    setAttributeAndNotify(kInfo, info);
}

void ULSpectrumAnalyzerImpl::setAttributeAndNotify(const std::string& name, int32_t value) {
    setS32AttrValue(name, value);
    sendParamChangedInd(name);
}

void ULSpectrumAnalyzerImpl::sendParamChangedInd(const std::string& name) {
    const std::string value = getAttrValue(name);
    const Attributes changed{Attribute(name, "S32", value)};
    ULSA_TRACE(4, "sendParamChangedInd is sent from '%s' with name %s and value %s",
               m_ownLdn.c_str(), name.c_str(), value.c_str());
    gff::v1::getIndHandlerApi()->sendParamChdInd(getExternalFroId(), getFroType(), m_ownLdn,
                                                 changed);
}

void ULSpectrumAnalyzerImpl::indHandlerSubscribeEvent(uint32_t subscribedType, uint32_t client) {
    ULSA_TRACE(4, "Received indHandlerSubscribeEvent. m_ownLdn=%s froType=%u client=%u",
               m_ownLdn.c_str(), subscribedType, client);
}

void ULSpectrumAnalyzerImpl::subscriberAdded(uint32_t subscribedType, uint32_t pid) {
    indHandlerSubscribeEvent(subscribedType, pid);
}

uint32_t ULSpectrumAnalyzerImpl::currentAction() {
    return m_currentAction;
}

RmciSamplingParameters ULSpectrumAnalyzerImpl::getSamplingParameters() {
    return m_samplingParameters;
}

uint32_t ULSpectrumAnalyzerImpl::getFroId() {
    return static_cast<uint32_t>(fRO::getFroId());
}

std::string ULSpectrumAnalyzerImpl::getTriggerTimeOfDay() {
    return m_triggerTimeOfDay;
}

uint32_t ULSpectrumAnalyzerImpl::getPowerLevel() {
    return m_powerLevel;
}

bool ULSpectrumAnalyzerImpl::isRecovery() {
    return m_recovery;
}

void ULSpectrumAnalyzerImpl::setRecovery(bool recovery) {
    m_recovery = recovery;
}

std::string ULSpectrumAnalyzerImpl::getTargetRfPort() {
    return m_targetRfPort;
}

void ULSpectrumAnalyzerImpl::getFtpParameters(std::string& username, std::string& password,
                                              std::string& ipAddress,
                                              std::string& uploadDirectory) {
    username = m_username;
    password = m_password;
    ipAddress = m_ipAddress;
    uploadDirectory = m_uploadDirectory;
}

void ULSpectrumAnalyzerImpl::setFtpInProgress(bool inProgress) {
    m_ftpInProgress = inProgress;
}

void ULSpectrumAnalyzerImpl::swapRmciFactory(RmciClientFactory& factory) {
    std::swap(m_rmciFactory, factory);
}

void ULSpectrumAnalyzerImpl::swapRftiFactory(RftiClientFactory& factory) {
    std::swap(m_rftiFactory, factory);
}

void ULSpectrumAnalyzerImpl::swapTimeOfDaySource(TimeOfDaySource& source) {
    std::swap(m_timeOfDay, source);
}
