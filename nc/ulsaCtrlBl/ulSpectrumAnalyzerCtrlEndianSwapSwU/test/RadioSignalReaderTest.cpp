// The checked readers and the builders: what one writes the other reads back, and
// every way a signal can lead a reader outside makes the read fail.
#include "signalBytes.h"

using namespace swaptest;
using namespace radioSignals;

namespace {

using ReaderTest = KernelTest;

void putU32(Bytes& bytes, std::size_t offset, uint32_t value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

void putU16(Bytes& bytes, std::size_t offset, uint16_t value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

std::vector<Capability> sampleCapabilities() {
    Capability entries;
    entries.capabilityType = kRmciCapabilityEntries;
    entries.capabilityLength = 60;
    CapabilityEntry entry;
    entry.entryId = 3;
    entry.ranges.push_back(RmciRange{{1, 2, 3, 4, 5}});
    entry.triggers.push_back(Trigger{kRmciPowerTrigger, 12, 0xFFFFFF9Cu, 7});
    entry.triggers.push_back(Trigger{6, 8, 0, 0});
    entries.entries.push_back(entry);
    Capability opaque;
    opaque.capabilityType = kRmciCapabilityOpaque;
    opaque.capabilityLength = 10;
    return {entries, opaque};
}

}  // namespace

TEST_F(ReaderTest, BuiltSignalsReadBackAndHaveTheirMinimumSize) {
    for (SIGSELECT number :
         {RMCI_CONN_ESTABLISH_REJ, RFTI_CONN_ESTABLISH_REJ, RMCI_CONFIG_REJ, RMCI_MEASURE_REJ,
          RFTI_GET_RESULT_REJ, KGM_IW_USI_CONN_ESTABLISH_REJ}) {
        const bool usi = number == KGM_IW_USI_CONN_ESTABLISH_REJ;
        const bool establish =
            number == RMCI_CONN_ESTABLISH_REJ || number == RFTI_CONN_ESTABLISH_REJ;
        RejectInfo sent;
        sent.supportedProtocolRev = establish ? 4 : 0;
        sent.errorCode = usi ? 0x10005u : 17;
        sent.errorDescription = usi ? "" : "no such port";
        Bytes bytes = take(makeReject(number, 5, 6, sent));
        EXPECT_TRUE(isWellFormed(asSignal(bytes), sizeOf(bytes)));
        RejectInfo read;
        ASSERT_TRUE(readReject(asSignal(bytes), sizeOf(bytes), read)) << number;
        EXPECT_EQ(read.supportedProtocolRev, sent.supportedProtocolRev);
        EXPECT_EQ(read.errorCode, sent.errorCode);
        EXPECT_EQ(read.errorDescription, sent.errorDescription);
        EXPECT_EQ(checkedLayout<RadioSignalHead>(asSignal(bytes), sizeOf(bytes))->clientRef, 5u);
    }

    UnitInfo info{9, 10, 544, kUsiOperationalDisabled, "RU-1-link"};
    Bytes unit = take(makeUnitInfo(info));
    EXPECT_EQ(unit.size(), 85u + info.dcControllerName.size());
    UnitInfo readInfo;
    ASSERT_TRUE(readUnitInfo(asSignal(unit), sizeOf(unit), readInfo));
    EXPECT_EQ(readInfo.unitStatusBits, 544u);
    EXPECT_EQ(readInfo.operationalState, kUsiOperationalDisabled);
    EXPECT_EQ(readInfo.dcControllerName, "RU-1-link");

    const std::string ldn = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
    Bytes request = take(makeUsiConnEstablishReq(9, 0, ldn));
    EXPECT_EQ(request.size(), 28u + ldn.size());
    UsiEstablishRequest readRequest;
    ASSERT_TRUE(readUsiConnEstablishReq(asSignal(request), sizeOf(request), readRequest));
    EXPECT_EQ(readRequest.ldn, ldn);
    EXPECT_EQ(readRequest.procedureRef, 9u);
    EXPECT_EQ(readRequest.firstFixedWord, 1u);
    EXPECT_EQ(readRequest.secondFixedWord, 1u);

    // A server name is cut to 99 characters.
    Bytes hunt = take(makeServerInd(ULSA_RFTI_SERVER_HUNT_IND, std::string(150, 'n')));
    std::string name;
    ASSERT_TRUE(readServerName(asSignal(hunt), sizeOf(hunt), name));
    EXPECT_EQ(name, std::string(kUlsaServerNameMax, 'n'));

    Bytes cfm = take(makeCapabilitiesCfm(1, 2, sampleCapabilities()));
    std::vector<Capability> capabilities;
    ASSERT_TRUE(readCapabilities(asSignal(cfm), sizeOf(cfm), capabilities));
    ASSERT_EQ(capabilities.size(), 2u);
    EXPECT_EQ(capabilities[0].capabilityLength, 60);
    ASSERT_EQ(capabilities[0].entries.size(), 1u);
    EXPECT_EQ(capabilities[0].entries[0].ranges[0].words[4], 5u);
    EXPECT_EQ(capabilities[0].entries[0].triggers[0].firstValue, 0xFFFFFF9Cu);
    EXPECT_EQ(capabilities[0].entries[0].triggers[1].triggerIdentity, 6);
    EXPECT_EQ(capabilities[1].capabilityLength, 10);
}

TEST_F(ReaderTest, EveryWayOutsideTheSignalIsMalformed) {
    // Texts without their NUL inside the signal.
    RejectInfo reject;
    reject.errorDescription = "abc";
    Bytes rej = take(makeReject(RMCI_CONFIG_REJ, 1, 2, reject));
    rej.pop_back();
    EXPECT_FALSE(readReject(asSignal(rej), sizeOf(rej), reject));
    EXPECT_FALSE(isWellFormed(asSignal(rej), sizeOf(rej)));
    Bytes unit = take(makeUnitInfo(UnitInfo{1, 2, 3, 1, "dc"}));
    unit.back() = 'x';
    UnitInfo info;
    EXPECT_FALSE(readUnitInfo(asSignal(unit), sizeOf(unit), info));
    Bytes hunt = take(makeServerInd(ULSA_RMCI_SERVER_HUNT_IND, "x"));
    std::memset(hunt.data() + 4, 'a', hunt.size() - 4);
    std::string name;
    EXPECT_FALSE(readServerName(asSignal(hunt), sizeOf(hunt), name));

    // An LDN length beyond the signal.
    Bytes request = take(makeUsiConnEstablishReq(1, 0, "ab"));
    putU32(request, 20, 7);
    UsiEstablishRequest readRequest;
    EXPECT_FALSE(readUsiConnEstablishReq(asSignal(request), sizeOf(request), readRequest));
    putU32(request, 20, 0xFFFFFFF0u);
    EXPECT_FALSE(readUsiConnEstablishReq(asSignal(request), sizeOf(request), readRequest));

    // Signals shorter than their fixed fields.
    Bytes measure = patterned(RMCI_MEASURE_IND, 19);
    EXPECT_EQ(checkedLayout<RmciMeasureInd>(asSignal(measure), sizeOf(measure)), nullptr);
    EXPECT_FALSE(isWellFormed(asSignal(measure), sizeOf(measure)));
    Bytes data = patterned(RFTI_GET_RESULT_DATA, 15);
    ResultBlock block;
    EXPECT_FALSE(readResultData(asSignal(data), sizeOf(data), block));
    data = patterned(RFTI_GET_RESULT_DATA, 16);
    ASSERT_TRUE(readResultData(asSignal(data), sizeOf(data), block));
    EXPECT_EQ(block.length, 0u);

    // Capability records: each change below leads the walk outside its record or
    // the signal.
    const Bytes good = take(makeCapabilitiesCfm(1, 2, sampleCapabilities()));
    struct Change {
        const char* what;
        std::size_t offset;
        uint32_t value;
        std::size_t width;
    };
    const Change changes[] = {
        {"one record more", 12, 3, 2},
        {"a record shorter than its head", 18, 3, 2},
        {"a record past the end", 76 + 2, 11, 2},
        {"entries beyond the record", 20, 2, 4},
        {"ranges that wrap in 32 bits", 28, 0x40000000u, 4},
        {"triggers beyond the record", 32, 3, 4},
        {"a power trigger shorter than its values", 56 + 2, 8, 2},
        {"a trigger past its record", 68 + 2, 16, 2},
    };
    std::vector<Capability> capabilities;
    ASSERT_TRUE(readCapabilities(asSignal(const_cast<Bytes&>(good)), sizeOf(good), capabilities));
    for (const Change& change : changes) {
        Bytes bytes = good;
        if (change.width == 2) {
            putU16(bytes, change.offset, static_cast<uint16_t>(change.value));
        } else {
            putU32(bytes, change.offset, change.value);
        }
        EXPECT_FALSE(readCapabilities(asSignal(bytes), sizeOf(bytes), capabilities)) << change.what;
        EXPECT_FALSE(isWellFormed(asSignal(bytes), sizeOf(bytes))) << change.what;
    }
}
