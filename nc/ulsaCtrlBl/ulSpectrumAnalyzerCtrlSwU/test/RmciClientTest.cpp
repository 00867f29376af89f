// The RMCI client against the simulated radio unit and its status service, on the
// test's thread as the main process, with the kernel's manual clock. A recording
// owner stands for the analyzer: it ends the run (deletes the client) on a failure
// and on the answer of a capability or stop action, as the analyzer does.
#include "LevelTraceCapture.h"
#include "MainLoopPump.h"
#include "MapTimer.h"
#include "RmciClientHandlerImpl.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "TimeLimit.h"
#include "TimerApi.h"
#include "ULSAtmo.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "radioSignalReader.h"
#include "radioUnit.h"
#include "traceGroups.h"
#include "unitStatusService.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace hostradio;

namespace {

const std::string kLdn = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
const std::string kLink = "RU-1-link";

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

// The analyzer as the client sees it: every call is written down.
class RecordingOwner : public RmciRftiClientHandlerOwner {
  public:
    std::vector<std::string> calls;
    std::unique_ptr<RmciClientHandler> client;
    uint32_t action = 1;
    bool recovery = false;
    RmciSamplingParameters parameters{};
    std::string triggerTime = "ff:ff:ff.fff";
    // What the analyzer asks for next when the configuration is confirmed, and after
    // a result: a measurement, then a stop.
    bool measureOnConfig = true;
    bool stopOnResult = false;

    void actionFailed(const std::string& text, uint32_t code) override {
        calls.push_back("actionFailed " + text + (code == 0x1000006 ? "" : " code " + hex(code)));
        client.reset();
    }
    void actionSuccess(union SIGNAL* signal) override {
        const OSBUFSIZE size = sigsize(&signal);
        std::string call = "actionSuccess " + hex(numberOf(signal));
        if (numberOf(signal) == RMCI_GET_CAPABILITIES_CFM) {
            std::vector<radioSignals::Capability> capabilities;
            EXPECT_TRUE(radioSignals::readCapabilities(signal, size, capabilities));
            call += " records " + std::to_string(capabilities.size());
        }
        calls.push_back(call);
        if (action != 2 || numberOf(signal) == RMCI_MEASURE_STOP_CFM) {
            client.reset();
        }
    }
    uint32_t currentAction() override { return action; }
    void startRftiClient(const std::string& dcControllerName) override {
        calls.push_back("startRftiClient " + dcControllerName);
        if (measureOnConfig) {
            client->startRmciMeasurement(1, parameters.portId);
        }
    }
    void startRftiGetResult(uint32_t dataFileRef) override {
        calls.push_back("startRftiGetResult " + std::to_string(dataFileRef));
        if (stopOnResult) {
            client->stopUlsaSampling(parameters.portId);
        }
    }
    void startRmciMeasurement(const RftiGetCapabilitiesCfm&) override {}
    RmciSamplingParameters getSamplingParameters() override { return parameters; }
    uint32_t getFroId() override { return froId; }
    std::string getTriggerTimeOfDay() override { return triggerTime; }
    uint32_t getPowerLevel() override { return 0; }
    bool isRecovery() override { return recovery; }
    void setRecovery(bool value) override { recovery = value; }
    std::string getTargetRfPort() override { return kLdn + ",DeviceGroup=ru,RfPort=A"; }
    void getFtpParameters(std::string&, std::string&, std::string&, std::string&) override {}
    void setInfoFromError(uint32_t sigNo, uint32_t errorCode) override {
        calls.push_back("setInfoFromError " + hex(sigNo) + " " + std::to_string(errorCode));
    }
    void lostConnection(uint32_t which) override {
        calls.push_back("lostConnection " + std::to_string(which));
    }
    void setFtpInProgress(bool) override {}

    uint32_t froId = 0;
};

// Port A, 1930 to 1970 MHz in 400 bins: a configuration the simulated unit accepts.
RmciSamplingParameters goodParameters() {
    RmciSamplingParameters p{};
    p.portId = 1;
    p.centerFrequency = 1950000;
    p.displayedBandwidth = 40000;
    p.resolutionBandwidth = 100;
    p.samplingTimeout = 60000;
    return p;
}

class RmciClientTest : public ::testing::Test {
  protected:
    void TearDown() override { ose_shutdown(); }

