// The sampling run of ULSpectrumAnalyzerImpl: what the clients report, the decision
// after each file, the timers, a lost connection, the stop and the end of the run.
//
// The run has no state variable: its phase follows from m_callback, m_currentAction
// and the flags m_actionAnswered, m_ftpInProgress, m_recovery, m_stopAfterUpload and
// m_stopped. The start action is answered at the capability reply; from then on the
// run shows itself only in ulSpectrumSamplingStatus and info.
#include "MapTimer.h"
#include "FroCallbackIf.h"
#include "ULSpectrumAnalyzerImpl.h"
#include "ulsaCtrlTrace.h"
#include "ulsaSig.h"
#include "ulsaTriggerTime.h"

#include <climits>
#include <cstdlib>

namespace {

const char* const kInfo = "info";
const char* const kStatus = "ulSpectrumSamplingStatus";

constexpr uint32_t kRecoveryDelayMs = 30000;
constexpr int32_t kSecondsPerDay = 86400;

/// Reads up to three integers divided by ":" as sscanf's "%d:%d:%d" does; the
/// number of fields read. A number out of range is cut to the range of int.
int scanTimeFields(const std::string& text, int64_t fields[3]) {
    const char* cursor = text.c_str();
    int count = 0;
    for (; count < 3; ++count) {
        if (count > 0) {
            if (*cursor != ':') {
                break;
            }
            ++cursor;
        }
        char* end = nullptr;
        const long value = std::strtol(cursor, &end, 10);
        if (end == cursor) {
            break;
        }
        fields[count] = value < INT_MIN ? INT_MIN : value > INT_MAX ? INT_MAX : value;
        cursor = end;
    }
    return count;
}

}  // namespace

void ULSpectrumAnalyzerImpl::actionSuccess(union SIGNAL* signal) {
    ULSA_TRACE(2, "ULSpectrumAnalyzerImpl::actionSuccess(signal=%s, action=%u)",
               signal != nullptr ? "given" : "none", m_currentAction);
    m_actionAnswered = true;
    switch (m_currentAction) {
        case ACTION_GET_CAPABILITY:
            answerCapabilities(signal);
            break;
        case ACTION_STOP_SAMPLING:
            stopConfirmed();
            break;
        case ACTION_START_SAMPLING:
            if (signal != nullptr) {
                // The capability reply: the start action is answered here, long before
                // the first sampling; the run goes on with the callback kept.
                m_actionResult.result = 0;
                if (m_callback != nullptr) {
                    m_callback->actionCompleted(this, m_actionResult);
                }
            } else {
                fileDone();
            }
            break;
        default:
            ULSA_TRACE(1, "actionSuccess without an action (%u)", m_currentAction);
            break;
    }
}

void ULSpectrumAnalyzerImpl::fileDone() {
    const uint32_t type = m_samplingParameters.samplingType;
    if (type == 0 || type == 2) {
        ULSA_TRACE(4, "action of %s on MO(%s) succeed, target RfPort: %s",
                   m_actionResult.actionName.c_str(), m_ownLdn.c_str(), m_targetRfPort.c_str());
        setAttributeAndNotify(kStatus, STATUS_ENDED);
        endRun();
        return;
    }
    if (type != 1) {
        return;  // an unknown type has no decision: the run stays open
    }
    if (m_stopAfterUpload) {
        setAttributeAndNotify(kStatus, STATUS_ENDED);
        endRun();
        return;
    }
    if (m_recovery) {
        failRun(8);
        return;
    }
    if (m_rmciClient) {
        m_rmciClient->setMeasurementIndReceived(false);
    }
    if (m_stopped) {
        setAttributeAndNotify(kStatus, STATUS_ENDED);
        endRun();
        return;
    }
    // Each file of a continuous run shows as status 2 and back to 1.
    setAttributeAndNotify(kStatus, STATUS_ENDED);
    if (m_samplingInterval == 0) {
        setAttributeAndNotify(kStatus, STATUS_RUNNING);
        startRmciMeasurement(m_rftiCapabilities);
    } else {
        setTimer(TIMER_INTERVAL, m_samplingInterval * 1000u);
        setAttributeAndNotify(kStatus, STATUS_RUNNING);
    }
}

void ULSpectrumAnalyzerImpl::stopConfirmed() {
    ULSA_TRACE(4, "action of %s on MO(%s) succeed, target RfPort: %s",
               m_actionResult.actionName.c_str(), m_ownLdn.c_str(), m_targetRfPort.c_str());
    m_stopped = true;
    if (m_callback != nullptr) {
        m_callback->actionCompleted(this, m_actionResult);
    }
    if (m_rmciClient && m_rmciClient->isMeasurementIndReceived()) {
        // A result is under way: the run drains through the end of its upload.
        m_currentAction = ACTION_START_SAMPLING;
        return;
    }
    setAttributeAndNotify(kStatus, STATUS_ENDED);
    endRun();
}

