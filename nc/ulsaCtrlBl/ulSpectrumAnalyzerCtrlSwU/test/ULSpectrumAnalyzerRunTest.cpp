// The sampling run: its phases, the decision after each file, the timers (fired by
// the test), a lost connection, the stop and the end.
#include "AnalyzerTestSupport.h"

using namespace analyzertest;

namespace {

constexpr uint32_t kFailed = ULSpectrumAnalyzerImpl::kResultFailed;

const std::vector<std::string> kStartedAndEnded = {"ulSpectrumSamplingStatus=1",
                                                   "ulSpectrumSamplingStatus=2"};

}  // namespace

class RunTest : public AnalyzerTest {
  protected:
    /// Everything up to the first measurement request: capabilities, configuration,
    /// the file-transfer side and its capabilities.
    void connect() {
        capabilityReply();
        m_analyzer->startRftiClient("dc-1");
        m_clients.capabilities.blockSize = 4096;
        m_analyzer->startRmciMeasurement(m_clients.capabilities);
    }
    /// A result named, fetched and uploaded.
    void fileUploaded() {
        m_clients.measurementIndReceived = true;
        m_analyzer->startRftiGetResult(7);
        m_analyzer->setFtpInProgress(true);
        m_analyzer->setFtpInProgress(false);
        m_analyzer->actionSuccess(nullptr);
    }
    bool runGone() const {
        return m_clients.rmciAlive == 0 && m_clients.rftiAlive == 0 && !timerRuns(2) &&
               !timerRuns(3) && !timerRuns(4) && !timerRuns(5);
    }
    /// The answer to the start, and which texts came after it.
    std::vector<std::string> callsSince(std::size_t first) const {
        return std::vector<std::string>(m_clients.calls.begin() + static_cast<long>(first),
                                        m_clients.calls.end());
    }
};

TEST_F(RunTest, aSingleSamplingRunsFromStartToUploadAndAnswersAtTheCapabilities) {
    start(0, {Attribute("ipAddress", "STRING", "10.1.1.1")});
    EXPECT_EQ(m_clients.calls,
              (std::vector<std::string>{"rmci init", "rmci subscribe " + kRadioUnit}));
    EXPECT_FALSE(timerRuns(2) || timerRuns(4));
    EXPECT_TRUE(m_answers.results.empty());

    capabilityReply();
    ASSERT_EQ(m_answers.results.size(), 1u);
    EXPECT_EQ(lastAnswer().result, 0u);
    EXPECT_EQ(lastAnswer().actionName, "startUlsaSampling");
    m_analyzer->startRftiClient("dc-1");
    m_clients.capabilities.blockSize = 4096;
    m_analyzer->startRmciMeasurement(m_clients.capabilities);
    m_analyzer->startRftiGetResult(7);
    EXPECT_EQ(callsSince(2), (std::vector<std::string>{"rfti init", "rfti hunt dc-1",
                                                       "rmci measure 1 1", "rfti get 7 4096"}));
    EXPECT_EQ(status(), 1);

    m_analyzer->setFtpInProgress(true);
    m_analyzer->setFtpInProgress(false);
    m_analyzer->actionSuccess(nullptr);
    EXPECT_EQ(status(), 2);
    EXPECT_TRUE(runGone());
    EXPECT_EQ(m_trace.indications(), kStartedAndEnded);
    EXPECT_EQ(m_answers.results.size(), 1u);
}

