// The object as the management layer sees it: actions, parameters, answers, the
// capability reply and the attribute info.
#include "AnalyzerTestSupport.h"

#include "rftiSig.h"
#include "rmciSig.h"
#include "ulsaSig.h"

#include <cstring>

using namespace analyzertest;

namespace {

::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new AnalyzerEnvironment);

constexpr uint32_t kFailed = ULSpectrumAnalyzerImpl::kResultFailed;

}  // namespace

TEST_F(AnalyzerTest, unknownActionsAndRefusalsLeaveTheRunAlone) {
    start(0);
    ASSERT_EQ(m_clients.rmciAlive, 1);
    act("calibrate", {});
    EXPECT_EQ(lastAnswer().result, 1u);
    EXPECT_EQ(lastAnswer().errorText, "Action calibrate not supported!");
    act("startUlsaSampling", {Attribute("targetRfPort", "STRING", kPortA)});
    act("getUlsaSamplingCapability", {Attribute("targetRadioUnit", "STRING", kRadioUnit)});
    for (std::size_t i = m_answers.results.size() - 2; i < m_answers.results.size(); ++i) {
        EXPECT_EQ(m_answers.results[i].result, ULSpectrumAnalyzerImpl::kResultBusy);
        EXPECT_EQ(m_answers.results[i].errorText, "Action already in active");
    }
    EXPECT_EQ(m_clients.rmciAlive, 1);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(m_analyzer->currentAction(), 2u);
    EXPECT_EQ(m_analyzer->getInterfaceName(), "UlSpectrumAnalyzer");
}

TEST_F(AnalyzerTest, startParametersAreReadAsTheRadioUnitGetsThem) {
    struct Row {
        const char* what;
        Attributes parameters;
        uint32_t portId, centerFrequency, samplingTimeout;
        uint16_t triggerIdentity;
        uint32_t powerLevel;
    };
    const std::string longName(100000, 'x');
    // clang-format off
    const Row rows[] = {
        {"all given",
         {Attribute("centerFrequency", "U32", "2140000"), Attribute("samplingTimeout", "U32", "30"),
          Attribute("ipAddress", "STRING", "10.0.0.1"), Attribute("powerLevel", "S32", "-40")},
         1, 2140000, 30000, 0, 0},
        {"not numbers read as 0",
         {Attribute("centerFrequency", "U32", "abc"), Attribute("samplingTimeout", "U32", "12abc")},
         1, 0, 12000, 0, 0},
        {"empty numbers",
         {Attribute("centerFrequency", "U32", ""), Attribute("samplingTimeout", "U32", "")},
         1, 0, 0, 0, 0},
        {"far too long numbers are cut",
         {Attribute("centerFrequency", "U32", "99999999999999999999"),
          Attribute("samplingTimeout", "U32", longName)},
         1, 0xFFFFFFFFu, 0, 0, 0},
        {"port H", {Attribute("targetRfPort", "STRING", kRadioUnit + ",DeviceGroup=ru,RfPort=H")},
         8, 0, 0, 0, 0},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        start(0, row.parameters);
        const RmciSamplingParameters parameters = m_analyzer->getSamplingParameters();
        EXPECT_EQ(parameters.portId, row.portId);
        EXPECT_EQ(parameters.centerFrequency, row.centerFrequency);
        EXPECT_EQ(parameters.samplingTimeout, row.samplingTimeout);
        EXPECT_EQ(parameters.triggerIdentity, row.triggerIdentity);
        EXPECT_EQ(parameters.powerLevel, row.powerLevel);  // a power trigger's alone
        EXPECT_EQ(m_clients.calls.back(), "rmci subscribe " + kRadioUnit);
        EXPECT_EQ(status(), 1);
        m_analyzer->actionFailed("end of row", kFailed);
    }

    // Every ";" becomes a blank before the value is unescaped, so an entity is kept.
    start(2, {Attribute("username", "STRING", "a;b&lt;c"), Attribute("powerLevel", "S32", "17")});
    std::string user, password, address, directory;
    m_analyzer->getFtpParameters(user, password, address, directory);
    EXPECT_EQ(user, "a b&lt c");
    EXPECT_TRUE(address.empty());  // nothing of the run before counts
    // Type 2 without a time of day is a power-triggered run.
    EXPECT_EQ(m_analyzer->getSamplingParameters().triggerIdentity, 1);
    EXPECT_EQ(m_analyzer->getSamplingParameters().triggerLength, 20);
    EXPECT_EQ(m_analyzer->getSamplingParameters().powerLevel, 17u);
    EXPECT_EQ(m_analyzer->getS32AttrValue("samplingType"), 2);
    EXPECT_EQ(m_analyzer->getAttrValue("targetRfPort"), kPortA);
}