void ULSpectrumAnalyzerImpl::failRun(int32_t info) {
    setAttributeAndNotify(kInfo, info);
    setAttributeAndNotify(kStatus, STATUS_FAILED);
    endRun();
}

bool ULSpectrumAnalyzerImpl::startRmciClient() {
    if (!m_rmciClient) {
        m_rmciClient.reset(m_rmciFactory ? m_rmciFactory(this) : nullptr);
    }
    if (!m_rmciClient) {
        ULSA_TRACE(1, "No RMCI client for MO(%s)", m_ownLdn.c_str());
        setInfoFromError(0, 8);
        actionFailed("Communication error(no RMCI client) with RMCI Server", kResultFailed);
        return false;
    }
    m_rmciClient->init();
    if (m_rmciClient) {
        m_rmciClient->subscribeToService(m_targetRadioUnit);
    }
    return true;
}

void ULSpectrumAnalyzerImpl::startRftiClient(const std::string& dcControllerName) {
    ULSA_TRACE(4, "startRftiClient");
    if (!m_rftiClient) {
        m_rftiClient.reset(m_rftiFactory ? m_rftiFactory(this) : nullptr);
    }
    if (!m_rftiClient) {
        ULSA_TRACE(1, "No RFTI client for MO(%s)", m_ownLdn.c_str());
        setInfoFromError(0, 8);
        actionFailed("Communication error(no RFTI client) with RFTI Server", kResultFailed);
        return;
    }
    // In recovery the client's subscriptions are still in place.
    if (!m_recovery) {
        m_rftiClient->init();
    }
    if (m_rftiClient) {
        m_rftiClient->huntRftiServer(dcControllerName);
    }
}

void ULSpectrumAnalyzerImpl::startRftiGetResult(uint32_t dataFileRef) {
    m_dataFileRef = dataFileRef;
    ULSA_TRACE(4, "startRftiGetResult, dataFileRef : %u, blockSize : %u", dataFileRef,
               m_rftiCapabilities.blockSize);
    if (m_rftiClient) {
        m_rftiClient->getResult(dataFileRef, m_rftiCapabilities.blockSize);
    }
}

void ULSpectrumAnalyzerImpl::startRmciMeasurement(const RftiGetCapabilitiesCfm& capabilities) {
    m_rftiCapabilities = capabilities;
    ULSA_TRACE(4, "startRmciMeasurement, type : %d, portId : %d",
               static_cast<int>(m_samplingParameters.samplingType),
               static_cast<int>(m_samplingParameters.portId));
    if (m_rmciClient) {
        m_rmciClient->startRmciMeasurement(1, m_samplingParameters.portId);
    }
}

void ULSpectrumAnalyzerImpl::startSamplingTypeTimer() {
    switch (m_samplingParameters.samplingType) {
        case 1:
            setTimer(TIMER_SAMPLING_TIMEOUT, m_samplingParameters.samplingTimeout);
            break;
        case 2:
            if (ulsaIsPowerTrigger(m_triggerTimeOfDay)) {
                setTimer(TIMER_CONDITIONAL, m_samplingParameters.samplingTimeout);
            } else {
                // A malformed time fails the run here, and the timer is started anyway.
                const uint32_t delay = delayToTimeOfDay();
                setTimer(TIMER_CONDITIONAL, delay);
            }
            break;
        default:
            break;  // type 0 is guarded by the clients' supervision alone
    }
}

uint32_t ULSpectrumAnalyzerImpl::delayToTimeOfDay() {
    const std::size_t dot = m_triggerTimeOfDay.rfind('.');
    const std::string clock = m_triggerTimeOfDay.substr(0, dot);
    const std::string millisText =
        dot == std::string::npos ? std::string() : m_triggerTimeOfDay.substr(dot + 1);
    // ".5" is 5 ms: the part behind the dot is a plain integer.
    const int64_t millis = static_cast<int32_t>(std::strtol(millisText.c_str(), nullptr, 10));

    int64_t fields[3] = {0, 0, 0};
    int64_t target = 0;
    if (scanTimeFields(clock, fields) < 2) {
        actionFailed("Wrong format of triggerTimeOfDay", kResultFailed);
    } else {
        target = fields[0] * 3600 + fields[1] * 60 + fields[2];
    }
    const int64_t now = m_timeOfDay ? m_timeOfDay() : 0;
    int64_t delay = target - now;
    if (delay <= 0) {
        delay += kSecondsPerDay;  // the time has passed today: wait for it tomorrow
    }
    return static_cast<uint32_t>(delay * 1000 + millis);
}

