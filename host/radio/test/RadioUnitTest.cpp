// The simulated radio unit, spoken to as the load module's clients do: the test's
// process finds the servers by name, connects, asks for capabilities, configures,
// measures under the manual clock and fetches the result block by block.
#include "LevelTraceCapture.h"
#include "TimeLimit.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "radioSignalReader.h"
#include "radioUnit.h"
#include "sampleFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <thread>

using namespace hostradio;

namespace {

const std::string kLdn = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
const std::string kLink = "RU-1-link";
constexpr uint32_t kClient = 77;  // the client word, a froId on the load module's side

RadioUnitConfig testConfig() {
    RadioUnitConfig config = defaultRadioUnitConfig(kLdn, kLink);
    config.blockSize = 256;  // a file of 400 bins takes four blocks
    config.measurementTimeMs = 2000;
    config.triggerDelayMs = 3000;
    return config;
}

// A configuration the unit can do: port A, 1930 to 1970 MHz in 400 bins.
RmciSamplingParameters goodParameters(uint32_t samplingType = 0) {
    RmciSamplingParameters p{};
    p.portId = 1;
    p.samplingType = samplingType;
    p.centerFrequency = 1950000;
    p.displayedBandwidth = 40000;
    p.resolutionBandwidth = 100;
    p.samplingTimeout = 60000;
    if (samplingType == 2) {
        p.triggerIdentity = 1;
        p.triggerLength = 20;
        p.powerLevel = static_cast<uint32_t>(-90);
    }
    return p;
}

struct Fetched {
    RftiGetResultCfm description{};
    std::vector<uint8_t> bytes;
    uint32_t blocks = 0;
};

SIGSELECT numberOf(union SIGNAL* signal) {
    SIGSELECT number = 0;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

class RadioUnitTest : public ::testing::Test {
  protected:
    void TearDown() override { ose_shutdown(); }

    void run(const std::function<void()>& body, const RadioUnitConfig& config = testConfig()) {
        runWithTimeLimit(std::chrono::seconds(30), [&] {
            ose_clock_set_manual(1);
            ose_adopt_thread("loadModuleSide");
            hostns::startNameServer();
            m_unit = startRadioUnit(config);
            body();
            ose_leave_thread();
        });
    }

    // The next signal of that number, once every process has done what it was given.
    static union SIGNAL* next(SIGSELECT number) {
        ose_wait_idle(0, 2000);
        const SIGSELECT select[] = {1, number};
        return receive_w_tmo(0, select);
    }
    static bool quiet() {
        ose_wait_idle(0, 2000);
        static const SIGSELECT any[] = {0};
        union SIGNAL* signal = receive_w_tmo(0, any);
        const bool none = signal == nullptr;
        if (!none) {
            ADD_FAILURE() << "unexpected signal 0x" << std::hex << numberOf(signal);
            free_buf(&signal);
        }
        return none;
    }
    // Whether no signal of that number has come.
    static bool absent(SIGSELECT number) {
        union SIGNAL* signal = next(number);
        const bool none = signal == nullptr;
        if (!none) {
            free_buf(&signal);
        }
        return none;
    }
    // Requests go out from s_from when it is set: a client of another identity.
    static void sendTo(PROCESS to, union SIGNAL* signal) {
        if (s_from != 0) {
            send_w_s(&signal, s_from, to);
        } else {
            send(&signal, to);
        }
    }
    static inline PROCESS s_from = 0;

    template <class Layout>
    static union SIGNAL* request(SIGSELECT number, uint32_t connectionRef, Layout** out = nullptr) {
        union SIGNAL* signal = alloc(sizeof(Layout), number);
        std::memset(reinterpret_cast<uint8_t*>(signal) + 4, 0, sizeof(Layout) - 4);
        RadioSignalHead* head = reinterpret_cast<RadioSignalHead*>(signal);
        head->clientRef = kClient;
        head->connectionRef = connectionRef;
        if (out != nullptr) {
            *out = reinterpret_cast<Layout*>(signal);
        }
        return signal;
    }

    // Connects to a server; the connection's reference, 0 when refused.
    static uint32_t connect(PROCESS server, SIGSELECT number) {
        RadioConnEstablishReq* req = nullptr;
        union SIGNAL* signal = request(number, kRadioConnEstablishWord, &req);
        req->protocolRev = kRadioProtocolRev;
        sendTo(server, signal);
        union SIGNAL* cfm = next(number + 1);
        if (cfm == nullptr) {
            return 0;
        }
        const uint32_t ref = reinterpret_cast<RadioSignalHead*>(cfm)->connectionRef;
        free_buf(&cfm);
        return ref;
    }

    // Sends a request and reads its rejection's cause, or 0 for its confirmation.
    uint32_t outcome(PROCESS server, union SIGNAL* signal, std::string* text = nullptr) {
        const SIGSELECT number = numberOf(signal);
        sendTo(server, signal);
        union SIGNAL* cfm = next(number + 1);
        if (cfm != nullptr) {
            free_buf(&cfm);
            return 0;
        }
        union SIGNAL* rej = next(number + 2);
        radioSignals::RejectInfo info;
        if (rej == nullptr || !radioSignals::readReject(rej, sigsize(&rej), info)) {
            ADD_FAILURE() << "neither confirmation nor rejection for 0x" << std::hex << number;
            info.errorCode = 0xFFFF;
        }
        if (text != nullptr) {
            *text = info.errorDescription;
        }
        if (rej != nullptr) {
            free_buf(&rej);
        }
        return info.errorCode;
    }

    uint32_t configure(uint32_t ref, const RmciSamplingParameters& parameters) {
        RmciConfigReq* req = nullptr;
        union SIGNAL* signal = request(RMCI_CONFIG_REQ, ref, &req);
        req->configVersion = 1;
        req->configLength = sizeof parameters;
        req->parameters = parameters;
        return outcome(m_unit.rmcServer, signal);
    }

    uint32_t measure(uint32_t ref, uint32_t portId = 1) {
        RmciMeasureReq* req = nullptr;
        union SIGNAL* signal = request(RMCI_MEASURE_REQ, ref, &req);
        req->portId = portId;
        req->measurementType = 1;
        return outcome(m_unit.rmcServer, signal);
    }

    // Waits ms on the manual clock for the measurement's result: its file, 0 when none.
    static uint32_t result(OSTIME ms, uint32_t expectedStatus = RMC_MEASURE_STATUS_SUCCESS) {
        ose_clock_advance(ms - 1);
        if (!quiet()) {
            return 0;
        }
        ose_clock_advance(1);
        union SIGNAL* ind = next(RMCI_MEASURE_IND);
        if (ind == nullptr) {
            ADD_FAILURE() << "no RMCI_MEASURE_IND after " << ms << " ms";
            return 0;
        }
        RmciMeasureInd read{};
        EXPECT_EQ(sigsize(&ind), sizeof read);
        std::memcpy(&read, ind, std::min<std::size_t>(sizeof read, sigsize(&ind)));
        free_buf(&ind);
        EXPECT_EQ(read.measurementStatus, expectedStatus);
        return read.dataFileRef;
    }

    // Fetches a file block by block, one acknowledgement each; false when it stops.
    static bool fetch(PROCESS server, uint32_t ref, uint32_t fileRef, Fetched& fetched) {
        RftiGetResultReq* req = nullptr;
        union SIGNAL* signal = request(RFTI_GET_RESULT_REQ, ref, &req);
        req->blockSize = 256;
        req->dataFileRef = fileRef;
        sendTo(server, signal);
        union SIGNAL* cfm = next(RFTI_GET_RESULT_CFM);
        if (cfm == nullptr) {
            return false;
        }
        fetched.description = *reinterpret_cast<RftiGetResultCfm*>(cfm);
        free_buf(&cfm);
        for (uint32_t seq = 1; seq <= fetched.description.totalNoOfBlocks; ++seq) {
            union SIGNAL* data = next(RFTI_GET_RESULT_DATA);
            radioSignals::ResultBlock block;
            if (data == nullptr || !radioSignals::readResultData(data, sigsize(&data), block)) {
                return false;
            }
            EXPECT_EQ(block.seqNumber, seq);
            fetched.bytes.insert(fetched.bytes.end(), block.data, block.data + block.length);
            fetched.blocks = seq;
            free_buf(&data);
            if (!absent(RFTI_GET_RESULT_DATA)) {  // no block before the acknowledgement
                ADD_FAILURE() << "block " << seq + 1 << " came before its acknowledgement";
                return false;
            }
            RftiGetResultAck* ack = nullptr;
            union SIGNAL* ackSignal = request(RFTI_GET_RESULT_ACK, ref, &ack);
            ack->seqNumber = seq;
            sendTo(server, ackSignal);
        }
        return quiet();
    }

    RadioUnit m_unit;
};

TEST_F(RadioUnitTest, a_measurement_goes_from_capabilities_to_a_checked_file) {
    run([this] {
        PROCESS found = 0;
        EXPECT_TRUE(hunt("RU-1-link/RmcServer", 0, &found, nullptr));
        EXPECT_EQ(found, m_unit.rmcServer);
        EXPECT_TRUE(hunt("RU-1-link/RftServer", 0, &found, nullptr));
        EXPECT_EQ(found, m_unit.rftServer);

        // The unit-status service names the controller behind which the servers are.
        sendTo(m_unit.unitStatus, radioSignals::makeUsiConnEstablishReq(kClient, 0, kLdn));
        EXPECT_FALSE(absent(KGM_IW_USI_CONN_ESTABLISH_CFM));
        union SIGNAL* info = next(KGM_IW_USI_UNIT_INFO_UPDATE_IND);
        radioSignals::UnitInfo unitInfo;
        ASSERT_TRUE(info != nullptr && radioSignals::readUnitInfo(info, sigsize(&info), unitInfo));
        EXPECT_EQ(unitInfo.dcControllerName, kLink);
        EXPECT_EQ(unitInfo.operationalState, 1u);
        free_buf(&info);

        const uint32_t rmc = connect(m_unit.rmcServer, RMCI_CONN_ESTABLISH_REQ);
        ASSERT_NE(rmc, 0u);
        sendTo(m_unit.rmcServer, request<RadioSignalHead>(RMCI_GET_CAPABILITIES_REQ, rmc));
        union SIGNAL* caps = next(RMCI_GET_CAPABILITIES_CFM);
        std::vector<radioSignals::Capability> records;
        ASSERT_TRUE(caps != nullptr &&
                    radioSignals::readCapabilities(caps, sigsize(&caps), records));
        free_buf(&caps);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].capabilityType, kRmciCapabilityEntries);
        ASSERT_EQ(records[0].entries.size(), 8u);  // "A" to "H"
        const RadioUnitConfig config = testConfig();
        for (uint32_t port = 0; port < 8; ++port) {
            const radioSignals::CapabilityEntry& entry = records[0].entries[port];
            EXPECT_EQ(entry.entryId, port + 1);
            ASSERT_EQ(entry.ranges.size(), 1u);
            const FrequencyRange& range = config.ports[port].ranges[0];
            const uint32_t expected[5] = {range.minFrequency, range.maxFrequency, range.flatGainBW,
                                          range.samplingRate, range.maxNumSamplings};
            EXPECT_EQ(0, std::memcmp(entry.ranges[0].words, expected, sizeof expected));
            ASSERT_EQ(entry.triggers.size(), 1u);
            EXPECT_EQ(entry.triggers[0].triggerIdentity, kRmciPowerTrigger);
            EXPECT_EQ(static_cast<int32_t>(entry.triggers[0].firstValue), -130);
            EXPECT_EQ(static_cast<int32_t>(entry.triggers[0].secondValue), -30);
        }

        EXPECT_EQ(configure(rmc, goodParameters()), 0u);
        EXPECT_EQ(measure(rmc), 0u);
        const uint32_t fileRef = result(config.measurementTimeMs);
        ASSERT_NE(fileRef, 0u);

        const uint32_t rft = connect(m_unit.rftServer, RFTI_CONN_ESTABLISH_REQ);
        sendTo(m_unit.rftServer, request<RadioSignalHead>(RFTI_GET_CAPABILITIES_REQ, rft));
        union SIGNAL* fileCaps = next(RFTI_GET_CAPABILITIES_CFM);
        ASSERT_NE(fileCaps, nullptr);
        EXPECT_EQ(reinterpret_cast<RftiGetCapabilitiesCfm*>(fileCaps)->blockSize, 256u);
        free_buf(&fileCaps);

        Fetched fetched;
        ASSERT_TRUE(fetch(m_unit.rftServer, rft, fileRef, fetched));
        EXPECT_EQ(fetched.bytes.size(), fetched.description.fileSize);
        EXPECT_EQ(fetched.blocks, 4u);
        EXPECT_EQ(fileChecksum(fetched.bytes), fetched.description.checksum);
        SampleFile file;
        ASSERT_TRUE(decodeSampleFile(fetched.bytes.data(), fetched.bytes.size(), file));
        EXPECT_EQ(file.startFrequency, 1930000u);
        EXPECT_EQ(file.stopFrequency, 1970000u);
        ASSERT_EQ(file.power.size(), 400u);
        EXPECT_EQ(file.portId, 1u);
        // Each carrier stands at its power where configured; between them, the floor.
        const auto at = [&file](double kHz) {
            return file.power[static_cast<std::size_t>((kHz - file.startFrequency) / 100.0)] / 10.0;
        };
        EXPECT_NEAR(at(1932500), -80.0, 4.0);
        EXPECT_NEAR(at(1950000), -75.0, 4.0);
        EXPECT_NEAR(at(1965000), -85.0, 4.0);
        EXPECT_NEAR(at(1941000), -110.0, 5.0);
        EXPECT_NEAR(at(1957500), -110.0, 5.0);
    });
}