TEST_F(RunTest, aContinuousRunSamplesOnItsIntervalUntilItsTotalTime) {
    start(1,
          {Attribute("samplingTimeout", "U32", "60"), Attribute("samplingInterval", "U32", "5")});
    EXPECT_EQ(timerLength(2), 60000);
    connect();
    fileUploaded();
    EXPECT_FALSE(m_clients.measurementIndReceived);
    EXPECT_EQ(timerLength(3), 5000);
    EXPECT_EQ(status(), 1);
    m_clients.calls.clear();
    ASSERT_TRUE(fire(3));
    EXPECT_EQ(m_clients.calls, (std::vector<std::string>{"rmci measure 1 1"}));

    // The total time runs out in an upload: the run ends after it, well.
    m_analyzer->setFtpInProgress(true);
    ASSERT_TRUE(fire(2));
    EXPECT_EQ(m_clients.rmciAlive, 1);
    m_analyzer->setFtpInProgress(false);
    m_analyzer->actionSuccess(nullptr);
    EXPECT_EQ(status(), 2);
    EXPECT_TRUE(runGone());
    EXPECT_EQ(
        m_trace.indications(),
        (std::vector<std::string>{"ulSpectrumSamplingStatus=1", "ulSpectrumSamplingStatus=2",
                                  "ulSpectrumSamplingStatus=1", "ulSpectrumSamplingStatus=2"}));

    // With no interval the next measurement is asked for at once.
    start(1, {Attribute("samplingTimeout", "U32", "60")});
    connect();
    m_clients.calls.clear();
    fileUploaded();
    EXPECT_EQ(m_clients.calls, (std::vector<std::string>{"rfti get 7 4096", "rmci measure 1 1"}));
    EXPECT_FALSE(timerRuns(3));
    EXPECT_EQ(status(), 1);
    m_analyzer->actionFailed("end", kFailed);

    // The total time runs out before the first file: the action fails.
    start(1, {Attribute("samplingTimeout", "U32", "60")});
    ASSERT_TRUE(fire(2));
    EXPECT_EQ(lastAnswer().result, kFailed);
    EXPECT_EQ(lastAnswer().errorText, "Timeout before getting first sampling file");
    EXPECT_EQ(info(), 8);
    EXPECT_EQ(status(), 3);
    EXPECT_TRUE(runGone());
}

TEST_F(RunTest, aRefusedSecondStartForgetsThatTheRunWasAnswered) {
    start(1, {Attribute("samplingTimeout", "U32", "60")});
    capabilityReply();
    start(1);
    EXPECT_EQ(lastAnswer().result, ULSpectrumAnalyzerImpl::kResultBusy);
    ASSERT_TRUE(fire(2));
    EXPECT_EQ(lastAnswer().errorText, "Timeout before getting first sampling file");
    EXPECT_EQ(m_answers.results.size(), 3u);
    EXPECT_EQ(info(), 8);
    EXPECT_EQ(status(), 3);
}

TEST_F(RunTest, aConditionalRunWaitsForItsTimeOfDayOrItsPowerTrigger) {
    m_now = 12 * 3600;
    struct Row {
        const char* time;
        long length;
        bool fails;
    };
    const Row rows[] = {
        {"13:30:00.250", 5400250, false},
        {"11:00:00.5", 82800005, false},  // earlier than now: the same time tomorrow
        {"12:00:00.000", 86400000, false},
        {"12:30", 1800000, false},
        {"ff:ff:ff.fff", 20000, false},  // the power trigger: the sampling timeout
        {"FF:FF", 20000, false},         // a beginning of it counts as the same
        {"abc", 43200000, true},         // the target is midnight; the timer runs all the same
        {"99999999999:99999999999:-99999999999.99999999999", -1, false},  // cut: any length
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.time);
        start(2, {Attribute("triggerTimeOfDay", "STRING", row.time),
                  Attribute("samplingTimeout", "U32", "20")});
        if (row.length >= 0) {
            EXPECT_EQ(timerLength(4), row.length);
        }
        EXPECT_TRUE(timerRuns(4));
        EXPECT_EQ(status(), row.fails ? 3 : 1);
        if (row.fails) {
            EXPECT_EQ(lastAnswer().errorText, "Wrong format of triggerTimeOfDay");
        }
        m_analyzer->actionFailed("end of row", kFailed);
        EXPECT_TRUE(runGone());
    }

    // The time of day comes: the measurement with the capabilities the RFTI client kept.
    start(2, {Attribute("triggerTimeOfDay", "STRING", "13:00:00.000")});
    capabilityReply();
    m_analyzer->startRftiClient("dc-1");
    m_clients.capabilities.blockSize = 512;
    m_clients.calls.clear();
    ASSERT_TRUE(fire(4));
    m_analyzer->startRftiGetResult(3);
    EXPECT_EQ(m_clients.calls, (std::vector<std::string>{"rmci measure 1 1", "rfti get 3 512"}));
    fileUploaded();
    EXPECT_EQ(status(), 2);
    EXPECT_TRUE(runGone());

    // It comes before the file-transfer side is reached: the run fails.
    start(2, {Attribute("triggerTimeOfDay", "STRING", "13:00:00.000")});
    ASSERT_TRUE(fire(4));
    EXPECT_EQ(lastAnswer().errorText, "Timeout before getting first sampling file");
    EXPECT_EQ(info(), 8);
    EXPECT_EQ(status(), 3);

    // The power trigger never fires.
    start(2, {Attribute("samplingTimeout", "U32", "20")});
    capabilityReply();
    ASSERT_TRUE(fire(4));
    EXPECT_TRUE(m_trace.has("Received timeout for conditional measurement."));
    EXPECT_EQ(info(), 4);
    EXPECT_EQ(status(), 3);
    EXPECT_TRUE(runGone());
}