TEST_F(AnalyzerTest, badPortsAndMissingParametersFailTheAction) {
    struct Row {
        const char* action;
        Attributes parameters;
        const char* errorText;
    };
    const Row rows[] = {
        {"startUlsaSampling", {}, "Invalid action parameter(s)"},
        {"startUlsaSampling",
         {Attribute("targetRfPort", "STRING", "")},
         "Invalid action parameter(s)"},
        {"startUlsaSampling",
         {Attribute("targetRfPort", "STRING", kRadioUnit + ",RfPort=I")},
         "Invalid action parameter(s)"},
        {"getUlsaSamplingCapability", {}, "Could not find targetRadioUnit"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.errorText);
        const std::size_t answered = m_answers.results.size();
        act(row.action, row.parameters);
        ASSERT_EQ(m_answers.results.size(), answered + 1);
        EXPECT_EQ(lastAnswer().result, kFailed);
        EXPECT_EQ(lastAnswer().errorText, row.errorText);
        // A failed start goes on all the same: status 1 over the 3, a client without a run.
        m_analyzer->actionFailed("cleanup", kFailed);
        m_clients.calls.clear();
    }
    EXPECT_TRUE(m_trace.has("Invalid RfPort Id(I), the valid number is from 'A 'to 'F' ", 0));

    // A factory that can make no client fails the start at once.
    RmciClientFactory none = [](RmciRftiClientHandlerOwner*) -> RmciClientHandler* {
        return nullptr;
    };
    m_analyzer->swapRmciFactory(none);
    m_trace.clear();
    act("startUlsaSampling", {});
    EXPECT_EQ(lastAnswer().errorText, "Invalid action parameter(s)");
    EXPECT_EQ(m_trace.indications(),
              (std::vector<std::string>{"ulSpectrumSamplingStatus=3", "ulSpectrumSamplingStatus=1",
                                        "info=8", "ulSpectrumSamplingStatus=3"}));
    start(0);
    EXPECT_EQ(lastAnswer().errorText, "Communication error(no RMCI client) with RMCI Server");
    EXPECT_EQ(status(), 3);
    EXPECT_EQ(info(), 8);
}

TEST_F(AnalyzerTest, stopAnswersAtOnceWithoutARunAndStopsThePortItNames) {
    act("stopUlsaSampling", {Attribute("targetRfPort", "STRING", kPortA)});
    EXPECT_EQ(lastAnswer().result, 0u);
    EXPECT_TRUE(m_clients.calls.empty());
    EXPECT_EQ(status(), 0);

    struct Row {
        std::string port;
        const char* call;
        const char* errorText;
    };
    const Row rows[] = {{kRadioUnit + ",RfPort=H", "rmci stop 8", nullptr},
                        {kRadioUnit + ",RfPort=I", nullptr, "Invalid action parameter(s)"},
                        {"", nullptr, "Invalid action parameter(s)"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.port);
        start(0);
        capabilityReply();
        act("stopUlsaSampling", {Attribute("targetRfPort", "STRING", row.port)});
        if (row.call != nullptr) {
            EXPECT_EQ(m_clients.calls.back(), row.call);
            stopConfirmed();
            EXPECT_EQ(lastAnswer().result, 0u);
            EXPECT_EQ(status(), 2);
        } else {
            EXPECT_EQ(lastAnswer().errorText, row.errorText);
            EXPECT_EQ(status(), 3);
        }
        EXPECT_EQ(m_clients.rmciAlive, 0);
    }
    start(0);
    act("stopUlsaSampling", {});
    EXPECT_EQ(lastAnswer().errorText, "Could not find targetRfPort");
}