TEST_F(RadioUnitTest, a_request_the_unit_cannot_do_is_rejected_with_its_cause) {
    run([this] {
        const uint32_t rmc = connect(m_unit.rmcServer, RMCI_CONN_ESTABLISH_REQ);
        EXPECT_EQ(measure(rmc), kCauseNotConfigured);
        struct Case {
            const char* what;
            std::function<void(RmciSamplingParameters&)> change;
            uint32_t cause;
        };
        const Case cases[] = {
            {"port 0", [](RmciSamplingParameters& p) { p.portId = 0; }, kCauseUnknownPort},
            {"port I", [](RmciSamplingParameters& p) { p.portId = 9; }, kCauseUnknownPort},
            {"sampling type 3", [](RmciSamplingParameters& p) { p.samplingType = 3; },
             kCauseSamplingType},
            {"below the band", [](RmciSamplingParameters& p) { p.centerFrequency = 1930000; },
             kCauseFrequency},
            {"above the band", [](RmciSamplingParameters& p) { p.centerFrequency = 1970001; },
             kCauseFrequency},
            {"no bandwidth", [](RmciSamplingParameters& p) { p.displayedBandwidth = 0; },
             kCauseBandwidth},
            {"resolution wider than the span",
             [](RmciSamplingParameters& p) { p.resolutionBandwidth = 40001; }, kCauseBandwidth},
            {"more bins than a sweep has",
             [](RmciSamplingParameters& p) { p.resolutionBandwidth = 9; }, kCauseBandwidth},
            {"conditional without trigger",
             [](RmciSamplingParameters& p) {
                 p.triggerIdentity = 0;
                 p.samplingType = 2;
             },
             kCauseTrigger},
            {"trigger level too high",
             [](RmciSamplingParameters& p) {
                 p = goodParameters(2);
                 p.powerLevel = static_cast<uint32_t>(-29);
             },
             kCauseTrigger},
        };
        for (const Case& c : cases) {
            RmciSamplingParameters p = goodParameters();
            c.change(p);
            EXPECT_EQ(configure(rmc, p), c.cause) << c.what;
        }
        EXPECT_EQ(configure(rmc, goodParameters()), 0u);
        EXPECT_EQ(measure(rmc, 2), kCauseUnknownPort);
        EXPECT_EQ(measure(rmc), 0u);
        EXPECT_EQ(measure(rmc), kCauseBusy);
        EXPECT_EQ(configure(rmc + 100, goodParameters()), kCauseNoConnection);
        // A protocol revision the unit does not speak.
        RadioConnEstablishReq* req = nullptr;
        union SIGNAL* establish = request(RMCI_CONN_ESTABLISH_REQ, kRadioConnEstablishWord, &req);
        req->protocolRev = 2;
        EXPECT_EQ(outcome(m_unit.rmcServer, establish), kCauseUnsupportedProtocol);
    });
}

