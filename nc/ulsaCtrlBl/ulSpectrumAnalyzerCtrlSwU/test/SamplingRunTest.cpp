// Whole sampling runs: the analyzer object with both real radio clients, the radio unit
// simulator with its status service, the real name server, file-transfer and
// attribute-read services and an FTP server on loopback; the test's thread is the main
// process, with the kernel's manual clock for every wait of the run.
#include "AnalyzerTestSupport.h"
#include "FtpAndDiskTest.h"
#include "ImaFacade.h"
#include "LevelTraceCapture.h"
#include "MainLoopPump.h"
#include "RftiClientHandlerImpl.h"
#include "RmciClientHandlerImpl.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "TimeLimit.h"
#include "TimerApi.h"
#include "ULSAtmo.h"
#include "attrReadService.h"
#include "fileTransferService.h"
#include "nameServerHost.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "radioUnit.h"
#include "sampleFile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

using namespace hostradio;
namespace fs = std::filesystem;

namespace {

using namespace analyzertest;

const std::string kUser = "ulsa";
const std::string kPassword = "secret";

class SamplingRunTest : public testsupport::FtpAndDiskTest {
  protected:
    SamplingRunTest() : FtpAndDiskTest(kUser, kPassword, "ulsa-run") {}

    void run(const std::function<void()>& body) {
        runWithTimeLimit(std::chrono::seconds(120), [&] {
            ose_clock_set_manual(1);
            ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
            traceGroups::registerApplicationTraceGroups();
            {
                LevelTraceCapture trace({"ulSpectrumAnalyzerCtrlSwU", kTraceDefaultObjectName});
                m_trace = &trace;
                hostns::startNameServer();
                hostftp::startFileTransferService();
                hostima::startAttrReadService();
                plab::nameserver::v1::getNameServer();
                MapTimer::getInstance();
                m_config = defaultRadioUnitConfig(kRadioUnit, "RU-1-link");
                m_config.blockSize = m_blockSize;
                m_unit = startRadioUnit(m_config);
                registerAnalyzerClass();
                m_analyzer = dynamic_cast<ULSpectrumAnalyzerImpl*>(
                    froMgr::instance().createMO(kLdn, ULSpectrumAnalyzerImpl::kFroType, -1));
                ASSERT_NE(m_analyzer, nullptr);
                // This build's RMCI factory may not make the client yet: the test does.
                RmciClientFactory rmci = [](RmciRftiClientHandlerOwner* owner) {
                    return new RmciClientHandlerImpl(owner);
                };
                m_analyzer->swapRmciFactory(rmci);
                body();
                froMgr::instance().deleteMO(kLdn);
                pump();
                froMgr::destroyInstance();
                ImaFacade::destroyInstance();
                MapTimer::destroyInstance();
                plab::nameserver::v1::destroyNameServer();
                m_trace = nullptr;
            }
            destroyTimerApi();
            ULSAtmo::destroyInstance();
            destroySignalDistributorAPI();
            SignalNumber2Name::destroyInstance();
            ose_leave_thread();
        });
    }

    void pump() { mainloop::pump(); }
    void advance(OSTIME ms) { mainloop::advance(ms); }
    bool pumpUntil(const std::function<bool()>& done) { return mainloop::pumpUntil(done); }

    void start(int type, int intervalS = 0, int timeoutS = 60) {
        m_analyzer->performAction(
            "startUlsaSampling",
            {Attribute("targetRfPort", "STRING", kPortA),
             Attribute("ipAddress", "STRING", m_ftp.address()),
             Attribute("uploadDirectory", "STRING", "runs"), Attribute("username", "STRING", kUser),
             Attribute("password", "STRING", kPassword),
             Attribute("samplingType", "S32", std::to_string(type)),
             Attribute("centerFrequency", "U32", "1950000"),
             Attribute("displayedBandwidth", "U32", "40000"),
             Attribute("resolutionBandwidth", "U32", "100"),
             Attribute("samplingTimeout", "U32", std::to_string(timeoutS)),
             Attribute("samplingInterval", "U32", std::to_string(intervalS))},
            &m_answers);
        pump();
    }
    int32_t status() const { return m_analyzer->getS32AttrValue("ulSpectrumSamplingStatus"); }
    int32_t info() const { return m_analyzer->getS32AttrValue("info"); }
    // How many indications have set the status to value.
    std::size_t statusShown(int value) const {
        const std::string text = "sendParamChangedInd is sent from '" + kLdn +
                                 "' with name ulSpectrumSamplingStatus and value " +
                                 std::to_string(value);
        std::size_t found = 0;
        for (unsigned level = 0; level <= 16; ++level) {
            found += m_trace->count(level, text);
        }
        return found;
    }
    // The content of every file on the FTP server, in name (that is time) order.
    std::vector<std::string> uploaded() const {
        std::vector<std::string> names;
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(m_ftp.root() + "/runs", error)) {
            names.push_back(entry.path().string());
        }
        std::sort(names.begin(), names.end());
        std::vector<std::string> contents;
        for (const std::string& name : names) {
            contents.push_back(ftptest::readFile(name));
        }
        return contents;
    }
    // The file the unit makes for its number-th sweep, as the runs here configure it.
    std::string sweep(uint32_t number, uint16_t samplingType = 0) const {
        SweepRequest request;
        request.samplingType = samplingType;
        request.centerFrequency = 1950000;
        request.displayedBandwidth = 40000;
        request.binCount = 400;
        const std::vector<uint8_t> bytes =
            encodeSampleFile(makeSweep(m_config.spectrum, request, number));
        return std::string(bytes.begin(), bytes.end());
    }
    bool noSampleFolder() const { return !fs::exists(fs::path(m_state) / "d" / "ulsasample"); }

