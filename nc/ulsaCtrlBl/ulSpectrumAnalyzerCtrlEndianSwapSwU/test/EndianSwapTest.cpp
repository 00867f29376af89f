// The two conversion tables, row by row, and the capability walk.
#include "signalBytes.h"

#include "LevelTraceCapture.h"
#include "traceGroups.h"
#include "ulSpectrumAnalyzerEndianSwap.h"

#include <algorithm>
#include <memory>
#include <utility>

using namespace swaptest;
using ulSpectrumAnalyzerEndianSwap::convertReceived;
using ulSpectrumAnalyzerEndianSwap::convertToSend;
using ulSpectrumAnalyzerEndianSwap::Result;

namespace {

constexpr int kHostOrder = 1;
constexpr int kReverse = 2;

struct Field {
    std::size_t offset;
    std::size_t width;
};

struct Row {
    SIGSELECT number;
    bool received;
    std::vector<Field> fields;  // beside 4 and 8, in the order they are converted
};

// The tables as the radio interface defines them, holes included: no field at 12 of
// the establish rejections, none at 20 and 24 of RFTI_GET_RESULT_CFM, the ACK
// received and the data block sent.
// clang-format off
const std::vector<Row> kRows = {
    {RMCI_CONN_ESTABLISH_CFM, true, {}},
    {RMCI_CONFIG_CFM, true, {}},
    {RMCI_MEASURE_CFM, true, {}},
    {RMCI_MEASURE_STOP_CFM, true, {}},
    {RFTI_CONN_ESTABLISH_CFM, true, {}},
    {RMCI_CONN_ESTABLISH_REJ, true, {{16, 2}}},
    {RFTI_CONN_ESTABLISH_REJ, true, {{16, 2}}},
    {RMCI_CONFIG_REJ, true, {{12, 2}}},
    {RMCI_MEASURE_REJ, true, {{12, 2}}},
    {RFTI_GET_RESULT_REJ, true, {{12, 2}}},
    {RMCI_MEASURE_IND, true, {{12, 4}, {16, 4}}},
    {RMCI_GET_CAPABILITIES_CFM, true, {{12, 2}}},
    {RFTI_GET_CAPABILITIES_CFM,
     true,
     {{12, 2}, {16, 2}, {18, 2}, {20, 4}, {20, 4}, {20, 2}, {22, 2}}},
    {RFTI_GET_RESULT_CFM, true, {{12, 4}, {16, 4}}},
    {RFTI_GET_RESULT_ACK, true, {{12, 4}}},
    {RMCI_GET_CAPABILITIES_REQ, false, {}},
    {RFTI_GET_CAPABILITIES_REQ, false, {}},
    {RMCI_CONN_ESTABLISH_REQ, false, {{12, 2}}},
    {RFTI_CONN_ESTABLISH_REQ, false, {{12, 2}}},
    {RMCI_CONFIG_REQ,
     false,
     {{12, 2}, {14, 2}, {16, 4}, {20, 4}, {24, 4}, {28, 4}, {32, 4}, {36, 4}, {40, 2}, {42, 2},
      {44, 4}}},
    {RMCI_MEASURE_REQ, false, {{16, 2}, {12, 4}}},
    {RMCI_MEASURE_STOP_REQ, false, {{12, 4}}},
    {RFTI_GET_RESULT_REQ, false, {{16, 4}, {12, 4}}},
    {RFTI_GET_RESULT_DATA, false, {{12, 4}}},
};
// clang-format on

Result convert(bool received, Bytes& bytes, int mode) {
    return received ? convertReceived(asSignal(bytes), sizeOf(bytes), mode)
                    : convertToSend(asSignal(bytes), sizeOf(bytes), mode);
}

}  // namespace

TEST(EndianSwapTables, EachRowReversesItsFieldsInModeTwoAndNothingElse) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << std::hex << "signal 0x" << row.number);
        std::vector<Field> fields = {{4, 4}, {8, 4}};
        fields.insert(fields.end(), row.fields.begin(), row.fields.end());
        std::size_t end = 0;
        for (const Field& field : fields) {
            end = std::max(end, field.offset + field.width);
        }
        Bytes original = patterned(row.number, end + 8);
        if (row.number == RMCI_GET_CAPABILITIES_CFM) {
            std::fill_n(original.begin() + 12, 2, 0);  // no records: the walk is tested below
        }
        Bytes expected = original;
        for (const Field& field : fields) {
            std::reverse(expected.begin() + field.offset,
                         expected.begin() + field.offset + field.width);
        }

        Bytes bytes = original;
        EXPECT_EQ(convert(row.received, bytes, kReverse), Result::Converted);
        EXPECT_EQ(bytes, expected);

        bytes = original;
        EXPECT_EQ(convert(row.received, bytes, kHostOrder), Result::Converted);
        EXPECT_EQ(bytes, original);

        // A signal too short for its last field is not touched at all.
        Bytes shortened(original.begin(), original.begin() + end - 1);
        const Bytes shortCopy = shortened;
        EXPECT_EQ(convert(row.received, shortened, kReverse), Result::Malformed);
        EXPECT_EQ(shortened, shortCopy);

        // The other table does not know the number.
        bytes = original;
        EXPECT_EQ(convert(!row.received, bytes, kReverse), Result::UnknownSignal);
        EXPECT_EQ(bytes, original);
    }
}