TEST_F(AnalyzerTest, infoFollowsTheFailingSignalAndItsCode) {
    struct Row {
        int action;  // 1 capability, 2 start, 3 stop
        int samplingType;
        uint32_t sigNo, code;
        int32_t info;
        bool unsupported;
    };
    const Row rows[] = {
        {2, 0, 0, 2, 2, false},
        {2, 0, RMCI_CONN_ESTABLISH_REJ, 1, 7, false},
        {2, 0, RMCI_CONN_ESTABLISH_REJ, 2, 8, false},
        {2, 0, RMCI_CONN_ESTABLISH_REJ, 3, 0, true},
        {2, 0, RFTI_CONN_ESTABLISH_REJ, 1, 7, false},
        {2, 0, RFTI_CONN_ESTABLISH_REJ, 2, 8, false},
        {2, 0, RFTI_CONN_ESTABLISH_REJ, 0, 0, true},
        {2, 0, RMCI_CONFIG_REJ, 1, 7, false},
        {2, 0, RMCI_CONFIG_REJ, 2, 1, false},
        {2, 0, RMCI_CONFIG_REJ, 5, 0, true},
        {2, 0, RFTI_GET_RESULT_REJ, 1, 7, false},
        {2, 0, RFTI_GET_RESULT_REJ, 2, 1, false},
        {2, 0, RFTI_GET_RESULT_REJ, 3, 0, true},
        {2, 0, RMCI_MEASURE_REJ, 1, 7, false},
        {3, 0, RMCI_MEASURE_REJ, 2, 5, false},
        {2, 0, RMCI_MEASURE_REJ, 9, 0, true},
        {2, 1, RMCI_MEASURE_IND, 2, 7, false},
        {2, 0, RMCI_MEASURE_IND, 3, 7, false},
        {2, 1, RMCI_MEASURE_IND, 3, 0, false},
        {2, 2, RMCI_MEASURE_IND, 3, 4, false},
        {2, 0, RMCI_MEASURE_IND, 1, 0, true},
        {2, 0, ULSA_RMCI_SERVER_ATTACH_IND, 0, 8, false},
        {3, 1, ULSA_RFTI_SERVER_ATTACH_IND, 77, 8, false},
        {2, 0, RMCI_CONFIG_CFM, 1, 0, false},
        {1, 0, 0, 8, 0, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::Message() << "action " << row.action << " sigNo 0x" << std::hex
                                          << row.sigNo << " code " << std::dec << row.code);
        if (row.action == 1) {
            act("getUlsaSamplingCapability", {Attribute("targetRadioUnit", "STRING", kRadioUnit)});
        } else {
            start(row.samplingType);
            if (row.action == 3) {
                act("stopUlsaSampling", {Attribute("targetRfPort", "STRING", kPortA)});
            }
        }
        m_analyzer->setAttributeAndNotify("info", 99);
        m_trace.clear();
        m_analyzer->setInfoFromError(row.sigNo, row.code);
        EXPECT_EQ(info(), row.info);
        EXPECT_EQ(
            m_trace.has("unsupported error code(" + std::to_string(row.code) + ") in sig no(" +
                            std::to_string(static_cast<int>(row.sigNo)) + ")",
                        1),
            row.unsupported);
        EXPECT_EQ(m_trace.indications().back(), "info=" + std::to_string(row.info));
        m_analyzer->actionFailed("end of row", kFailed);
    }
}

