// The analyzer object as the tests drive it: a committed fRO made through froMgr with
// the class's registration, recording fake clients made by its factories, a recording
// callback, a clock of the time of day that the test sets, timers that the test fires
// (MapTdiHost), and the unit's trace lines in order.
#ifndef ANALYZER_TEST_SUPPORT_H
#define ANALYZER_TEST_SUPPORT_H

#include "FroCallbackIf.h"
#include "MapTdiHost.h"
#include "MapTimer.h"
#include "RftiClientHandler.h"
#include "RmciClientHandler.h"
#include "TraceCapture.h"
#include "ULSpectrumAnalyzerImpl.h"
#include "ULSpectrumAnalyzerManagerImpl.h"
#include "froMgr.h"
#include "oseHost.h"
#include "radioSignalReader.h"
#include "traceGroups.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace analyzertest {

const std::string kLdn = "ManagedElement=1,UlSpectrumAnalyzer=1";
const std::string kRadioUnit = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
const std::string kPortA = kRadioUnit + ",DeviceGroup=ru,RfPort=A";

/// The unit's trace texts, in order, with every level of its group switched on.
class TraceLines {
  public:
    TraceLines() {
        traceSetMask(kGroup, 0xFFFFFFFFu);
        traceSetMask(kTraceDefaultObjectName, 0xFFFFFFFFu);
    }
    ~TraceLines() {
        traceSetMask(kGroup, kTraceUnnamedMask);
        traceSetMask(kTraceDefaultObjectName, kTraceDefaultObjectMask);
    }
    /// The texts of the group's lines of that level (any level for -1).
    std::vector<std::string> texts(int level = -1) const {
        std::vector<std::string> found;
        for (const TraceLine& line : m_capture.parsed()) {
            if (line.object == kGroup &&
                (level < 0 || line.level == static_cast<unsigned>(level))) {
                found.push_back(line.text);
            }
        }
        return found;
    }
    bool has(const std::string& text, int level = -1) const {
        const std::vector<std::string> all = texts(level);
        return std::find(all.begin(), all.end(), text) != all.end();
    }
    /// The parameter-changed indications as "name=value", in order.
    std::vector<std::string> indications() const {
        const std::string head = "sendParamChangedInd is sent from '" + kLdn + "' with name ";
        const std::string separator = " and value ";
        std::vector<std::string> found;
        for (const std::string& text : texts()) {
            if (text.compare(0, head.size(), head) == 0) {
                const std::string rest = text.substr(head.size());
                const std::size_t value = rest.find(separator);
                found.push_back(rest.substr(0, value) + "=" +
                                rest.substr(value + separator.size()));
            }
        }
        return found;
    }
    void clear() { m_capture.clear(); }

  private:
    static constexpr const char* kGroup = "ulSpectrumAnalyzerCtrlSwU";
    TraceCapture m_capture;
};

/// What the fake clients were asked, and what they answer.
struct ClientLog {
    std::vector<std::string> calls;
    int rmciAlive = 0;
    int rftiAlive = 0;
    bool measurementIndReceived = false;
    RftiGetCapabilitiesCfm capabilities{};
};

class FakeRmciClient : public RmciClientHandler {
  public:
    explicit FakeRmciClient(ClientLog& log) : m_log(log) { ++m_log.rmciAlive; }
    ~FakeRmciClient() override { --m_log.rmciAlive; }
    void init() override { m_log.calls.push_back("rmci init"); }
    void subscribeToService(const std::string& ldn) override {
        m_log.calls.push_back("rmci subscribe " + ldn);
    }
    void startRmciMeasurement(uint32_t type, uint32_t portId) override {
        m_log.calls.push_back("rmci measure " + std::to_string(type) + " " +
                              std::to_string(portId));
    }
    void stopUlsaSampling(uint32_t portId) override {
        m_log.calls.push_back("rmci stop " + std::to_string(portId));
    }
    std::string getServiceName(const std::string& ldn) override { return "KGM_IW_USI:" + ldn; }
    void unsubscribeFromService(const std::string& name) override {
        m_log.calls.push_back("rmci unsubscribe " + name);
    }
    bool isMeasurementIndReceived() override { return m_log.measurementIndReceived; }
    void setMeasurementIndReceived(bool received) override {
        m_log.measurementIndReceived = received;
    }

  private:
    ClientLog& m_log;
};

class FakeRftiClient : public RftiClientHandler {
  public:
    explicit FakeRftiClient(ClientLog& log) : m_log(log) { ++m_log.rftiAlive; }
    ~FakeRftiClient() override { --m_log.rftiAlive; }
    void init() override { m_log.calls.push_back("rfti init"); }
    void huntRftiServer(const std::string& name) override {
        m_log.calls.push_back("rfti hunt " + name);
    }
    void getResult(uint32_t dataFileRef, uint32_t blockSize) override {
        m_log.calls.push_back("rfti get " + std::to_string(dataFileRef) + " " +
                              std::to_string(blockSize));
    }
    void ftpDone(bool, const std::string&) override {}
    RftiGetCapabilitiesCfm getRftiCapabilities() override { return m_log.capabilities; }