    // The body on the main process with the manual clock, the name server and (unless
    // told otherwise) a radio unit.
    void run(const std::function<void()>& body, bool withUnit = true) {
        runWithTimeLimit(std::chrono::seconds(60), [&] {
            ose_clock_set_manual(1);
            ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
            traceGroups::registerApplicationTraceGroups();
            {
                LevelTraceCapture trace({"ulSpectrumAnalyzerCtrlSwU", kTraceDefaultObjectName});
                m_trace = &trace;
                hostns::startNameServer();
                plab::nameserver::v1::getNameServer();
                MapTimer::getInstance();
                if (withUnit) {
                    m_unit = startRadioUnit(defaultRadioUnitConfig(kLdn, kLink));
                }
                body();
                m_owner.client.reset();
                pump();
                m_trace = nullptr;
            }
            MapTimer::destroyInstance();
            destroyTimerApi();
            plab::nameserver::v1::destroyNameServer();
            ULSAtmo::destroyInstance();
            destroySignalDistributorAPI();
            SignalNumber2Name::destroyInstance();
            ose_leave_thread();
        });
    }

    void pump() { mainloop::pump(m_intercept); }
    void advance(OSTIME ms) { mainloop::advance(ms, m_intercept); }

    // A new client of a new froId for the owner, subscribed to the unit at ldn.
    void startClient(uint32_t action, const std::string& ldn = kLdn) {
        m_owner.calls.clear();
        m_owner.action = action;
        m_owner.froId = ++m_froId;
        m_owner.client.reset(new RmciClientHandlerImpl(&m_owner));
        m_owner.client->init();
        m_owner.client->subscribeToService(ldn);
        pump();
    }