    RadioUnitConfig m_config;
    RadioUnit m_unit;
    uint32_t m_blockSize = 4096;
    ULSpectrumAnalyzerImpl* m_analyzer = nullptr;
    Answers m_answers;
    LevelTraceCapture* m_trace = nullptr;
};

TEST_F(SamplingRunTest, aSingleRunUploadsTheUnitsFileByteForByte) {
    run([&] {
        start(0);
        ASSERT_EQ(m_answers.results.size(), 1u);
        EXPECT_EQ(m_answers.results[0].result, 0u);
        advance(m_config.measurementTimeMs);
        ASSERT_TRUE(pumpUntil([&] { return status() == 2; }));
        EXPECT_TRUE(uploaded() == std::vector<std::string>{sweep(1)});
        EXPECT_EQ(statusShown(1), 1u);
        EXPECT_EQ(statusShown(2), 1u);
        EXPECT_TRUE(noSampleFolder());
    });
}

TEST_F(SamplingRunTest, aContinuousRunUploadsAFileEachIntervalUntilItsTime) {
    run([&] {
        start(1, 10, 25);
        for (int file = 1; file <= 2; ++file) {
            SCOPED_TRACE(file);
            advance(m_config.measurementTimeMs);
            ASSERT_TRUE(pumpUntil([&] { return uploaded().size() == static_cast<size_t>(file); }));
            // Each file shows as status 2, and back to 1 for the next one.
            ASSERT_TRUE(pumpUntil([&] { return statusShown(1) == 1u + file; }));
            EXPECT_EQ(statusShown(2), static_cast<size_t>(file));
            advance(10000);  // the interval, from the end of the upload: the next measurement
        }
        advance(25000);  // the run's time ends during the third file's measurement
        EXPECT_EQ(status(), 2);
        EXPECT_TRUE(uploaded() == (std::vector<std::string>{sweep(1, 1), sweep(2, 1)}));
        EXPECT_EQ(statusShown(2), 3u);
    });
}

TEST_F(SamplingRunTest, aStopDuringATransferDrainsThroughTheUpload) {
    m_blockSize = 100;
    run([&] {
        RadioFaults slow;
        slow.slowRequest = RFTI_GET_RESULT_ACK;
        slow.answerDelayMs = 1000;
        ASSERT_TRUE(setRadioFaults(m_unit, slow));
        start(0);
        advance(m_config.measurementTimeMs);  // the transfer waits for its second block
        m_analyzer->performAction("stopUlsaSampling", {Attribute("targetRfPort", "STRING", kPortA)},
                                  &m_answers);
        pump();
        ASSERT_EQ(m_answers.results.size(), 2u);
        EXPECT_EQ(m_answers.results[1].result, 0u);
        EXPECT_EQ(status(), 1);
        // Eight more blocks, each a second after its acknowledgement.
        for (int block = 0; block < 8 && status() == 1; ++block) {
            advance(1000);
        }
        ASSERT_TRUE(pumpUntil([&] { return status() == 2; }));
        EXPECT_TRUE(uploaded() == std::vector<std::string>{sweep(1)});
    });
}

TEST_F(SamplingRunTest, aServerDyingMidTransferFailsTheRunAndTheNextRunWorks) {
    m_blockSize = 100;
    run([&] {
        RadioFaults dies;
        dies.dieAfterBlock = 2;
        ASSERT_TRUE(setRadioFaults(m_unit, dies));
        start(0);
        advance(m_config.measurementTimeMs);
        EXPECT_EQ(info(), 8);
        EXPECT_EQ(status(), 3);
        EXPECT_TRUE(noSampleFolder());
        ASSERT_TRUE(setRadioFaults(m_unit, RadioFaults()));
        start(0);
        advance(m_config.measurementTimeMs);
        ASSERT_TRUE(pumpUntil([&] { return status() == 2; }));
        EXPECT_TRUE(uploaded() == std::vector<std::string>{sweep(2)});
    });
}

}  // namespace