TEST(EndianSwapTables, SignalsOutsideTheTablesAreLeftAlone) {
    const SIGSELECT outside[] = {KGM_IW_USI_CONN_ESTABLISH_REQ,
                                 KGM_IW_USI_UNIT_INFO_UPDATE_IND,
                                 KGM_IW_USI_CONN_CLOSE_CFM,
                                 ULSA_TMO_SIG,
                                 ULSA_RMCI_SERVER_HUNT_IND,
                                 0x1706A99u,
                                 0u};
    for (SIGSELECT number : outside) {
        const Bytes original = patterned(number, 108);
        for (bool received : {true, false}) {
            Bytes bytes = original;
            EXPECT_EQ(convert(received, bytes, kReverse), Result::UnknownSignal) << number;
            EXPECT_EQ(bytes, original);
        }
    }
    Bytes tiny = {1, 2};
    EXPECT_EQ(convertReceived(asSignal(tiny), 2, kReverse), Result::UnknownSignal);
}

TEST(EndianSwapTablesDeathTest, AnUnsetModeStopsAtTheFirstField) {
    Bytes bytes = patterned(RMCI_MEASURE_IND, 20);
    EXPECT_DEATH(convertReceived(asSignal(bytes), sizeOf(bytes), 0), "m_mode != Unknown");
}

namespace {

// A capability of type 1 as the radio unit writes it, padded to length.
void writeEntriesRecord(BigEndianWriter& out, std::size_t length, uint32_t entryId,
                        uint16_t otherTriggerIdentity) {
    const std::size_t start = out.bytes.size();
    out.u16(kRmciCapabilityEntries);
    out.u16(static_cast<uint32_t>(length));
    out.u32(1);  // noOfEntries
    out.u32(entryId);
    out.u32(1);  // noOfRanges
    out.u32(2);  // noOfTriggers
    for (uint32_t word = 0; word < 5; ++word) {
        out.u32(0x01020300u + word);
    }
    out.u16(kRmciPowerTrigger);
    out.u16(12);
    out.u32(0xA1B2C3D4u);
    out.u32(0x00000100u);
    out.u16(otherTriggerIdentity);
    out.u16(4);
    out.zeros(length - (out.bytes.size() - start));
}

void writeOpaqueRecord(BigEndianWriter& out, uint16_t type, std::size_t length) {
    const std::size_t start = out.bytes.size();
    out.u16(type);
    out.u16(static_cast<uint32_t>(length));
    while (out.bytes.size() - start < length) {
        out.bytes.push_back(0xEE);
    }
}

BigEndianWriter capabilitiesHead(uint16_t count) {
    BigEndianWriter out;
    out.bytes = {0, 0, 0, 0};
    const SIGSELECT number = RMCI_GET_CAPABILITIES_CFM;
    std::memcpy(out.bytes.data(), &number, sizeof number);
    out.u32(0x11);  // clientRef
    out.u32(0x22);  // connectionRef
    out.u16(count);
    out.u16(0);
    return out;
}

class CapabilityWalk : public KernelTest {
  protected:
    void SetUp() override {
        KernelTest::SetUp();
        traceGroups::registerTraceGroup("ulsaRmciIf", &traceGroups::ulsaRmciIf);
        m_trace = std::make_unique<LevelTraceCapture>(std::vector<std::string>{"ulsaRmciIf"});
    }
    void TearDown() override {
        m_trace.reset();
        KernelTest::TearDown();
    }
    std::unique_ptr<LevelTraceCapture> m_trace;
};

}  // namespace

bool littleEndianHost() {
    const uint16_t probe = 1;
    uint8_t first;
    std::memcpy(&first, &probe, 1);
    return first == 1;
}