TEST_F(RunTest, aLostConnectionFailsARunButAConditionalOneReconnects) {
    // Type 0, nothing uploading: the run fails with the communication error.
    start(0);
    m_analyzer->lostConnection(1);
    EXPECT_TRUE(m_trace.has("lost connection with RMCI Server", 0));
    EXPECT_EQ(lastAnswer().errorText, "Communication error(timeout) with RMCI/RFTI Server");
    EXPECT_EQ(info(), 8);
    EXPECT_EQ(status(), 3);
    EXPECT_TRUE(runGone());

    // During an upload the upload decides: type 0 ends well, type 1 fails.
    for (int type : {0, 1}) {
        SCOPED_TRACE(type);
        start(type, {Attribute("samplingTimeout", "U32", "60")});
        connect();
        m_analyzer->setFtpInProgress(true);
        m_analyzer->lostConnection(2);
        EXPECT_EQ(status(), 1);
        m_analyzer->setFtpInProgress(false);
        m_analyzer->actionSuccess(nullptr);
        EXPECT_EQ(status(), type == 0 ? 2 : 3);
        EXPECT_EQ(info(), type == 0 ? 0 : 8);
        EXPECT_TRUE(runGone());
    }

    // Type 2: no failure; after 30 s the client connects anew.
    start(2, {Attribute("triggerTimeOfDay", "STRING", "13:00:00.000")});
    capabilityReply();
    m_analyzer->startRftiClient("dc-1");
    m_clients.calls.clear();
    m_analyzer->lostConnection(2);
    EXPECT_TRUE(m_analyzer->isRecovery());
    EXPECT_EQ(timerLength(5), 30000);
    EXPECT_EQ(status(), 1);
    ASSERT_TRUE(fire(5));
    m_analyzer->startRftiClient("dc-2");  // the subscriptions are still in place: no init
    EXPECT_EQ(m_clients.calls,
              (std::vector<std::string>{"rmci unsubscribe KGM_IW_USI:" + kRadioUnit,
                                        "rmci subscribe " + kRadioUnit, "rfti hunt dc-2"}));
    m_analyzer->setRecovery(false);
    ASSERT_TRUE(fire(4));
    EXPECT_EQ(m_clients.calls.back(), "rmci measure 1 1");
    m_analyzer->actionFailed("end", kFailed);

    // The time of day comes while the connection is still being recovered.
    start(2, {Attribute("triggerTimeOfDay", "STRING", "13:00:00.000")});
    capabilityReply();
    m_analyzer->lostConnection(1);
    ASSERT_TRUE(fire(4));
    EXPECT_EQ(info(), 8);
    EXPECT_EQ(status(), 3);
    EXPECT_TRUE(runGone());
}

TEST_F(RunTest, aStopInATransferIsAnsweredAtOnceAndTheRunDrains) {
    start(0);
    connect();
    m_clients.measurementIndReceived = true;
    act("stopUlsaSampling", {Attribute("targetRfPort", "STRING", kPortA)});
    EXPECT_EQ(m_clients.calls.back(), "rmci stop 1");
    stopConfirmed();
    EXPECT_EQ(lastAnswer().actionName, "stopUlsaSampling");
    EXPECT_EQ(lastAnswer().result, 0u);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(m_analyzer->currentAction(), 2u);
    m_analyzer->actionSuccess(nullptr);
    EXPECT_EQ(status(), 2);
    EXPECT_TRUE(runGone());
}

TEST_F(RunTest, deletingTheObjectAbortsItsActionAndLeavesNothingBehind) {
    const std::size_t timersBefore = MapTimer::getInstance()->numberOfTimers();
    start(1, {Attribute("samplingTimeout", "U32", "60")});
    m_analyzer->startRftiClient("dc-1");
    ASSERT_EQ(MapTimer::getInstance()->numberOfTimers(), timersBefore + 1);
    ASSERT_TRUE(froMgr::instance().deleteMO(kLdn));
    ASSERT_FALSE(m_answers.results.empty());
    EXPECT_EQ(lastAnswer().result, 1u);
    EXPECT_EQ(lastAnswer().errorText, "Action abort");
    EXPECT_EQ(m_clients.rmciAlive, 0);
    EXPECT_EQ(m_clients.rftiAlive, 0);
    EXPECT_EQ(MapTimer::getInstance()->numberOfTimers(), timersBefore);
}