TEST_F(AnalyzerTest, capabilitiesAreAnsweredAsParallelListsWithArraysPerPort) {
    using radioSignals::Capability;
    using radioSignals::CapabilityEntry;
    auto run = [this](const std::vector<Capability>& capabilities) {
        act("getUlsaSamplingCapability", {Attribute("targetRadioUnit", "STRING", kRadioUnit)});
        EXPECT_EQ(m_clients.calls.back(), "rmci subscribe " + kRadioUnit);
        capabilityReply(capabilities);
        EXPECT_EQ(m_clients.rmciAlive, 0);  // the capability run has ended
        const ActionResult& result = lastAnswer();
        EXPECT_EQ(result.result, 0u);
        EXPECT_EQ(result.attrNames.size(), result.attrTypes.size());
        EXPECT_EQ(result.attrNames.size(), result.attrValues.size());
        std::vector<std::string> lines;
        for (std::size_t i = 0; i < result.attrNames.size(); ++i) {
            lines.push_back(result.attrNames[i] + " " + result.attrTypes[i] + " " +
                            result.attrValues[i]);
        }
        return lines;
    };
    const std::vector<std::string> zeros = {
        "carrierRfPort1 S32 0", "numSpectrumTypes1 S32 0", "numTriggerTypes1 S32 0",
        "minPower1 S64 0",      "maxPower1 S64 0",         "trigger1DataDefined1 S32 0",
        "carrierRfPort2 S32 0", "numSpectrumTypes2 S32 0", "numTriggerTypes2 S32 0",
        "minPower2 S64 0",      "maxPower2 S64 0",         "trigger1DataDefined2 S32 0"};
    EXPECT_EQ(run({}), zeros);

    // One entry: two ranges and a power trigger; the second port is all zeros.
    CapabilityEntry entry;
    entry.entryId = 3;
    entry.ranges = {{{10, 20, 30, 40, 50}}, {{11, 21, 31, 41, 51}}};
    entry.triggers = {{1, 12, 4000000000u, 5}, {7, 4, 0, 0}};
    Capability spectrum;
    spectrum.capabilityType = 1;
    spectrum.entries = {entry};
    Capability opaque;
    opaque.capabilityType = 2;
    opaque.capabilityLength = 8;
    Capability unknown;
    unknown.capabilityType = 9;
    unknown.capabilityLength = 4;
    const std::vector<std::string> lines = run({opaque, spectrum, unknown});
    const std::vector<std::string> expected = {
        "carrierRfPort1 S32 3",
        "numSpectrumTypes1 S32 2",
        "numTriggerTypes1 S32 2",
        "flatGainBW1 array <array name=\"flatGainBW1\">\n<attr type=\"U32\" value=\"30\"/>\n"
        "<attr type=\"U32\" value=\"31\"/>\n</array>",
        "maxFrequency1 array <array name=\"maxFrequency1\">\n<attr type=\"U32\" value=\"20\"/>\n"
        "<attr type=\"U32\" value=\"21\"/>\n</array>",
        "maxNumSamplings1 array <array name=\"maxNumSamplings1\">\n<attr type=\"U32\" "
        "value=\"50\"/>\n<attr type=\"U32\" value=\"51\"/>\n</array>",
        "minFrequency1 array <array name=\"minFrequency1\">\n<attr type=\"U32\" value=\"10\"/>\n"
        "<attr type=\"U32\" value=\"11\"/>\n</array>",
        "samplingRate1 array <array name=\"samplingRate1\">\n<attr type=\"U32\" value=\"40\"/>\n"
        "<attr type=\"U32\" value=\"41\"/>\n</array>",
        "minPower1 S64 4000000000",
        "maxPower1 S64 5",
        "trigger1DataDefined1 S32 1"};
    ASSERT_EQ(lines.size(), expected.size() + 6);
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 11), expected);
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 11, lines.end()),
              std::vector<std::string>(zeros.begin() + 6, zeros.end()));
    EXPECT_TRUE(m_trace.has("WRONG trigger identity (7) received!", 4));
    EXPECT_TRUE(m_trace.has("Unknown capability 9:", 0));

    // Two ports: the second array holds every row behind the first port's.
    CapabilityEntry second = entry;
    second.entryId = 4;
    second.ranges = {{{12, 22, 32, 42, 52}}};
    second.triggers = {};
    spectrum.entries = {entry, second};
    const std::vector<std::string> two = run({spectrum});
    ASSERT_EQ(two.size(), 22u);
    EXPECT_EQ(two[11], "carrierRfPort2 S32 4");
    EXPECT_EQ(two[14],
              "flatGainBW2 array <array name=\"flatGainBW2\">\n<attr type=\"U32\" "
              "value=\"32\"/>\n</array>");
    EXPECT_EQ(two[21], "trigger1DataDefined2 S32 0");
    EXPECT_EQ(info(), 0);  // the capability action leaves the attributes alone
    EXPECT_EQ(status(), 0);

    // A reply cut short fails the action instead of being read past its end.
    act("getUlsaSamplingCapability", {Attribute("targetRadioUnit", "STRING", kRadioUnit)});
    union SIGNAL* cut = alloc(24, RMCI_GET_CAPABILITIES_CFM);
    std::memset(reinterpret_cast<uint8_t*>(cut) + 4, 0, 20);
    reinterpret_cast<RmciGetCapabilitiesCfm*>(cut)->noOfCapabilities = 3;
    m_analyzer->actionSuccess(cut);
    free_buf(&cut);
    EXPECT_EQ(lastAnswer().result, kFailed);
    EXPECT_EQ(m_clients.rmciAlive, 0);
}