TEST_F(CapabilityWalk, RecordsOfSixtyBytesConvertToWhatTheReaderReads) {
    if (!littleEndianHost()) {
        GTEST_SKIP() << "mode 2 turns the radio's order into host order on a little-endian host";
    }
    BigEndianWriter out = capabilitiesHead(4);
    writeEntriesRecord(out, 60, 7, 9);
    writeOpaqueRecord(out, kRmciCapabilityOpaque, 60);
    writeOpaqueRecord(out, 7, 60);
    writeEntriesRecord(out, 60, 8, 5);
    Bytes bytes = out.bytes;

    ASSERT_EQ(convertReceived(asSignal(bytes), sizeOf(bytes), kReverse), Result::Converted);
    std::vector<radioSignals::Capability> capabilities;
    ASSERT_TRUE(radioSignals::readCapabilities(asSignal(bytes), sizeOf(bytes), capabilities));
    ASSERT_EQ(capabilities.size(), 4u);
    const uint16_t types[] = {1, 2, 7, 1};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(capabilities[i].capabilityType, types[i]);
        EXPECT_EQ(capabilities[i].capabilityLength, 60);
    }
    const uint32_t ids[] = {7, 8};
    const uint16_t otherIdentities[] = {9, 5};
    for (std::size_t k = 0; k < 2; ++k) {
        const radioSignals::Capability& capability = capabilities[k == 0 ? 0 : 3];
        ASSERT_EQ(capability.entries.size(), 1u);
        const radioSignals::CapabilityEntry& entry = capability.entries[0];
        EXPECT_EQ(entry.entryId, ids[k]);
        ASSERT_EQ(entry.ranges.size(), 1u);
        EXPECT_EQ(entry.ranges[0].words[4], 0x01020304u);
        ASSERT_EQ(entry.triggers.size(), 2u);
        EXPECT_EQ(entry.triggers[0].triggerIdentity, kRmciPowerTrigger);
        EXPECT_EQ(entry.triggers[0].firstValue, 0xA1B2C3D4u);
        EXPECT_EQ(entry.triggers[0].secondValue, 0x100u);
        EXPECT_EQ(entry.triggers[1].triggerIdentity, otherIdentities[k]);
        EXPECT_EQ(entry.triggers[1].triggerLength, 4);
    }
    EXPECT_EQ(m_trace->count(4, "Unknown capability 7:"), 1u);
    EXPECT_EQ(m_trace->count(1, "WRONG trigger identity (9) received!"), 1u);
    EXPECT_EQ(m_trace->count(1, "WRONG trigger identity (5) received!"), 1u);
}

TEST_F(CapabilityWalk, TheFixedStrideMovesWordsOfOtherLengthsEvenInModeOne) {
    // Two records of 20 bytes; the walk reads record 1's words at 76, not at 36.
    Bytes bytes = patterned(RMCI_GET_CAPABILITIES_CFM, 16 + 2 * 60);
    const uint16_t head[] = {2, 0, 2, 20};  // count 2, fill, record 0: type 2, length 20
    std::memcpy(bytes.data() + 12, head, sizeof head);
    const uint16_t atStride[] = {7, 40};  // what lies at 76: type 7, length 40
    std::memcpy(bytes.data() + 76, atStride, sizeof atStride);
    Bytes expected = bytes;
    std::memcpy(expected.data() + 36, atStride, sizeof atStride);

    EXPECT_EQ(convertReceived(asSignal(bytes), sizeOf(bytes), kHostOrder), Result::Converted);
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(m_trace->count(4, "Unknown capability 7:"), 1u);

    // Records shorter than the stride in a signal that ends with them: the walk
    // would read past the end, and reports the signal instead.
    Bytes shortRecords(bytes.begin(), bytes.begin() + 16 + 2 * 8);
    const uint16_t shortHead[] = {2, 0, 2, 8, 2, 8};
    std::memcpy(shortRecords.data() + 12, shortHead, sizeof shortHead);
    EXPECT_EQ(convertReceived(asSignal(shortRecords), sizeOf(shortRecords), kHostOrder),
              Result::Malformed);
}

TEST_F(CapabilityWalk, CountsAndLengthsThatLeadOutsideAreMalformed) {
    struct Case {
        const char* what;
        uint32_t noOfEntries, noOfRanges, noOfTriggers;
        uint16_t triggerLength;
    };
    const Case cases[] = {
        {"entries", 0xFFFFFFFFu, 0, 0, 4},
        {"ranges", 1, 0x40000000u, 0, 4},
        {"triggers", 1, 0, 0xFFFFFFFFu, 4},
        {"a trigger that never moves on", 1, 0, 0xFFFFFFFFu, 0},
    };
    for (const Case& c : cases) {
        BigEndianWriter out = capabilitiesHead(1);
        out.u16(kRmciCapabilityEntries);
        out.u16(60);
        out.u32(c.noOfEntries);
        out.u32(1);
        out.u32(c.noOfRanges);
        out.u32(c.noOfTriggers);
        out.u16(3);
        out.u16(c.triggerLength);
        out.zeros(60 - 24);
        Bytes bytes = out.bytes;
        EXPECT_EQ(convertReceived(asSignal(bytes), sizeOf(bytes), kReverse), Result::Malformed)
            << c.what;
    }
}