    RecordingOwner m_owner;
    RadioUnit m_unit;
    uint32_t m_froId = 100;
    LevelTraceCapture* m_trace = nullptr;
    mainloop::Intercept m_intercept;
};

using Calls = std::vector<std::string>;

TEST_F(RmciClientTest, theExchangeWithTheUnitReportsEachOutcomeToTheOwner) {
    const std::string timeout = "Communication error(timeout) with RMCI Server";
    struct Row {
        const char* name;
        uint32_t action;
        bool recovery;
        RadioFaults faults;
        hostusi::UnitStatus status;
        std::string ldn;
        Calls atOnce;
        OSTIME wait;  // then nothing for wait - 1 ms, and `later` at wait
        Calls later;
        std::string trace;  // a level-1 trace the row must write
    };
    auto faults = [](SIGSELECT reject, uint16_t cause) {
        RadioFaults f;
        f.rejectRequest = reject;
        f.rejectCause = cause;
        std::strcpy(f.rejectText, "refused by the unit");
        return f;
    };
    RadioFaults never;
    never.slowRequest = RMCI_GET_CAPABILITIES_REQ;
    never.answerDelayMs = kNever;
    RadioFaults zero;
    zero.zeroCapabilities = true;
    RadioFaults failedMeasurement;
    failedMeasurement.measurementStatus = 2;
    const hostusi::UnitStatus enabled{kLink, 1, 0};
    const hostusi::UnitStatus off{kLink, 0, 0};
    const hostusi::UnitStatus offBits544{kLink, 0, 544};
    const hostusi::UnitStatus noName{"", 1, 0};
    const hostusi::UnitStatus noServer{"RU-9-link", 1, 0};
    const std::string capabilities = "actionSuccess 0x1706a11 records 1";
    const std::string configured = "startRftiClient " + kLink;
    const Calls disabled = {"setInfoFromError 0x0 8",
                            "actionFailed Communication error with RMCI Server, "
                            "operationalState=DISABLED"};

    const std::string usiTimeout =
        "Communication error(subscribe USI service timeout) with USI Server";
    const std::string refused = "rejectCause.errorDescription=refused by the unit";
    // clang-format off
    const Row rows[] = {
        {"capabilities", 1, false, {}, enabled, kLdn, {capabilities}, 0, {}, ""},
        {"a start measures", 2, false, {}, enabled, kLdn, {capabilities, configured}, 2000,
         {"startRftiGetResult 1"}, ""},
        {"connection refused", 1, false, faults(RMCI_CONN_ESTABLISH_REQ, 1), enabled, kLdn,
         {"setInfoFromError 0x1706a02 1",
          "actionFailed Communication error(RMCI_CONN_ESTABLISH_REJ) with RMCI Server"}, 0, {},
         "Received RMCI_CONN_ESTABLISH_REJ, supportedProtocolRev=1, rejectCause.errorCode=1, " +
             refused},
        {"configuration refused", 2, false, faults(RMCI_CONFIG_REQ, 2), enabled, kLdn,
         {capabilities, "setInfoFromError 0x1706a22 2",
          "actionFailed Communication error(RMCI_CONFIG_REJ) with RMCI Server"}, 0, {},
         "Received RMCI_CONFIG_REJ, rejectCause.errorCode=2, " + refused},
        {"configuration refused in recovery", 2, true, faults(RMCI_CONFIG_REQ, 7), enabled, kLdn,
         {}, 5000, {"setInfoFromError 0x0 8", "actionFailed " + usiTimeout}, ""},
        {"measurement refused", 2, false, faults(RMCI_MEASURE_REQ, 10), enabled, kLdn,
         {capabilities, configured, "setInfoFromError 0x1706a32 10",
          "actionFailed Communication error(RMCI_MEASURE_REJ) with RMCI Server"}, 0, {},
         "Received RMCI_MEASURE_REJ, rejectCause.errorCode=10, " + refused},
        {"measurement failed", 2, false, failedMeasurement, enabled, kLdn,
         {capabilities, configured}, 2000,
         {"setInfoFromError 0x1706a33 2",
          "actionFailed Communication error(RMCI_MEASURE_IND : Failure or Timeout) with RMCI "
          "Server"},
         "Received RMCI_MEASURE_IND with measurementStatus : RMC_MEASURE_STATUS_FAILURE "},
        {"a unit that never answers", 1, false, never, enabled, kLdn, {}, 30000,
         {"setInfoFromError 0x0 8", "actionFailed " + timeout},
         "Received Timeout signal when processing signal with sigNo=(0x1706a10)"},
        {"zero capabilities are an answer", 1, false, zero, enabled, kLdn,
         {"actionSuccess 0x1706a11 records 0"}, 0, {}, ""},
        {"a disabled unit", 1, false, {}, off, kLdn, disabled, 0, {}, ""},
        {"disabled with status bits 544 is usable", 1, false, {}, offBits544, kLdn,
         {capabilities}, 0, {}, ""},
        {"no controller name", 1, false, {}, noName, kLdn, disabled, 0, {}, ""},
        {"no status service", 1, false, {}, enabled, "Equipment=1,AuxPlugInUnit=RU-9", {}, 30000,
         {"setInfoFromError 0x0 8", "actionFailed " + usiTimeout},
         "Received Timeout during subscribing USI service"},
        {"no server behind the name", 1, false, {}, noServer, kLdn, {}, 30000,
         {"setInfoFromError 0x0 8",
          "actionFailed Communication error(hunt timeout) with USI Server"},
         "Received Timeout signal sigNo=(0x1714400) during hunt"},
    };
    // clang-format on
    run([&] {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.name);
            ASSERT_TRUE(setRadioFaults(m_unit, row.faults));
            ASSERT_GE(hostusi::setUnitStatus(m_unit.unitStatus, row.status), 0);
            m_trace->clear();
            m_owner.recovery = row.recovery;
            m_owner.parameters = goodParameters();
            startClient(row.action, row.ldn);
            EXPECT_EQ(m_owner.calls, row.atOnce);
            if (row.wait != 0) {
                advance(row.wait - 1);
                EXPECT_EQ(m_owner.calls, row.atOnce);
                advance(1);
                Calls all = row.atOnce;
                all.insert(all.end(), row.later.begin(), row.later.end());
                EXPECT_EQ(m_owner.calls, all);
            }
            if (!row.trace.empty()) {
                EXPECT_TRUE(m_trace->has(1, row.trace));
            }
            m_owner.client.reset();
            pump();
        }
        // The unit's status service saw each client's connection end.
        EXPECT_EQ(hostusi::setUnitStatus(m_unit.unitStatus, enabled), 0);
    });
}

