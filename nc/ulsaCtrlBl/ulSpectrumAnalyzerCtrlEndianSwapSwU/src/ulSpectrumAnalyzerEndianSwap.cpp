#include "ulSpectrumAnalyzerEndianSwap.h"

#include "EndianConverter.h"
#include "dynTrace.h"
#include "rftiSig.h"
#include "rmciSig.h"
#include "traceGroups.h"

#include <cstddef>
#include <cstring>

namespace ulSpectrumAnalyzerEndianSwap {

namespace {

struct Field {
    uint8_t offset;
    uint8_t width;  // 2 or 4
};

// One row of a table: a signal number and the fields converted, in order. Offsets
// 4 and 8 stand in every row.
struct Row {
    SIGSELECT number;
    uint8_t count;
    Field fields[13];
};

constexpr Field kClient{4, 4};
constexpr Field kConnection{8, 4};

// Signals received. The holes are kept as they are: supportedProtocolRev (12) of the
// establish rejections and the last two words of RFTI_GET_RESULT_CFM (20, 24) are
// not converted, and RFTI_GET_RESULT_ACK is treated as received.
// clang-format off
const Row receivedTable[] = {
    {RMCI_CONN_ESTABLISH_CFM, 2, {kClient, kConnection}},
    {RMCI_CONFIG_CFM, 2, {kClient, kConnection}},
    {RMCI_MEASURE_CFM, 2, {kClient, kConnection}},
    {RMCI_MEASURE_STOP_CFM, 2, {kClient, kConnection}},
    {RFTI_CONN_ESTABLISH_CFM, 2, {kClient, kConnection}},
    {RMCI_CONN_ESTABLISH_REJ, 3, {kClient, kConnection, {16, 2}}},
    {RFTI_CONN_ESTABLISH_REJ, 3, {kClient, kConnection, {16, 2}}},
    {RMCI_CONFIG_REJ, 3, {kClient, kConnection, {12, 2}}},
    {RMCI_MEASURE_REJ, 3, {kClient, kConnection, {12, 2}}},
    {RFTI_GET_RESULT_REJ, 3, {kClient, kConnection, {12, 2}}},
    {RMCI_MEASURE_IND, 4, {kClient, kConnection, {12, 4}, {16, 4}}},
    {RMCI_GET_CAPABILITIES_CFM, 3, {kClient, kConnection, {12, 2}}},
    // blockSize at 20 is converted as a word twice, which undoes itself, and then as
    // two 16-bit halves.
    {RFTI_GET_CAPABILITIES_CFM,
     9,
     {kClient, kConnection, {12, 2}, {16, 2}, {18, 2}, {20, 4}, {20, 4}, {20, 2}, {22, 2}}},
    {RFTI_GET_RESULT_CFM, 4, {kClient, kConnection, {12, 4}, {16, 4}}},
    {RFTI_GET_RESULT_ACK, 3, {kClient, kConnection, {12, 4}}},
};

// Signals about to be sent; RFTI_GET_RESULT_DATA is treated as sent.
const Row sentTable[] = {
    {RMCI_GET_CAPABILITIES_REQ, 2, {kClient, kConnection}},
    {RFTI_GET_CAPABILITIES_REQ, 2, {kClient, kConnection}},
    {RMCI_CONN_ESTABLISH_REQ, 3, {kClient, kConnection, {12, 2}}},
    {RFTI_CONN_ESTABLISH_REQ, 3, {kClient, kConnection, {12, 2}}},
    {RMCI_CONFIG_REQ,
     13,
     {kClient, kConnection, {12, 2}, {14, 2}, {16, 4}, {20, 4}, {24, 4}, {28, 4}, {32, 4},
      {36, 4}, {40, 2}, {42, 2}, {44, 4}}},
    {RMCI_MEASURE_REQ, 4, {kClient, kConnection, {16, 2}, {12, 4}}},
    {RMCI_MEASURE_STOP_REQ, 3, {kClient, kConnection, {12, 4}}},
    {RFTI_GET_RESULT_REQ, 4, {kClient, kConnection, {16, 4}, {12, 4}}},
    {RFTI_GET_RESULT_DATA, 3, {kClient, kConnection, {12, 4}}},
};
// clang-format on

template <std::size_t N>
const Row* findRow(const Row (&table)[N], SIGSELECT number) {
    for (const Row& row : table) {
        if (row.number == number) {
            return &row;
        }
    }
    return nullptr;
}

// The signal's bytes with in-place conversion of fields that lie inside it.
class Bytes {
  public:
    Bytes(union SIGNAL* signal, OSBUFSIZE size, const EndianConverter& converter)
        : m_bytes(reinterpret_cast<uint8_t*>(signal)), m_size(size), m_converter(converter) {}

    bool holds(std::size_t offset, std::size_t width) const {
        return offset <= m_size && width <= m_size - offset;
    }
    uint16_t convert16(std::size_t offset) {
        const uint16_t value = m_converter.read16(m_bytes + offset);
        std::memcpy(m_bytes + offset, &value, sizeof value);
        return value;
    }
    uint32_t convert32(std::size_t offset) {
        const uint32_t value = m_converter.read32(m_bytes + offset);
        std::memcpy(m_bytes + offset, &value, sizeof value);
        return value;
    }
    uint16_t get16(std::size_t offset) const {
        uint16_t value;
        std::memcpy(&value, m_bytes + offset, sizeof value);
        return value;
    }
    void put16(std::size_t offset, uint16_t value) {
        std::memcpy(m_bytes + offset, &value, sizeof value);
    }

