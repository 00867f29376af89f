// The RFTI client on the test's thread as the main process, with the kernel's manual
// clock, against the radio unit simulator's file server (or a server of the test that
// spoils its answers), the real name server, file-transfer and attribute-read services,
// and an FTP server on loopback. A recording owner stands for the analyzer: it ends the
// run (deletes the client) on a failure and, when told, after an upload; the test asks
// the simulator's measurement server for each result itself.
#include "FtpAndDiskTest.h"
#include "ImaFacade.h"
#include "LevelTraceCapture.h"
#include "MainLoopPump.h"
#include "RftiClientHandlerImpl.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "TimeLimit.h"
#include "TimerApi.h"
#include "attrReadService.h"
#include "ULSAtmo.h"
#include "fileTransferService.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "radioSignalReader.h"
#include "radioUnit.h"
#include "sampleFile.h"
#include "traceGroups.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

using namespace hostradio;
namespace fs = std::filesystem;

namespace {

const std::string kLdn = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
const std::string kLink = "RU-1-link";
const std::string kFdn = "SubNetwork=1,MeContext=node1,ManagedElement=1,EquipmentSupportFunction=1";
const std::string kUser = "ulsa";
const std::string kPassword = "secret";
using Calls = std::vector<std::string>;

std::string hex(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", value);
    return text;
}

SIGSELECT numberOf(const union SIGNAL* signal) {
    SIGSELECT number = 0;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

// The analyzer as the client sees it: every call is written down, to its own list and,
// with its name, to one list shared by all owners.
class RecordingOwner : public RmciRftiClientHandlerOwner {
  public:
    explicit RecordingOwner(std::string ownerName, uint32_t fro, Calls* everyCall)
        : name(std::move(ownerName)), froId(fro), all(everyCall) {}

    void record(const std::string& call) {
        calls.push_back(call);
        all->push_back(name + " " + call);
    }
    void actionFailed(const std::string& text, uint32_t code) override {
        record("actionFailed " + text + (code == 0x1000006 ? "" : " code " + hex(code)));
        client.reset();
    }
    void actionSuccess(union SIGNAL* signal) override {
        record(signal == nullptr ? "actionSuccess" : "actionSuccess " + hex(numberOf(signal)));
        if (endOnSuccess) {
            client.reset();
        }
    }
    uint32_t currentAction() override { return 2; }
    void startRftiClient(const std::string&) override {}
    void startRftiGetResult(uint32_t) override {}
    void startRmciMeasurement(const RftiGetCapabilitiesCfm& capabilities) override {
        blockSize = capabilities.blockSize;
        record("startRmciMeasurement " + std::to_string(blockSize));
    }
    RmciSamplingParameters getSamplingParameters() override {
        RmciSamplingParameters p{};
        p.samplingType = samplingType;
        return p;
    }
    uint32_t getFroId() override { return froId; }
    std::string getTriggerTimeOfDay() override { return triggerTime; }
    uint32_t getPowerLevel() override { return 0; }
    bool isRecovery() override { return false; }
    void setRecovery(bool value) override { record("setRecovery " + std::to_string(value)); }
    std::string getTargetRfPort() override { return kLdn + ",DeviceGroup=ru,RfPort=" + port; }
    void getFtpParameters(std::string& user, std::string& password, std::string& address,
                          std::string& directory) override {
        user = kUser;
        password = ftpPassword;
        address = ftpAddress;
        directory = uploadDirectory;
    }
    void setInfoFromError(uint32_t sigNo, uint32_t errorCode) override {
        record("setInfoFromError " + hex(sigNo) + " " + std::to_string(errorCode));
    }
    void lostConnection(uint32_t which) override {
        record("lostConnection " + std::to_string(which));
        client.reset();  // a type 0 run without upload ends
    }
    void setFtpInProgress(bool inProgress) override {
        record("setFtpInProgress " + std::to_string(inProgress));
    }

    std::string name;
    uint32_t froId;
    Calls* all;
    Calls calls;
    std::unique_ptr<RftiClientHandler> client;
    bool endOnSuccess = true;
    uint32_t samplingType = 0;
    std::string triggerTime = "ff:ff:ff.fff";
    std::string port = "A";
    std::string ftpPassword = kPassword;
    std::string ftpAddress;
    std::string uploadDirectory = "samples";
    uint32_t blockSize = 0;
};

class RftiClientTest : public testsupport::FtpAndDiskTest {
  protected:
    RftiClientTest() : FtpAndDiskTest(kUser, kPassword, "ulsa-rfti") {}

    // The body on the main process with the manual clock, the name server, the
    // file-transfer service and a radio unit.
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
                m_attributes = hostima::startAttrReadService();  // the node's name: kFdn
                m_config = defaultRadioUnitConfig(kLdn, kLink);
                m_unit = startRadioUnit(m_config);
                body();
                ImaFacade::destroyInstance();
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

    void pump() { mainloop::pump(m_intercept); }
    void advance(OSTIME ms) { mainloop::advance(ms, m_intercept); }
    bool pumpUntil(const std::function<bool()>& done) { return mainloop::pumpUntil(done); }

    // A new client for owner, connected to the server behind link.
    void startClient(RecordingOwner& owner, const std::string& link = kLink) {
        owner.ftpAddress = m_ftp.address();
        owner.client.reset(defaultRftiClientFactory(&owner));
        owner.client->init();
        owner.client->huntRftiServer(link);
        pump();
    }

    // Asks the simulator's measurement server for one sweep of port, as the RMCI client
    // would; returns the result's reference and the file the unit holds for it.
    uint32_t measure(uint16_t portId, std::vector<uint8_t>& expected) {
        static const SIGSELECT establishCfm[] = {1, RMCI_CONN_ESTABLISH_CFM};
        static const SIGSELECT configCfm[] = {1, RMCI_CONFIG_CFM};
        static const SIGSELECT measureCfm[] = {1, RMCI_MEASURE_CFM};
        static const SIGSELECT measureInd[] = {1, RMCI_MEASURE_IND};
        auto request = [&](OSBUFSIZE size, SIGSELECT number) {
            union SIGNAL* signal = alloc(size, number);
            std::memset(reinterpret_cast<uint8_t*>(signal) + 4, 0, size - 4);
            reinterpret_cast<RadioSignalHead*>(signal)->clientRef = 0x5157;
            reinterpret_cast<RadioSignalHead*>(signal)->connectionRef = m_rmciConnection;
            return signal;
        };
        if (m_rmciConnection == 0) {
            union SIGNAL* req = request(RadioConnEstablishReq::minSize, RMCI_CONN_ESTABLISH_REQ);
            reinterpret_cast<RadioConnEstablishReq*>(req)->protocolRev = kRadioProtocolRev;
            send(&req, m_unit.rmcServer);
            ose_wait_idle(0, 2000);
            union SIGNAL* cfm = receive_w_tmo(0, establishCfm);
            EXPECT_NE(cfm, nullptr);
            m_rmciConnection = cfm ? reinterpret_cast<RadioSignalHead*>(cfm)->connectionRef : 0;
            if (cfm != nullptr) {
                free_buf(&cfm);
            }
        }
        SweepRequest sweep;
        sweep.portId = portId;
        sweep.centerFrequency = 1950000;
        sweep.displayedBandwidth = 40000;
        sweep.binCount = 400;
        union SIGNAL* config = request(RmciConfigReq::minSize, RMCI_CONFIG_REQ);
        RmciConfigReq* c = reinterpret_cast<RmciConfigReq*>(config);
        c->configVersion = 1;
        c->configLength = sizeof(RmciSamplingParameters);
        c->parameters.portId = portId;
        c->parameters.centerFrequency = sweep.centerFrequency;
        c->parameters.displayedBandwidth = sweep.displayedBandwidth;
        c->parameters.resolutionBandwidth = sweep.displayedBandwidth / sweep.binCount;
        c->parameters.samplingTimeout = 60000;
        send(&config, m_unit.rmcServer);
        ose_wait_idle(0, 2000);
        union SIGNAL* reply = receive_w_tmo(0, configCfm);
        EXPECT_NE(reply, nullptr) << "configuration refused";
        if (reply != nullptr) {
            free_buf(&reply);
        }
        union SIGNAL* measureReq = request(RmciMeasureReq::minSize, RMCI_MEASURE_REQ);
        reinterpret_cast<RmciMeasureReq*>(measureReq)->portId = portId;
        reinterpret_cast<RmciMeasureReq*>(measureReq)->measurementType = 1;
        send(&measureReq, m_unit.rmcServer);
        ose_wait_idle(0, 2000);
        reply = receive_w_tmo(0, measureCfm);
        EXPECT_NE(reply, nullptr);
        if (reply != nullptr) {
            free_buf(&reply);
        }
        ose_clock_advance(m_config.measurementTimeMs);
        union SIGNAL* ind = receive_w_tmo(0, measureInd);
        EXPECT_NE(ind, nullptr);
        const uint32_t fileRef = ind ? reinterpret_cast<RmciMeasureInd*>(ind)->dataFileRef : 0;
        if (ind != nullptr) {
            free_buf(&ind);
        }
        expected = encodeSampleFile(makeSweep(m_config.spectrum, sweep, ++m_sweeps));
        return fileRef;
    }

    // The node's sampling files that exist now.
    std::vector<std::string> sampleFiles() const {
        std::vector<std::string> names;
        const fs::path folder = fs::path(m_state) / "d" / "ulsasample";
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(folder, error)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }
    bool folderGone() const { return !fs::exists(fs::path(m_state) / "d" / "ulsasample"); }

    PROCESS m_attributes = 0;
    RadioUnitConfig m_config;
    RadioUnit m_unit;
    uint32_t m_rmciConnection = 0;
    uint32_t m_sweeps = 0;
    Calls m_all;
    LevelTraceCapture* m_trace = nullptr;
    std::function<bool(union SIGNAL*)> m_intercept;
};

const Calls kConnected = {"startRmciMeasurement 4096", "setRecovery 0"};
const Calls kUploaded = {"setFtpInProgress 1", "setFtpInProgress 0", "actionSuccess"};

TEST_F(RftiClientTest, eachResultReachesTheFtpServerByteForByteAndIsRemovedFromTheNode) {
    run([&] {
        RecordingOwner owner("A", 11, &m_all);
        owner.endOnSuccess = false;  // a continuous run: one client, several files
        startClient(owner);
        ASSERT_EQ(owner.calls, kConnected);
        // One block; the last one shorter than the rest; the last one as long as the rest
        // (824 = 8 x 103); an upload directory ending in "/" names the same place.
        const struct {
            uint32_t blockSize;
            const char* directory;
        } rows[] = {{4096, "samples"}, {100, "samples/"}, {103, "samples"}};
        std::vector<std::vector<uint8_t>> sent;
        for (const auto& row : rows) {
            SCOPED_TRACE(row.blockSize);
            owner.calls.clear();
            owner.uploadDirectory = row.directory;
            std::vector<uint8_t> expected;
            const uint32_t fileRef = measure(1, expected);
            owner.client->getResult(fileRef, row.blockSize);
            pump();
            const std::size_t blocks = (expected.size() + row.blockSize - 1) / row.blockSize;
            EXPECT_TRUE(m_trace->has(8, "Last block is received: <seqNumber : " +
                                            std::to_string(blocks) + ">, close sampling file "));
            ASSERT_TRUE(pumpUntil([&] { return owner.calls.size() >= 3; }));
            EXPECT_EQ(owner.calls, kUploaded);
            sent.push_back(expected);
            EXPECT_EQ(sampleFiles(), std::vector<std::string>{});
        }
        // Every file on the server, named after the node, the unit, the port and the time.
        // "<kFdn>,RU-1,A,YYYYMMDD.hhmmssmmmULSA_SAMPLE"
        const std::string head = kFdn + ",RU-1,A,";
        auto wellNamed = [&](const std::string& name) {
            const std::string stamp = name.substr(std::min(name.size(), head.size()), 18);
            return name.size() == head.size() + 29 && name.compare(0, head.size(), head) == 0 &&
                   name.compare(head.size() + 18, 11, "ULSA_SAMPLE") == 0 && stamp[8] == '.' &&
                   std::count_if(stamp.begin(), stamp.end(), ::isdigit) == 17;
        };
        std::vector<std::string> uploaded;
        for (const auto& entry : fs::directory_iterator(m_ftp.root() + "/samples")) {
            uploaded.push_back(entry.path().filename().string());
            EXPECT_TRUE(wellNamed(uploaded.back())) << uploaded.back();
        }
        std::sort(uploaded.begin(), uploaded.end());
        ASSERT_EQ(uploaded.size(), sent.size());
        for (std::size_t i = 0; i < sent.size(); ++i) {
            EXPECT_EQ(ftptest::readFile(m_ftp.root() + "/samples/" + uploaded[i]),
                      std::string(sent[i].begin(), sent[i].end()));
        }
        owner.client.reset();
        EXPECT_TRUE(folderGone());
    });
}

TEST_F(RftiClientTest, failuresEndTheRunWithTheirTextsAndLeaveNoFile) {
    const std::string nobody = "127.0.0.1:" + std::to_string(ftptest::freeLoopbackPort());
    RadioFaults badChecksum;
    badChecksum.badChecksum = true;
    RadioFaults unknownFile;
    unknownFile.rejectRequest = RFTI_GET_RESULT_REQ;
    unknownFile.rejectCause = kCauseUnknownFile;
    RadioFaults refused;
    refused.rejectRequest = RFTI_CONN_ESTABLISH_REQ;
    refused.rejectCause = kCauseUnsupportedProtocol;
    RadioFaults silent;
    silent.slowRequest = RFTI_GET_RESULT_REQ;
    silent.answerDelayMs = kNever;
    const Calls ftpFailed = {"setFtpInProgress 1", "setFtpInProgress 0", "setInfoFromError 0x0 2",
                             "actionFailed Failed to FTP file to server"};
    const struct {
        const char* name;
        RadioFaults faults;
        std::string address;  // empty: the test's FTP server
        std::string password;
        std::string link;
        bool named;
        Calls connect;  // after the hunt
        OSTIME wait;    // after the result request, before what follows
        Calls result;
    } rows[] = {
        // clang-format off
        {"bad checksum", badChecksum, "", kPassword, kLink, true, kConnected, 0,
         {"setInfoFromError 0x0 8", "actionFailed Checksum error"}},
        {"ftp server down", {}, nobody, kPassword, kLink, true, kConnected, 0, ftpFailed},
        {"wrong password", {}, "", "wrong", kLink, true, kConnected, 0, ftpFailed},
        {"unknown file", unknownFile, "", kPassword, kLink, true, kConnected, 0,
         {"setInfoFromError 0x1706b22 11",
          "actionFailed Communication error(RFTI_GET_RESULT_REJ) with RFTI Server"}},
        {"no answer", silent, "", kPassword, kLink, true, kConnected, 5000,
         {"setInfoFromError 0x0 8", "actionFailed Communication error(timeout) with RFTI Server"}},
        {"connection refused", refused, "", kPassword, kLink, true,
         {"setInfoFromError 0x1706b02 1",
          "actionFailed Communication error(RFTI_CONN_ESTABLISH_REJ) with RFTI Server"}, 0, {}},
        {"no server", {}, "", kPassword, "RU-9-link", true, {}, 5000,
         {"setInfoFromError 0x0 8",
          "actionFailed Communication error(hunt timeout) with USI Server"}},
        {"no name of the node", {}, "", kPassword, "RU-9-link", false,
         {"setInfoFromError 0x0 8",
          "actionFailed Failed to retrieve ManagedElement=1,EquipmentSupportFunction=1 "
          "attribute fullDistinguishedName"}, 0, {}},
        // clang-format on
    };
    run([&] {
        uint32_t froId = 20;
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            ASSERT_TRUE(setRadioFaults(m_unit, row.faults));
            std::vector<uint8_t> expected;
            const uint32_t fileRef = measure(1, expected);
            RecordingOwner owner(row.name, ++froId, &m_all);
            if (!row.named) {  // a node whose data lacks the name
                hostima::stopAttrReadService(m_attributes);
                ASSERT_TRUE(ose_wait_ended(m_attributes, 5000));
                m_attributes = hostima::startAttrReadService(hostima::AttrReadConfig{{}});
            }
            startClient(owner, row.link);
            if (!row.address.empty()) {
                owner.ftpAddress = row.address;
            }
            owner.ftpPassword = row.password;
            EXPECT_EQ(owner.calls, row.connect);
            owner.calls.clear();
            if (owner.client && row.link == kLink) {
                owner.client->getResult(fileRef, 100);
            }
            if (row.wait != 0) {
                advance(row.wait - 1);
                EXPECT_EQ(owner.calls, Calls{});
                advance(1);
            }
            ASSERT_TRUE(pumpUntil([&] { return owner.calls.size() >= row.result.size(); }));
            EXPECT_EQ(owner.calls, row.result);
            EXPECT_EQ(owner.client, nullptr);
            EXPECT_TRUE(folderGone());
        }
    });
}

TEST_F(RftiClientTest, uploadsOfTwoClientsRunOneAtATimeInArrivalOrder) {
    run([&] {
        RecordingOwner first("A", 31, &m_all);
        RecordingOwner second("B", 32, &m_all);
        second.port = "B";
        startClient(first);
        startClient(second);
        std::vector<uint8_t> fileA, fileB;
        const uint32_t refA = measure(1, fileA);
        const uint32_t refB = measure(2, fileB);
        m_all.clear();
        first.client->getResult(refA, 4096);
        second.client->getResult(refB, 4096);
        pump();
        EXPECT_EQ(m_trace->count(4, "Put in queue"), 1u);
        ASSERT_TRUE(pumpUntil([&] { return first.client == nullptr && second.client == nullptr; }));
        EXPECT_EQ(m_all,
                  (Calls{"A setFtpInProgress 1", "A setFtpInProgress 0", "A actionSuccess",
                         "B setFtpInProgress 1", "B setFtpInProgress 0", "B actionSuccess"}));
        std::size_t onServer = 0;
        for (const auto& entry : fs::directory_iterator(m_ftp.root() + "/samples")) {
            const std::string content = ftptest::readFile(entry.path().string());
            const auto& expected =
                entry.path().filename().string().find(",A,") != std::string::npos ? fileA : fileB;
            EXPECT_EQ(content, std::string(expected.begin(), expected.end()));
            ++onServer;
        }
        EXPECT_EQ(onServer, 2u);
        EXPECT_TRUE(folderGone());
    });
}

TEST_F(RftiClientTest, aServerDyingMidTransferIsALostConnectionAndTheNextRunWorks) {
    run([&] {
        RadioFaults dies;
        dies.dieAfterBlock = 2;
        ASSERT_TRUE(setRadioFaults(m_unit, dies));
        RecordingOwner owner("A", 41, &m_all);
        startClient(owner);
        std::vector<uint8_t> expected;
        owner.calls.clear();
        owner.client->getResult(measure(1, expected), 100);
        pump();
        EXPECT_EQ(owner.calls, Calls{"lostConnection 2"});
        EXPECT_TRUE(folderGone());

        ASSERT_TRUE(setRadioFaults(m_unit, RadioFaults()));
        startClient(owner);
        owner.calls.clear();
        owner.client->getResult(measure(1, expected), 100);
        ASSERT_TRUE(pumpUntil([&] { return owner.client == nullptr; }));
        EXPECT_EQ(owner.calls, kUploaded);
    });
}

// A file server of the test, "FAKE/RftServer": a phantom whose signals come to the
// test's queue, where the intercept answers them with what a row prescribes.
TEST_F(RftiClientTest, signalsThatDoNotFitNeverLeadPastABlockOrAFile) {
    struct Block {
        uint32_t seqNumber;
        uint32_t bytes;  // data behind the head; a head cut short when below 0 is wanted
        bool shortHead;
    };
    const struct {
        const char* name;
        uint32_t fileSize, blockSize, totalNoOfBlocks;
        std::vector<Block> blocks;  // the first answers the request, each next an ACK
        OSTIME wait;
        Calls result;
        bool named = true;  // false: the node's name has not come when the first block does
    } rows[] = {
        // clang-format off
        {"a block shorter than its head", 200, 100, 2, {{1, 0, true}}, 5000,
         {"setInfoFromError 0x0 8", "actionFailed Communication error(timeout) with RFTI Server"}},
        {"fileSize beyond the blocks", 250, 100, 2, {{1, 100, false}, {2, 100, false}}, 0,
         {"setInfoFromError 0x0 8", "actionFailed Failed to write to sampling file"}},
        {"fileSize below the blocks", 50, 100, 2, {{1, 100, false}, {2, 100, false}}, 0,
         {"setInfoFromError 0x0 8", "actionFailed Failed to write to sampling file"}},
        {"a block shorter than blockSize", 300, 100, 3, {{1, 40, false}}, 0,
         {"setInfoFromError 0x0 8", "actionFailed Failed to write to sampling file"}},
        {"a skipped block", 300, 100, 3, {{1, 100, false}, {3, 100, false}}, 0,
         {"setInfoFromError 0x0 8", "actionFailed Checksum error"}},
        {"sequence 0 first", 300, 100, 3, {{0, 100, false}}, 0,
         {"setInfoFromError 0x0 8", "actionFailed Could not open the file to save sampling data"}},
        {"a huge file announced", 0xFFFFFF00u, 0xFFFFFF00u, 1, {{1, 100, false}}, 0,
         {"setInfoFromError 0x0 8", "actionFailed Failed to write to sampling file"}},
        {"a first block before the node's name", 200, 100, 2, {{1, 100, false}}, 0,
         {"setInfoFromError 0x0 8",
          "actionFailed Failed to retrieve ManagedElement=1,EquipmentSupportFunction=1 "
          "attribute fullDistinguishedName"}, false},
        // clang-format on
    };
    run([&] {
        static struct OS_redir_entry toTest[1] = {{1, 0}};
        toTest[0].pid = current_process();
        const PROCESS fake =
            create_process(OS_PHANTOM, "FAKE/RftServer", nullptr, 0, 0, 0, 0, toTest, 0, 0);
        start(fake);
        uint32_t froId = 50;
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            RecordingOwner owner(row.name, ++froId, &m_all);
            std::size_t next = 0;
            auto reply = [&](union SIGNAL* request, OSBUFSIZE size, SIGSELECT number) {
                union SIGNAL* out = alloc(size, number);
                std::memset(reinterpret_cast<uint8_t*>(out) + 4, 0, size - 4);
                const OSBUFSIZE head = size < 12 ? size : 12;
                std::memcpy(reinterpret_cast<uint8_t*>(out) + 4,
                            reinterpret_cast<uint8_t*>(request) + 4, head - 4);
                return out;
            };
            auto sendBlock = [&](union SIGNAL* request, PROCESS to) {
                if (next >= row.blocks.size()) {
                    return;
                }
                const Block& b = row.blocks[next++];
                union SIGNAL* data =
                    reply(request, b.shortHead ? 12 : 16 + b.bytes, RFTI_GET_RESULT_DATA);
                if (!b.shortHead) {
                    reinterpret_cast<RftiGetResultData*>(data)->seqNumber = b.seqNumber;
                    std::memset(reinterpret_cast<uint8_t*>(data) + 16, 0x5A, b.bytes);
                }
                send_w_s(&data, fake, to);
            };
            m_intercept = [&](union SIGNAL* signal) {
                if (addressee(&signal) != fake) {
                    return false;
                }
                const PROCESS client = sender(&signal);
                union SIGNAL* out = nullptr;
                switch (numberOf(signal)) {
                    case RFTI_CONN_ESTABLISH_REQ:
                        out = reply(signal, sizeof(RadioSignalHead), RFTI_CONN_ESTABLISH_CFM);
                        break;
                    case RFTI_GET_CAPABILITIES_REQ:
                        out = reply(signal, sizeof(RftiGetCapabilitiesCfm),
                                    RFTI_GET_CAPABILITIES_CFM);
                        reinterpret_cast<RftiGetCapabilitiesCfm*>(out)->blockSize = row.blockSize;
                        break;
                    case RFTI_GET_RESULT_REQ: {
                        union SIGNAL* cfm =
                            reply(signal, sizeof(RftiGetResultCfm), RFTI_GET_RESULT_CFM);
                        RftiGetResultCfm* c = reinterpret_cast<RftiGetResultCfm*>(cfm);
                        c->fileSize = row.fileSize;
                        c->blockSize = row.blockSize;
                        c->totalNoOfBlocks = row.totalNoOfBlocks;
                        c->checksum = 0x5A * row.fileSize;
                        send_w_s(&cfm, fake, client);
                        sendBlock(signal, client);
                        break;
                    }
                    case RFTI_GET_RESULT_ACK:
                        sendBlock(signal, client);
                        break;
                    default:
                        break;
                }
                if (out != nullptr) {
                    send_w_s(&out, fake, client);
                }
                free_buf(&signal);
                return true;
            };
            if (!row.named) {  // the read of the node's name waits for a service to come
                hostima::stopAttrReadService(m_attributes);
                ASSERT_TRUE(ose_wait_ended(m_attributes, 5000));
            }
            startClient(owner, "FAKE");
            owner.calls.clear();
            owner.client->getResult(1, row.blockSize);
            pump();
            if (row.wait != 0) {
                advance(row.wait);
            }
            EXPECT_EQ(owner.calls, row.result);
            EXPECT_EQ(owner.client, nullptr);
            EXPECT_TRUE(folderGone());
            if (!row.named) {
                m_attributes = hostima::startAttrReadService();
            }
        }
        m_intercept = nullptr;
        kill_proc(fake);
    });
}

}  // namespace