// A client that goes gives its subscription of the unit's status service back, under
// the service's name; the next client subscribes afresh.
TEST_F(RmciClientTest, aClientThatGoesUnsubscribesTheUnitsStatusService) {
    run([&] {
        for (int client = 0; client < 2; ++client) {
            startClient(1);
            EXPECT_EQ(m_owner.calls, Calls{"actionSuccess 0x1706a11 records 1"});
            EXPECT_EQ(m_owner.client, nullptr);
            pump();
        }
        EXPECT_FALSE(m_trace->hasPrefix(0, "service (service="));
        EXPECT_FALSE(m_trace->hasPrefix(0, "callbackPublish="));
    });
}

TEST_F(RmciClientTest, zeroCapabilitiesInRecoveryAreAskedForAgainEveryFiveSeconds) {
    run([&] {
        RadioFaults zero;
        zero.zeroCapabilities = true;
        ASSERT_TRUE(setRadioFaults(m_unit, zero));
        m_owner.recovery = true;
        m_owner.parameters = goodParameters();
        startClient(2);
        EXPECT_EQ(m_owner.calls, Calls{});
        EXPECT_TRUE(m_trace->has(8, " Recovery - continue with start measurement"));
        EXPECT_EQ(m_trace->count(4, "Zero capabillities wait for 5 seconds"), 1u);
        advance(4999);
        EXPECT_EQ(m_trace->count(4, "Received Timeout for doing GetCapReq"), 0u);
        advance(1);
        EXPECT_EQ(m_trace->count(4, "Received Timeout for doing GetCapReq"), 1u);
        EXPECT_EQ(m_trace->count(4, "Zero capabillities wait for 5 seconds"), 2u);
        // The unit has capabilities again: the next attempt configures.
        ASSERT_TRUE(setRadioFaults(m_unit, RadioFaults{}));
        m_owner.measureOnConfig = false;
        advance(5000);
        EXPECT_EQ(m_owner.calls, Calls{"startRftiClient " + kLink});
    });
}

TEST_F(RmciClientTest, aRunMeasuresStopsAndHearsOfItsServersDeath) {
    run([&] {
        m_owner.parameters = goodParameters();
        m_owner.stopOnResult = true;
        startClient(2);
        advance(2000);
        EXPECT_EQ(m_owner.calls,
                  (Calls{"actionSuccess 0x1706a11 records 1", "startRftiClient " + kLink,
                         "startRftiGetResult 1", "actionSuccess 0x1706a41"}));
        EXPECT_EQ(m_owner.client, nullptr);

        // Parameters that the unit is never asked about, and a stop without a server.
        m_owner.measureOnConfig = false;
        startClient(2);
        RmciClientHandler* client = m_owner.client.get();
        for (uint32_t bad : {0u, 9u}) {
            m_owner.calls.clear();
            client->startRmciMeasurement(1, bad);
            EXPECT_EQ(m_owner.calls, (Calls{"setInfoFromError 0x0 1",
                                            "actionFailed Communication error(invalid "
                                            "parameter(s)) with RMCI Server"}));
            m_owner.client.reset(client = new RmciClientHandlerImpl(&m_owner));
            client->init();
        }
        m_owner.calls.clear();
        client->stopUlsaSampling(1);
        EXPECT_EQ(m_owner.calls, (Calls{"setInfoFromError 0x0 8",
                                        "actionFailed Communication error(invalid PID) with RMCI "
                                        "Server"}));
        EXPECT_TRUE(m_trace->has(1, "serverPid = 0, RMCI_MEASURE_STOP_REQ"));

        // The measurement server dies in the middle of a run.
        startClient(2);
        m_owner.calls.clear();
        stopRadioUnit(m_unit);
        pump();
        EXPECT_EQ(m_owner.calls, Calls{"lostConnection 1"});
        EXPECT_TRUE(m_trace->has(
            1, "Received ULSA_RMCI_SERVER_ATTACH_IND, dcControllerName=" + kLink + " "));
    });
}

// A radio unit's measurement server played by the test: each request gets its
// proper answer, often spoiled (cut, lengthened, bytes or counts changed), and stray
// signals of every number the client takes come between, from the server and from
// the status service. The client must neither crash nor read outside a signal (the
// sanitizer build checks that) and must go on working afterwards.
class CorruptingServer {
  public:
    CorruptingServer(PROCESS usi, uint32_t seed) : m_usi(usi), m_random(seed) {
        static struct OS_redir_entry table[1];
        table[0] = {1, current_process()};
        m_pid = create_process(OS_PHANTOM, "FUZZ-link/RmcServer", nullptr, 0, 0, 0, 0, table, 0, 0);
        start(m_pid);
    }