  private:
    ClientLog& m_log;
};

/// The answers given through the callback, in order.
struct Answers : FroCallbackIf {
    void snapshotParamUpdated(fRO*) override {}
    void snapshotParamUpdated(fRO*, uint32_t, const std::string&) override {}
    void actionCompleted(fRO*, const ActionResult& result) override { results.push_back(result); }
    std::vector<ActionResult> results;
};

/// The analyzer's class with froMgr, as its manager registers it.
inline void registerAnalyzerClass() {
    const MocRegistration registration = ULSpectrumAnalyzerManagerImpl::registration();
    froMgr::instance().regMOType(registration.className, registration.creator);
    for (const Attribute& attribute : registration.attributes) {
        froMgr::instance().addReadOnlyAttribute(registration.className, attribute.name,
                                                attribute.type, attribute.value);
    }
}

/// The test program's thread is a kernel process; the class is registered once.
class AnalyzerEnvironment : public ::testing::Environment {
  public:
    void SetUp() override {
        ose_adopt_thread("ulsaCtrl_test");
        traceGroups::registerApplicationTraceGroups();
        registerAnalyzerClass();
    }
    void TearDown() override {
        froMgr::destroyInstance();
        MapTimer::destroyInstance();
        ose_leave_thread();
    }
};

class AnalyzerTest : public ::testing::Test {
  protected:
    AnalyzerTest() {
        m_analyzer = dynamic_cast<ULSpectrumAnalyzerImpl*>(
            froMgr::instance().createMO(kLdn, ULSpectrumAnalyzerImpl::kFroType, -1));
        if (m_analyzer == nullptr) {
            ADD_FAILURE() << "no analyzer made for " << kLdn;
            return;
        }
        RmciClientFactory rmci = [this](RmciRftiClientHandlerOwner*) {
            return new FakeRmciClient(m_clients);
        };
        RftiClientFactory rfti = [this](RmciRftiClientHandlerOwner*) {
            return new FakeRftiClient(m_clients);
        };
        ULSpectrumAnalyzerImpl::TimeOfDaySource clock = [this] { return m_now; };
        m_analyzer->swapRmciFactory(rmci);
        m_analyzer->swapRftiFactory(rfti);
        m_analyzer->swapTimeOfDaySource(clock);
        for (uint32_t type = 2; type <= 5; ++type) {
            m_timers.addTdiTimer(type, kLdn);
        }
    }
    ~AnalyzerTest() override { froMgr::instance().deleteMO(kLdn); }

    void act(const std::string& command, const Attributes& parameters) {
        m_analyzer->performAction(command, parameters, &m_answers);
    }
    /// startUlsaSampling on port A with the type and further parameters.
    void start(int type, Attributes more = {}) {
        more.insert(more.begin(), {Attribute("targetRfPort", "STRING", kPortA),
                                   Attribute("samplingType", "S32", std::to_string(type))});
        act("startUlsaSampling", more);
    }
    /// The radio unit's capability reply, as the RMCI client hands it over.
    void capabilityReply(const std::vector<radioSignals::Capability>& capabilities = {}) {
        union SIGNAL* signal = radioSignals::makeCapabilitiesCfm(1, 2, capabilities);
        m_analyzer->actionSuccess(signal);
        free_buf(&signal);
    }
    void stopConfirmed() {
        union SIGNAL* signal = alloc(sizeof(RadioSignalHead), RMCI_MEASURE_STOP_CFM);
        m_analyzer->actionSuccess(signal);
        free_buf(&signal);
    }
    int32_t status() const { return m_analyzer->getS32AttrValue("ulSpectrumSamplingStatus"); }
    int32_t info() const { return m_analyzer->getS32AttrValue("info"); }
    bool fire(uint32_t type) { return m_timers.expireNow(kLdn, type); }
    bool timerRuns(uint32_t type) const {
        return MapTimer::getInstance()->isActive(m_analyzer, type);
    }
    /// The length of the last start of that timer type, from the trace; -1 if none.
    long timerLength(uint32_t type) const {
        const std::string head = "setTimer: Type: " + std::to_string(type) + " Time: ";
        long length = -1;
        for (const std::string& text : m_trace.texts()) {
            if (text.compare(0, head.size(), head) == 0) {
                length = std::stol(text.substr(head.size()));
            }
        }
        return length;
    }
    const ActionResult& lastAnswer() const { return m_answers.results.back(); }

    TraceLines m_trace;
    ClientLog m_clients;
    Answers m_answers;
    MapTdiHost m_timers;
    ULSpectrumAnalyzerImpl* m_analyzer = nullptr;
    int32_t m_now = 12 * 3600;
};

}  // namespace analyzertest

#endif  // ANALYZER_TEST_SUPPORT_H
