// Corrupted signals of every kind, fed to the conversion and to every checked
// reader. Each signal lives in a buffer of exactly its size, so that under ASan a
// single byte read outside fails the test.
#include "signalBytes.h"

#include "ulSpectrumAnalyzerEndianSwap.h"

#include <random>

using namespace swaptest;
using namespace radioSignals;

namespace {

// Valid signals of every variable kind, to corrupt.
std::vector<Bytes> seeds() {
    std::vector<Bytes> out;
    Capability entries;
    entries.capabilityType = kRmciCapabilityEntries;
    entries.capabilityLength = 60;
    CapabilityEntry entry;
    entry.entryId = 1;
    entry.ranges.push_back(RmciRange{{1, 2, 3, 4, 5}});
    entry.triggers.push_back(Trigger{kRmciPowerTrigger, 12, 1, 2});
    entries.entries.push_back(entry);
    Capability opaque;
    opaque.capabilityType = kRmciCapabilityOpaque;
    opaque.capabilityLength = 60;
    out.push_back(take(makeCapabilitiesCfm(1, 2, {entries, opaque, entries})));
    RejectInfo reject{1, 2, "cause"};
    for (SIGSELECT number :
         {RMCI_CONN_ESTABLISH_REJ, RMCI_CONFIG_REJ, KGM_IW_USI_CONN_ESTABLISH_REJ}) {
        out.push_back(take(makeReject(number, 1, 2, reject)));
    }
    out.push_back(take(makeUnitInfo(UnitInfo{1, 2, 544, 1, "dcName"})));
    out.push_back(take(makeUsiConnEstablishReq(1, 0, "ManagedElement=1,Equipment=1")));
    out.push_back(take(makeServerInd(ULSA_RMCI_SERVER_HUNT_IND, "dcName/RmcServer")));
    out.push_back(patterned(RFTI_GET_RESULT_DATA, 40));
    out.push_back(patterned(RFTI_GET_CAPABILITIES_CFM, 24));
    return out;
}

// Reads everything a client could read from the signal; the results do not
// matter, only that nothing is read outside.
void readEverything(Bytes& bytes) {
    union SIGNAL* signal = asSignal(bytes);
    const OSBUFSIZE size = sizeOf(bytes);
    RejectInfo reject;
    readReject(signal, size, reject);
    std::vector<Capability> capabilities;
    if (readCapabilities(signal, size, capabilities)) {
        std::size_t total = 0;
        for (const Capability& capability : capabilities) {
            ASSERT_GE(capability.capabilityLength, 4);
            total += capability.capabilityLength;
        }
        ASSERT_LE(total + 16, size);
    }
    UnitInfo info;
    readUnitInfo(signal, size, info);
    UsiEstablishRequest request;
    if (readUsiConnEstablishReq(signal, size, request)) {
        ASSERT_LE(request.ldn.size() + 24, size);
    }
    std::string name;
    readServerName(signal, size, name);
    ResultBlock block;
    if (readResultData(signal, size, block)) {
        ASSERT_EQ(block.length + 16u, size);
    }
    isWellFormed(signal, size);
}

}  // namespace

using CorruptSignals = KernelTest;

TEST_F(CorruptSignals, NoReaderAndNoConversionReadsOutsideTheSignal) {
    const std::vector<Bytes> valid = seeds();
    std::size_t count = 0;
    const SignalInfo* numbers = catalogue(count);
    const uint32_t extremes[] = {0, 1, 3, 4, 0x7FFFu, 0xFFFFu, 0x10000u, 0x7FFFFFFFu, 0xFFFFFFFFu};
    std::mt19937 random(20261122);
    for (int round = 0; round < 30000; ++round) {
        Bytes bytes = valid[random() % valid.size()];
        // Cut or lengthen it, then spoil some bytes and some words.
        const std::size_t size =
            random() % 4 == 0 ? random() % (bytes.size() + 1) : bytes.size() + random() % 3;
        bytes.resize(size, static_cast<uint8_t>(random()));
        const int changes = static_cast<int>(random() % 4);
        for (int i = 0; i < changes && !bytes.empty(); ++i) {
            const std::size_t at = random() % bytes.size();
            if (random() % 2 == 0 || bytes.size() - at < 4) {
                bytes[at] = static_cast<uint8_t>(random());
            } else {
                const uint32_t value = extremes[random() % (sizeof extremes / sizeof extremes[0])];
                std::memcpy(bytes.data() + at, &value, random() % 2 == 0 ? 2 : 4);
            }
        }
        if (bytes.size() >= 4 && random() % 8 == 0) {
            std::memcpy(bytes.data(), &numbers[random() % count].number, 4);
        }
        Bytes received = bytes;
        ulSpectrumAnalyzerEndianSwap::convertReceived(asSignal(received), sizeOf(received),
                                                      1 + static_cast<int>(random() % 2));
        readEverything(received);
        readEverything(bytes);
        Bytes sent = bytes;
        ulSpectrumAnalyzerEndianSwap::convertToSend(asSignal(sent), sizeOf(sent), 2);
        if (HasFatalFailure()) {
            FAIL() << "round " << round;
        }
    }
}