    bool intercept(union SIGNAL* request) {
        if (addressee(&request) != m_pid) {
            return false;
        }
        const PROCESS client = sender(&request);
        const RadioSignalHead head = *reinterpret_cast<const RadioSignalHead*>(request);
        free_buf(&request);
        for (union SIGNAL* reply : answers(head)) {
            send(spoil(reply), client);
        }
        if (chance(3)) {
            send(stray(head.clientRef), client);
        }
        return true;
    }

    uint32_t spoiled = 0;

  private:
    bool chance(uint32_t outOf) { return m_random() % outOf == 0; }

    std::vector<union SIGNAL*> answers(const RadioSignalHead& request) {
        const uint32_t ref = request.clientRef;
        radioSignals::RejectInfo reject;
        reject.supportedProtocolRev = 1;
        reject.errorCode = static_cast<uint16_t>(1 + m_random() % 2);
        reject.errorDescription = "spoilt";
        switch (request.sigNo) {
            case RMCI_CONN_ESTABLISH_REQ:
                return {chance(4)
                            ? radioSignals::makeReject(RMCI_CONN_ESTABLISH_REJ, ref, 0, reject)
                            : head(RMCI_CONN_ESTABLISH_CFM, ref)};
            case RMCI_GET_CAPABILITIES_REQ:
                return {radioSignals::makeCapabilitiesCfm(ref, 7, capabilities())};
            case RMCI_CONFIG_REQ:
                return {chance(4) ? radioSignals::makeReject(RMCI_CONFIG_REJ, ref, 7, reject)
                                  : head(RMCI_CONFIG_CFM, ref)};
            case RMCI_MEASURE_REQ: {
                union SIGNAL* ind = alloc(RmciMeasureInd::minSize, RMCI_MEASURE_IND);
                RmciMeasureInd* fields = reinterpret_cast<RmciMeasureInd*>(ind);
                fields->clientRef = ref;
                fields->connectionRef = 7;
                fields->measurementStatus = 1 + m_random() % 3;
                fields->dataFileRef = 5;
                return {head(RMCI_MEASURE_CFM, ref), ind};
            }
            default:
                return {head(RMCI_MEASURE_STOP_CFM, ref)};
        }
    }

    static union SIGNAL* head(SIGSELECT number, uint32_t ref) {
        union SIGNAL* signal = alloc(RadioSignalHead::minSize, number);
        reinterpret_cast<RadioSignalHead*>(signal)->clientRef = ref;
        reinterpret_cast<RadioSignalHead*>(signal)->connectionRef = 7;
        return signal;
    }

    // A spectrum record of one port (60 bytes, the stride of the conversion's walk) and
    // an opaque one.
    static std::vector<radioSignals::Capability> capabilities() {
        radioSignals::Capability spectrum;
        spectrum.capabilityType = kRmciCapabilityEntries;
        spectrum.capabilityLength = 60;
        for (uint32_t port = 1; port <= 1; ++port) {
            radioSignals::CapabilityEntry entry;
            entry.entryId = port;
            entry.ranges.push_back(RmciRange{{1920000, 1980000, 60000, 61440, 4096}});
            radioSignals::Trigger trigger;
            trigger.triggerIdentity = kRmciPowerTrigger;
            trigger.triggerLength = 12;
            entry.triggers.push_back(trigger);
            spectrum.entries.push_back(entry);
        }
        radioSignals::Capability opaque;
        opaque.capabilityType = kRmciCapabilityOpaque;
        opaque.capabilityLength = 8;
        return {spectrum, opaque};
    }