TEST_F(RadioUnitTest,
       each_sampling_type_measures_for_its_time_and_a_trigger_that_never_fires_waits) {
    RadioUnitConfig config = testConfig();
    run(
        [this, &config] {
            const uint32_t rmc = connect(m_unit.rmcServer, RMCI_CONN_ESTABLISH_REQ);
            const uint32_t rft = connect(m_unit.rftServer, RFTI_CONN_ESTABLISH_REQ);
            const struct {
                uint32_t samplingType;
                OSTIME waitMs;
            } cases[] = {{0, 2000}, {1, 2000}, {1, 2000}, {2, 5000}};
            std::vector<std::vector<uint8_t>> files;
            for (const auto& c : cases) {
                ASSERT_EQ(configure(rmc, goodParameters(c.samplingType)), 0u);
                ASSERT_EQ(measure(rmc), 0u);
                const uint32_t fileRef = result(c.waitMs);
                Fetched fetched;
                ASSERT_TRUE(fetch(m_unit.rftServer, rft, fileRef, fetched)) << c.samplingType;
                SampleFile file;
                ASSERT_TRUE(decodeSampleFile(fetched.bytes.data(), fetched.bytes.size(), file));
                EXPECT_EQ(file.samplingType, c.samplingType);
                files.push_back(fetched.bytes);
            }
            EXPECT_NE(files[1], files[2]);  // every sweep has noise of its own

            // A stopped unit's servers are gone, and their clients are told.
            attach(nullptr, m_unit.rmcServer);
            stopRadioUnit(m_unit);
            EXPECT_FALSE(absent(OS_ATTACH_SIG));
            PROCESS gone = 0;
            EXPECT_FALSE(hunt("RU-1-link/RmcServer", 0, &gone, nullptr));

            // A second unit, whose power trigger never fires, until the sweep is stopped.
            config.ldn = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-2";
            config.dcControllerName = "RU-2-link";
            config.triggerDelayMs = kNever;
            m_unit = startRadioUnit(config);
            const uint32_t waiting = connect(m_unit.rmcServer, RMCI_CONN_ESTABLISH_REQ);
            ASSERT_EQ(configure(waiting, goodParameters(2)), 0u);
            ASSERT_EQ(measure(waiting), 0u);
            ose_clock_advance(3600 * 1000);
            EXPECT_TRUE(quiet());
            sendTo(m_unit.rmcServer, request<RmciMeasureStopReq>(RMCI_MEASURE_STOP_REQ, waiting));
            union SIGNAL* stopped = next(RMCI_MEASURE_STOP_CFM);
            EXPECT_NE(stopped, nullptr);
            free_buf(&stopped);
            EXPECT_EQ(measure(waiting), 0u);  // no longer busy
        },
        config);
}