void ULSpectrumAnalyzerImpl::timeout(uint32_t enumId) {
    ULSA_TRACE(2, "ULSpectrumAnalyzerImpl::timeout(enumId=%u)", enumId);
    switch (enumId) {
        case TIMER_SAMPLING_TIMEOUT:
            ULSA_TRACE(4, "Received timeout for continuous measurement, stop measurement");
            if (m_actionAnswered) {
                m_stopAfterUpload = true;
                if (m_ftpInProgress) {
                    return;  // the end comes with the end of the upload
                }
                setAttributeAndNotify(kStatus, STATUS_ENDED);
                endRun();
            } else {
                answer(kResultFailed, "Timeout before getting first sampling file");
                failRun(8);
            }
            break;
        case TIMER_INTERVAL:
            ULSA_TRACE(4,
                       "Received intervalic timeout for continuous measurement, start a new "
                       "measurement");
            startRmciMeasurement(m_rftiCapabilities);
            break;
        case TIMER_CONDITIONAL:
            if (m_samplingParameters.samplingType == 2 && ulsaIsPowerTrigger(m_triggerTimeOfDay)) {
                // The power trigger never fired.
                if (!m_recovery) {
                    ULSA_TRACE(4, "Received timeout for conditional measurement.");
                    failRun(4);
                    return;
                }
            } else {
                ULSA_TRACE(4, "Received condtional measurement,send measurement request");
                if (!m_recovery && m_rftiClient) {
                    startRmciMeasurement(m_rftiClient->getRftiCapabilities());
                    return;
                }
                if (!m_recovery) {
                    // The time has come before the file-transfer side was reached.
                    ULSA_TRACE(1, "No RFTI client for the measurement on MO(%s)", m_ownLdn.c_str());
                }
            }
            if (!m_actionAnswered) {
                answer(kResultFailed, "Timeout before getting first sampling file");
            }
            failRun(8);
            break;
        case TIMER_RECOVERY:
            ULSA_TRACE(4,
                       "Received condtional measurement ru recovery timeout, try to connect RU.");
            if (m_rmciClient) {
                m_rmciClient->subscribeToService(m_targetRadioUnit);
            }
            break;
        default:
            ULSA_TRACE(0, "Received unexpected tmo type(%u)", enumId);
            break;
    }
}

void ULSpectrumAnalyzerImpl::lostConnection(uint32_t which) {
    ULSA_TRACE(0, "lost connection with %s Server", which == 1 ? "RMCI" : "RFTI");
    m_recovery = true;
    if (m_samplingParameters.samplingType == 2) {
        if (m_rmciClient) {
            m_rmciClient->unsubscribeFromService(m_rmciClient->getServiceName(m_targetRadioUnit));
        }
        setTimer(TIMER_RECOVERY, kRecoveryDelayMs);
    } else if (!m_ftpInProgress) {
        setInfoFromError(ULSA_RMCI_SERVER_ATTACH_IND, 0);
        actionFailed("Communication error(timeout) with RMCI/RFTI Server", kResultFailed);
    }
    // During an upload the end of the upload decides.
}

void ULSpectrumAnalyzerImpl::setTimer(uint32_t type, uint32_t ms) {
    ULSA_TRACE(4, "setTimer: Type: %d Time: %d ldn: %s", static_cast<int>(type),
               static_cast<int>(ms), m_ownLdn.c_str());
    if (!MapTimer::getInstance()->requestTmo(this, ms, type, m_ownLdn)) {
        ULSA_TRACE(1, "Timer type %u of MO(%s) runs already", type, m_ownLdn.c_str());
    }
}

void ULSpectrumAnalyzerImpl::resetTimer(uint32_t type) {
    ULSA_TRACE(4, "resetTimer: Type: %d", static_cast<int>(type));
    MapTimer::getInstance()->cancelTmo(this, type);
}

void ULSpectrumAnalyzerImpl::endRun() {
    ULSA_TRACE(2, "ULSpectrumAnalyzerImpl::endRun(MO=%s)", m_ownLdn.c_str());
    m_callback = nullptr;
    // Out of the members first: a client's destructor must find no client of this run.
    std::unique_ptr<RmciClientHandler> rmciClient = std::move(m_rmciClient);
    std::unique_ptr<RftiClientHandler> rftiClient = std::move(m_rftiClient);
    rmciClient.reset();
    rftiClient.reset();
    for (uint32_t type :
         {TIMER_SAMPLING_TIMEOUT, TIMER_INTERVAL, TIMER_CONDITIONAL, TIMER_RECOVERY}) {
        resetTimer(type);
    }
    m_recovery = false;
    m_stopAfterUpload = false;
    m_stopped = false;
    m_samplingParameters = RmciSamplingParameters();
}