  private:
    uint8_t* m_bytes;
    OSBUFSIZE m_size;
    const EndianConverter& m_converter;
};

bool convertRow(const Row& row, Bytes& bytes) {
    for (uint8_t i = 0; i < row.count; ++i) {
        if (!bytes.holds(row.fields[i].offset, row.fields[i].width)) {
            return false;
        }
    }
    for (uint8_t i = 0; i < row.count; ++i) {
        if (row.fields[i].width == 2) {
            bytes.convert16(row.fields[i].offset);
        } else {
            bytes.convert32(row.fields[i].offset);
        }
    }
    return true;
}

// The triggers of one entry, from offset at; false when one lies outside.
bool convertTriggers(Bytes& bytes, std::size_t& at, uint32_t noOfTriggers) {
    for (uint32_t t = 0; t < noOfTriggers; ++t) {
        if (!bytes.holds(at, kRmciTriggerHeadSize)) {
            return false;
        }
        const uint16_t identity = bytes.convert16(at);
        if (identity == kRmciPowerTrigger) {
            if (!bytes.holds(at + 4, 8)) {
                return false;
            }
            bytes.convert32(at + 4);
            bytes.convert32(at + 8);
        } else {
            TRACE_GROUP(traceGroups::ulsaRmciIf, 1, "WRONG trigger identity (%d) received!\n",
                        identity);
        }
        const uint16_t length = bytes.convert16(at + 2);
        if (length < kRmciTriggerHeadSize) {
            return false;  // a trigger shorter than its head would never move on
        }
        at += length;
    }
    return true;
}

// The content of a type 1 capability that starts at offset record.
bool convertEntries(Bytes& bytes, std::size_t record) {
    std::size_t at = record + kRmciNoOfEntriesOffset;
    if (!bytes.holds(at, 4)) {
        return false;
    }
    const uint32_t noOfEntries = bytes.convert32(at);
    at = record + kRmciFirstEntryOffset;
    for (uint32_t e = 0; e < noOfEntries; ++e) {
        if (!bytes.holds(at, sizeof(RmciCapabilityEntryHead))) {
            return false;
        }
        bytes.convert32(at);
        const uint32_t noOfRanges = bytes.convert32(at + 4);
        const uint32_t noOfTriggers = bytes.convert32(at + 8);
        at += sizeof(RmciCapabilityEntryHead);
        for (uint32_t r = 0; r < noOfRanges; ++r) {
            if (!bytes.holds(at, sizeof(RmciRange))) {
                return false;
            }
            for (std::size_t word = 0; word < 5; ++word) {
                bytes.convert32(at + 4 * word);
            }
            at += sizeof(RmciRange);
        }
        if (!convertTriggers(bytes, at, noOfTriggers)) {
            return false;
        }
    }
    return true;
}

// Record i's type and length are read at the fixed stride of 60 and written at the
// cursor, which moves by each record's own length. With records of 60 bytes the two
// agree; with records of another length they part and the words are moved to the
// cursor. The walk is kept so on purpose.
bool convertCapabilities(Bytes& bytes) {
    // The row has converted the count already.
    const uint16_t noOfCapabilities =
        bytes.get16(offsetof(RmciGetCapabilitiesCfm, noOfCapabilities));
    std::size_t cursor = RmciGetCapabilitiesCfm::firstRecordOffset;
    for (uint32_t i = 0; i < noOfCapabilities; ++i) {
        const std::size_t fixed = RmciGetCapabilitiesCfm::firstRecordOffset + kCapabilityStride * i;
        if (!bytes.holds(fixed, sizeof(RmciCapabilityHead)) ||
            !bytes.holds(cursor, sizeof(RmciCapabilityHead))) {
            return false;
        }
        const uint16_t length = bytes.convert16(fixed + 2);
        const uint16_t type = bytes.convert16(fixed);
        bytes.put16(cursor + 2, length);
        bytes.put16(cursor, type);
        if (type == kRmciCapabilityEntries) {
            if (!convertEntries(bytes, cursor)) {
                return false;
            }
        } else if (type != kRmciCapabilityOpaque) {
            TRACE_GROUP(traceGroups::ulsaRmciIf, 4, "Unknown capability %d:\n", type);
        }
        cursor += length;
    }
    return true;
}

SIGSELECT numberOf(const union SIGNAL* signal) {
    SIGSELECT number;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

}  // namespace

Result convertReceived(union SIGNAL* signal, OSBUFSIZE size, int mode) {
    if (signal == nullptr || size < sizeof(SIGSELECT)) {
        return Result::UnknownSignal;
    }
    const Row* row = findRow(receivedTable, numberOf(signal));
    if (row == nullptr) {
        return Result::UnknownSignal;
    }
    const EndianConverter converter(static_cast<uint32_t>(mode));
    Bytes bytes(signal, size, converter);
    if (!convertRow(*row, bytes)) {
        return Result::Malformed;
    }
    if (row->number == RMCI_GET_CAPABILITIES_CFM && !convertCapabilities(bytes)) {
        return Result::Malformed;
    }
    return Result::Converted;
}

Result convertToSend(union SIGNAL* signal, OSBUFSIZE size, int mode) {
    if (signal == nullptr || size < sizeof(SIGSELECT)) {
        return Result::UnknownSignal;
    }
    const Row* row = findRow(sentTable, numberOf(signal));
    if (row == nullptr) {
        return Result::UnknownSignal;
    }
    const EndianConverter converter(static_cast<uint32_t>(mode));
    Bytes bytes(signal, size, converter);
    return convertRow(*row, bytes) ? Result::Converted : Result::Malformed;
}

}  // namespace ulSpectrumAnalyzerEndianSwap