TEST_F(RadioUnitTest, faults_are_injected_while_the_unit_runs) {
    run([this] {
        const uint32_t rmc = connect(m_unit.rmcServer, RMCI_CONN_ESTABLISH_REQ);
        const uint32_t rft = connect(m_unit.rftServer, RFTI_CONN_ESTABLISH_REQ);
        ASSERT_EQ(configure(rmc, goodParameters()), 0u);
        RadioFaults faults;

        faults.rejectRequest = RMCI_MEASURE_REQ;
        faults.rejectCause = 42;
        std::strcpy(faults.rejectText, "no power amplifier");
        ASSERT_TRUE(setRadioFaults(m_unit, faults));
        std::string text;
        RmciMeasureReq* req = nullptr;
        union SIGNAL* measureReq = request(RMCI_MEASURE_REQ, rmc, &req);
        req->portId = 1;
        req->measurementType = 1;
        EXPECT_EQ(outcome(m_unit.rmcServer, measureReq, &text), 42u);
        EXPECT_EQ(text, "no power amplifier");

        // Late, then never: the capability request.
        faults = RadioFaults();
        faults.slowRequest = RMCI_GET_CAPABILITIES_REQ;
        faults.answerDelayMs = 5000;
        ASSERT_TRUE(setRadioFaults(m_unit, faults));
        sendTo(m_unit.rmcServer, request<RadioSignalHead>(RMCI_GET_CAPABILITIES_REQ, rmc));
        ose_clock_advance(4999);
        EXPECT_TRUE(quiet());
        ose_clock_advance(1);
        union SIGNAL* late = next(RMCI_GET_CAPABILITIES_CFM);
        EXPECT_NE(late, nullptr);
        free_buf(&late);
        faults.answerDelayMs = kNever;
        ASSERT_TRUE(setRadioFaults(m_unit, faults));
        sendTo(m_unit.rmcServer, request<RadioSignalHead>(RMCI_GET_CAPABILITIES_REQ, rmc));
        ose_clock_advance(600 * 1000);
        EXPECT_TRUE(quiet());

        faults = RadioFaults();
        faults.zeroCapabilities = true;
        ASSERT_TRUE(setRadioFaults(m_unit, faults));
        sendTo(m_unit.rmcServer, request<RadioSignalHead>(RMCI_GET_CAPABILITIES_REQ, rmc));
        union SIGNAL* none = next(RMCI_GET_CAPABILITIES_CFM);
        ASSERT_NE(none, nullptr);
        EXPECT_EQ(reinterpret_cast<RmciGetCapabilitiesCfm*>(none)->noOfCapabilities, 0u);
        free_buf(&none);

        faults = RadioFaults();
        faults.measurementStatus = RMC_MEASURE_STATUS_FAILURE;
        ASSERT_TRUE(setRadioFaults(m_unit, faults));
        ASSERT_EQ(measure(rmc), 0u);
        EXPECT_EQ(result(2000, RMC_MEASURE_STATUS_FAILURE), 0u);

        faults = RadioFaults();
        faults.badChecksum = true;
        ASSERT_TRUE(setRadioFaults(m_unit, faults));
        ASSERT_EQ(measure(rmc), 0u);
        const uint32_t fileRef = result(2000);
        Fetched fetched;
        ASSERT_TRUE(fetch(m_unit.rftServer, rft, fileRef, fetched));
        EXPECT_NE(fileChecksum(fetched.bytes), fetched.description.checksum);

        // The file server dies after the second block; a new one takes its name.
        faults = RadioFaults();
        faults.dieAfterBlock = 2;
        ASSERT_TRUE(setRadioFaults(m_unit, faults));
        attach(nullptr, m_unit.rftServer);
        Fetched cut;
        EXPECT_FALSE(fetch(m_unit.rftServer, rft, fileRef, cut));
        EXPECT_EQ(cut.blocks, 2u);
        union SIGNAL* died = next(OS_ATTACH_SIG);
        ASSERT_NE(died, nullptr);
        EXPECT_EQ(sender(&died), m_unit.rftServer);
        free_buf(&died);
        PROCESS again = 0;
        EXPECT_TRUE(hunt("RU-1-link/RftServer", 0, &again, nullptr));
        EXPECT_NE(again, m_unit.rftServer);
        ASSERT_TRUE(setRadioFaults(m_unit, RadioFaults()));
        const uint32_t rftAgain = connect(again, RFTI_CONN_ESTABLISH_REQ);
        Fetched whole;
        EXPECT_TRUE(fetch(again, rftAgain, fileRef, whole));
        EXPECT_EQ(fileChecksum(whole.bytes), whole.description.checksum);

        // A disabled unit, told by its status service.
        sendTo(m_unit.unitStatus, radioSignals::makeUsiConnEstablishReq(kClient, 0, kLdn));
        EXPECT_FALSE(absent(KGM_IW_USI_CONN_ESTABLISH_CFM));
        union SIGNAL* enabled = next(KGM_IW_USI_UNIT_INFO_UPDATE_IND);
        free_buf(&enabled);
        ASSERT_TRUE(setUnitEnabled(m_unit, false));
        union SIGNAL* disabled = next(KGM_IW_USI_UNIT_INFO_UPDATE_IND);
        radioSignals::UnitInfo info;
        ASSERT_TRUE(disabled != nullptr &&
                    radioSignals::readUnitInfo(disabled, sigsize(&disabled), info));
        EXPECT_EQ(info.operationalState, 0u);
        free_buf(&disabled);
    });
}