    // The reply as it is, or spoilt in one of four ways, in a buffer of exactly its size.
    union SIGNAL* spoil(union SIGNAL* reply) {
        if (chance(3)) {
            return reply;
        }
        ++spoiled;
        std::vector<uint8_t> bytes(sigsize(&reply));
        std::memcpy(bytes.data(), reply, bytes.size());
        free_buf(&reply);
        switch (m_random() % 4) {
            case 0:  // cut
                bytes.resize(4 + m_random() % (bytes.size() - 4));
                break;
            case 1:  // lengthened by bytes that hold no NUL
                for (uint32_t n = 1 + m_random() % 40; n > 0; --n) {
                    bytes.push_back(static_cast<uint8_t>(1 + m_random() % 255));
                }
                break;
            case 2:  // bytes behind the head changed
                for (uint32_t n = 1 + m_random() % 4; n > 0 && bytes.size() > 12; --n) {
                    bytes[12 + m_random() % (bytes.size() - 12)] = static_cast<uint8_t>(m_random());
                }
                break;
            default:  // a count or length made large
                if (bytes.size() >= 14) {
                    const std::size_t at = 12 + 2 * (m_random() % ((bytes.size() - 12) / 2));
                    bytes[at] = 0xFF;
                    bytes[at + 1] = static_cast<uint8_t>(m_random());
                }
                break;
        }
        return copy(bytes);
    }

    // A signal of a number the client takes, of random size and content, with the
    // client's word when it has room for one; the USI ones from the status service.
    union SIGNAL* stray(uint32_t ref) {
        static const SIGSELECT numbers[] = {KGM_IW_USI_CONN_ESTABLISH_CFM,
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
        const SIGSELECT number = numbers[m_random() % (sizeof numbers / sizeof numbers[0])];
        std::vector<uint8_t> bytes(4 + m_random() % 120);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(m_random());
        }
        std::memcpy(bytes.data(), &number, sizeof number);
        if (bytes.size() >= 8) {
            std::memcpy(bytes.data() + 4, &ref, sizeof ref);
        }
        m_strayFromUsi = (number & 0xFFFFFF00u) == 0x1742B00u;
        return copy(bytes);
    }

    static union SIGNAL* copy(const std::vector<uint8_t>& bytes) {
        SIGSELECT number;
        std::memcpy(&number, bytes.data(), sizeof number);
        union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(bytes.size()), number);
        std::memcpy(signal, bytes.data(), bytes.size());
        return signal;
    }

    void send(union SIGNAL* signal, PROCESS to) {
        send_w_s(&signal, m_strayFromUsi ? m_usi : m_pid, to);
        m_strayFromUsi = false;
    }

    PROCESS m_usi;
    PROCESS m_pid = 0;
    std::mt19937 m_random;
    bool m_strayFromUsi = false;
};

TEST_F(RmciClientTest, spoiltSignalsFromTheServerAreDroppedOrFailTheActionAndTheClientGoesOn) {
    run(
        [&] {
            const PROCESS usi = hostusi::startUnitStatusService({kLdn, {"FUZZ-link", 1, 0}});
            CorruptingServer server(usi, 20261122);
            m_intercept = [&server](union SIGNAL* signal) { return server.intercept(signal); };
            m_owner.parameters = goodParameters();
            m_owner.stopOnResult = true;
            std::size_t successes = 0;
            std::size_t failures = 0;
            for (int round = 0; round < 300; ++round) {
                SCOPED_TRACE(round);
                startClient(1 + round % 2);
                if (m_owner.client) {
                    advance(30000);  // whatever waits for a lost reply times out
                }
                for (std::size_t i = 0; i < m_owner.calls.size(); ++i) {
                    const bool last = i + 1 == m_owner.calls.size();
                    EXPECT_TRUE(last || m_owner.calls[i].rfind("actionFailed", 0) != 0)
                        << "a call after the failure: " << m_owner.calls[i + 1];
                    successes += m_owner.calls[i].rfind("actionSuccess", 0) == 0;
                    failures += m_owner.calls[i].rfind("actionFailed", 0) == 0;
                }
                m_owner.client.reset();
                pump();
            }
            EXPECT_GT(server.spoiled, 100u);
            EXPECT_GT(successes, 30u);
            EXPECT_GT(failures, 30u);
            EXPECT_TRUE(m_trace->hasPrefix(1, "Signal with sigNo=(0x1706a11) "));

            // The real unit still gets its answer.
            m_intercept = nullptr;
            m_unit = startRadioUnit(defaultRadioUnitConfig(kLdn + "2", kLink));
            startClient(1, kLdn + "2");
            EXPECT_EQ(m_owner.calls, Calls{"actionSuccess 0x1706a11 records 1"});
        },
        false);
}

}  // namespace
