// The capability action end to end: a node booted with the load module's own
// manager, simulated radio units started in the node's kernel (their servers are the
// local processes "<dcControllerName>/RmcServer" that the client's hunt finds), and
// the management client asking the analyzer, which asks the radio unit through its
// RMCI client.
#include "KernelErrors.h"
#include "LevelTraceCapture.h"
#include "ManagementClient.h"
#include "NodeInChild.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "ULSpectrumAnalyzerImpl.h"
#include "oseHost.h"
#include "radioUnit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace hostradio;

namespace {

constexpr auto kLimit = std::chrono::seconds(90);
constexpr OSTIME kWait = 10000;
const mgmt::FroRef kAnalyzerLdn{ULSpectrumAnalyzerImpl::kFroType,
                                "ManagedElement=1,UlSpectrumAnalyzer=1", 0};

std::string unitLdn(int n) {
    return "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-" + std::to_string(n);
}

// What the analyzer answers for a unit of that configuration: per port the entry's
// words, and the five columns of the range rows as arrays, the first port's rows in
// the first array and the rows of every later port in the second.
Attributes expectedCapabilities(const RadioUnitConfig& config) {
    struct Column {
        const char* name;
        uint32_t FrequencyRange::*field;
    };
    const Column columns[] = {{"flatGainBW", &FrequencyRange::flatGainBW},
                              {"maxFrequency", &FrequencyRange::maxFrequency},
                              {"maxNumSamplings", &FrequencyRange::maxNumSamplings},
                              {"minFrequency", &FrequencyRange::minFrequency},
                              {"samplingRate", &FrequencyRange::samplingRate}};
    Attributes expected;
    for (std::size_t port = 1; port <= 2; ++port) {
        const bool present = port <= config.ports.size();
        const PortCapability none;
        const PortCapability& capability = present ? config.ports[port - 1] : none;
        const std::string n = std::to_string(port);
        const bool trigger = present && capability.trigger.present;
        expected.emplace_back("carrierRfPort" + n, "S32", present ? n : "0");
        expected.emplace_back("numSpectrumTypes" + n, "S32",
                              std::to_string(capability.ranges.size()));
        expected.emplace_back("numTriggerTypes" + n, "S32", trigger ? "1" : "0");
        if (!capability.ranges.empty()) {
            for (const Column& column : columns) {
                std::string text = "<array name=\"" + std::string(column.name) + n + "\">\n";
                const std::size_t end = port == 1 ? 1 : config.ports.size();
                for (std::size_t p = port - 1; p < end; ++p) {
                    for (const FrequencyRange& range : config.ports[p].ranges) {
                        text += "<attr type=\"U32\" value=\"" +
                                std::to_string(range.*column.field) + "\"/>\n";
                    }
                }
                expected.emplace_back(column.name + n, "array", text + "</array>");
            }
        }
        // The powers are the unit's 32-bit words, read unsigned.
        const auto power = [trigger](int32_t dbm) {
            return std::to_string(trigger ? static_cast<uint32_t>(dbm) : 0u);
        };
        expected.emplace_back("minPower" + n, "S64", power(capability.trigger.minPower));
        expected.emplace_back("maxPower" + n, "S64", power(capability.trigger.maxPower));
        expected.emplace_back("trigger1DataDefined" + n, "S32", trigger ? "1" : "0");
    }
    return expected;
}

// One line an attribute. The management side reads an array back as its element's XML
// text, which ends with a line feed.
std::string describe(const Attributes& attributes) {
    std::string text;
    for (const Attribute& attribute : attributes) {
        std::string value = attribute.value;
        if (attribute.type == "array" && !value.empty() && value.back() == '\n') {
            value.pop_back();
        }
        text += attribute.name + " " + attribute.type + " " + value + "\n";
    }
    return text;
}

void askTheUnits();

TEST(RmciClientNode, theCapabilityActionReachesTheRadioUnitAndBringsItsAnswerBack) {
    hostdbtest::KernelErrors kernelErrors;
    hostdbtest::TempFolder folder;
    nodetest::inChildProcess([&] {
        ulsanode::NodeBootOptions options;
        options.stateDir = folder.path();
        nodetest::withNode(std::move(options), [](const ulsanode::BootedNode&) { askTheUnits(); });
    });
}

void askTheUnits() {
    LevelTraceCapture trace({"ulSpectrumAnalyzerCtrlSwU", kTraceDefaultObjectName});

    // The units: 1 as configured by default, 2 with no capabilities, 3 with one port,
    // 4 refusing the connection, 5 never answering, 6 disabled.
    std::vector<RadioUnitConfig> configs;
    for (int n = 1; n <= 6; ++n) {
        configs.push_back(defaultRadioUnitConfig(unitLdn(n), "RU-" + std::to_string(n) + "-link"));
    }
    configs[2].ports.resize(1);
    configs[5].operationalState = 0;
    std::vector<RadioUnit> units;
    for (const RadioUnitConfig& config : configs) {
        units.push_back(startRadioUnit(config));
    }

    runWithTimeLimit(kLimit, [&] {
        ose_adopt_thread("rmciNodeTest");
        RadioFaults zero;
        zero.zeroCapabilities = true;
        ASSERT_TRUE(setRadioFaults(units[1], zero));
        RadioFaults refuse;
        refuse.rejectRequest = RMCI_CONN_ESTABLISH_REQ;
        refuse.rejectCause = 1;
        std::strcpy(refuse.rejectText, "protocol revision 2 only");
        ASSERT_TRUE(setRadioFaults(units[3], refuse));
        RadioFaults silent;
        silent.slowRequest = RMCI_GET_CAPABILITIES_REQ;
        silent.answerDelayMs = kNever;
        ASSERT_TRUE(setRadioFaults(units[4], silent));

        mgmt::ManagementClient client;
        const mgmt::Sent connected = client.connect(kWait);
        ASSERT_TRUE(connected.ok()) << connected.errorText;
        ASSERT_TRUE(client.initiate("R1A", kWait).ok());
        const mgmt::Confirm transaction = client.createTransaction(kWait);
        ASSERT_TRUE(transaction.ok()) << transaction.describe();
        const mgmt::Confirm created =
            client.create(transaction.transactionId, kAnalyzerLdn, {}, kWait);
        ASSERT_TRUE(created.ok()) << created.describe();
        ASSERT_TRUE(client.commit(transaction.transactionId, kWait).ok());
        mgmt::FroRef analyzer = kAnalyzerLdn;
        analyzer.externalFroId = created.externalFroId;

        auto capabilities = [&](int unit, OSTIME wait = kWait) {
            return client.actionWithConfirm(0, analyzer, "getUlsaSamplingCapability",
                                            {{"targetRadioUnit", "STRING", unitLdn(unit)}}, wait);
        };
        struct Row {
            int unit;
            const char* errorText;  // null: the capabilities of the unit's configuration
        };
        const Row rows[] = {
            {1, nullptr},
            {2, nullptr},
            {3, nullptr},
            {4, "Communication error(RMCI_CONN_ESTABLISH_REJ) with RMCI Server"},
            {6, "Communication error with RMCI Server, operationalState=DISABLED"},
        };
        RadioUnitConfig noCapabilities;  // what unit 2 answers: both ports zero
        for (const Row& row : rows) {
            SCOPED_TRACE(unitLdn(row.unit));
            const mgmt::Confirm answer = capabilities(row.unit);
            ASSERT_EQ(answer.outcome, mgmt::Outcome::answered) << answer.describe();
            if (row.errorText != nullptr) {
                EXPECT_EQ(answer.result, ULSpectrumAnalyzerImpl::kResultFailed);
                EXPECT_EQ(answer.errorText, row.errorText);
                continue;
            }
            EXPECT_EQ(answer.result, 0u) << answer.describe();
            const RadioUnitConfig& config = row.unit == 2 ? noCapabilities : configs[row.unit - 1];
            EXPECT_EQ(describe(answer.data.attributes), describe(expectedCapabilities(config)));
        }

        // A start refused by the unit: the action's text, and info tells the cause.
        const mgmt::Confirm start = client.actionWithConfirm(
            0, analyzer, "startUlsaSampling",
            {{"targetRfPort", "STRING", unitLdn(4) + ",DeviceGroup=ru,RfPort=B"},
             {"samplingType", "S32", "0"}},
            kWait);
        EXPECT_EQ(start.result, ULSpectrumAnalyzerImpl::kResultFailed);
        EXPECT_EQ(start.errorText, "Communication error(RMCI_CONN_ESTABLISH_REJ) with RMCI Server");
        const mgmt::Confirm status =
            client.get(0, analyzer, {"info", "ulSpectrumSamplingStatus"}, kWait);
        EXPECT_EQ(status.value("info"), "7");
        EXPECT_EQ(status.value("ulSpectrumSamplingStatus"), "3");

        // A unit that never answers: the client's supervision gives up after 30 s of the
        // kernel's clock, which the test moves by hand while the client waits.
        trace.clear();
        ose_clock_set_manual(1);
        std::thread clock([&trace] {
            // Once the request is out and the node rests, 30 s pass.
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (!trace.hasPrefix(10, "Send RMCI_GET_CAPABILITIES_REQ") &&
                   std::chrono::steady_clock::now() < deadline) {
                std::this_thread::yield();
            }
            ose_wait_idle(0, 5000);
            ose_clock_advance(29999);
            ose_clock_advance(1);
        });
        const mgmt::Confirm silentAnswer = capabilities(5, 60000);
        clock.join();
        ose_clock_set_manual(0);
        EXPECT_EQ(silentAnswer.result, ULSpectrumAnalyzerImpl::kResultFailed)
            << silentAnswer.describe();
        EXPECT_EQ(silentAnswer.errorText, "Communication error(timeout) with RMCI Server");

        client.close();
        ose_leave_thread();
    });
    EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
    for (const RadioUnit& unit : units) {
        stopRadioUnit(unit);
    }
}

}  // namespace