TEST_F(RadioUnitTest, malformed_signals_are_refused_and_a_client_that_dies_is_forgotten) {
    run([this] {
        const uint32_t rmc = connect(m_unit.rmcServer, RMCI_CONN_ESTABLISH_REQ);
        const uint32_t rft = connect(m_unit.rftServer, RFTI_CONN_ESTABLISH_REQ);
        sendTo(m_unit.rmcServer, alloc(4, RMCI_GET_CAPABILITIES_REQ));       // no head
        sendTo(m_unit.rmcServer, request<RadioSignalHead>(0x1706A99, rmc));  // unknown
        sendTo(m_unit.rmcServer, request<RadioSignalHead>(RMCI_GET_CAPABILITIES_REQ, rmc + 9));
        sendTo(m_unit.rftServer, request<RadioSignalHead>(RFTI_GET_RESULT_ACK, rft));  // short
        RftiGetResultAck* ack = nullptr;
        union SIGNAL* stray = request(RFTI_GET_RESULT_ACK, rft, &ack);
        ack->seqNumber = 3;  // no transfer runs
        sendTo(m_unit.rftServer, stray);
        sendTo(m_unit.unit, alloc(4, RADIO_HOST_SET_FAULTS_REQ));
        std::thread([this] {  // a thread that is no process, so no one to answer
            union SIGNAL* anonymous = alloc(sizeof(RadioConnEstablishReq), RMCI_CONN_ESTABLISH_REQ);
            send(&anonymous, m_unit.rmcServer);
        })
            .join();
        union SIGNAL* refused = next(RADIO_HOST_SET_FAULTS_CFM);
        ASSERT_NE(refused, nullptr);
        EXPECT_EQ(reinterpret_cast<uint32_t*>(refused)[1], 1u);
        free_buf(&refused);
        EXPECT_TRUE(quiet());

        EXPECT_EQ(outcome(m_unit.rmcServer, request<RadioSignalHead>(RMCI_CONFIG_REQ, rmc)),
                  kCauseMalformed);
        EXPECT_EQ(outcome(m_unit.rmcServer, request<RadioSignalHead>(RMCI_MEASURE_REQ, rmc)),
                  kCauseMalformed);
        RftiGetResultReq* get = nullptr;
        union SIGNAL* unknown = request(RFTI_GET_RESULT_REQ, rft, &get);
        get->dataFileRef = 12345;
        EXPECT_EQ(outcome(m_unit.rftServer, unknown), kCauseUnknownFile);
        EXPECT_EQ(configure(rmc, goodParameters()), 0u);  // still at work

        // A client that dies while it measures: its connection and sweep go with it.
        LevelTraceCapture trace({"radioUnit"});
        OS_redir_entry toTest[1] = {{1, current_process()}};
        s_from = create_process(OS_PHANTOM, "client", nullptr, 0, 0, 0, 0, toTest, 0, 0);
        const uint32_t dying = connect(m_unit.rmcServer, RMCI_CONN_ESTABLISH_REQ);
        EXPECT_EQ(configure(dying, goodParameters()), 0u);
        EXPECT_EQ(measure(dying), 0u);
        kill_proc(s_from);
        ose_wait_idle(0, 2000);
        char ended[96];
        std::snprintf(ended, sizeof ended,
                      "RU-1-link/RadioUnit: client 0x%x ended, its connections dropped", s_from);
        s_from = 0;
        EXPECT_TRUE(trace.has(4, ended));
        ose_clock_advance(2000);
        EXPECT_TRUE(quiet());
        EXPECT_EQ(measure(rmc), 0u);
    });
}

TEST(SampleFile, reads_what_it_writes_and_refuses_what_is_not_a_sweep) {
    SpectrumConfig spectrum = defaultRadioUnitConfig(kLdn, kLink).spectrum;
    const SweepRequest request{3, 1, 1950000, 20000, 200};
    const SampleFile sweep = makeSweep(spectrum, request, 5);
    const std::vector<uint8_t> bytes = encodeSampleFile(sweep);
    ASSERT_EQ(bytes.size(), 24u + 2 * 200);
    SampleFile read;
    ASSERT_TRUE(decodeSampleFile(bytes.data(), bytes.size(), read));
    EXPECT_EQ(read.power, sweep.power);
    EXPECT_EQ(read.portId, 3u);
    EXPECT_EQ(read.samplingType, 1u);
    EXPECT_DOUBLE_EQ(read.binCenter(0), 1940050.0);

    EXPECT_EQ(encodeSampleFile(makeSweep(spectrum, request, 5)), bytes);  // reproducible
    EXPECT_NE(encodeSampleFile(makeSweep(spectrum, request, 6)), bytes);
    spectrum.seed = 2;
    EXPECT_NE(encodeSampleFile(makeSweep(spectrum, request, 5)), bytes);

    const struct {
        std::size_t offset;
        uint8_t value;
    } spoiled[] = {{0, 'X'}, {5, 2}, {7, 25}, {19, 201}, {8, 0xFF}};
    for (const auto& s : spoiled) {
        std::vector<uint8_t> bad = bytes;
        bad[s.offset] = s.value;
        EXPECT_FALSE(decodeSampleFile(bad.data(), bad.size(), read)) << s.offset;
    }
    EXPECT_FALSE(decodeSampleFile(bytes.data(), bytes.size() - 1, read));
    EXPECT_FALSE(decodeSampleFile(bytes.data(), 10, read));
}

}  // namespace
