#include "radioSignalReader.h"

#include <algorithm>
#include <cstring>

namespace radioSignals {

bool SignalReader::u16(std::size_t offset, uint16_t& value) const {
    if (!holds(offset, sizeof value)) {
        return false;
    }
    std::memcpy(&value, m_bytes + offset, sizeof value);
    return true;
}

bool SignalReader::u32(std::size_t offset, uint32_t& value) const {
    if (!holds(offset, sizeof value)) {
        return false;
    }
    std::memcpy(&value, m_bytes + offset, sizeof value);
    return true;
}

bool SignalReader::text(std::size_t offset, std::size_t limit, std::string& value) const {
    if (offset >= m_size) {
        return false;
    }
    const std::size_t room = std::min<std::size_t>(m_size - offset, limit);
    const void* end = std::memchr(m_bytes + offset, '\0', room);
    if (end == nullptr) {
        return false;
    }
    value.assign(reinterpret_cast<const char*>(m_bytes + offset),
                 static_cast<const uint8_t*>(end) - (m_bytes + offset));
    return true;
}

bool SignalReader::chars(std::size_t offset, std::size_t length, std::string& value) const {
    if (!holds(offset, length)) {
        return false;
    }
    value.assign(reinterpret_cast<const char*>(m_bytes + offset), length);
    return true;
}

bool SignalReader::bytes(std::size_t offset, std::size_t length, const uint8_t*& data) const {
    if (!holds(offset, length)) {
        return false;
    }
    data = m_bytes + offset;
    return true;
}

namespace {

constexpr std::size_t kNoLimit = ~std::size_t{0};

SIGSELECT numberOf(const SignalReader& reader) {
    uint32_t number = 0;
    reader.u32(0, number);
    return number;
}

bool isRadioConnEstablishRej(SIGSELECT number) {
    return number == RMCI_CONN_ESTABLISH_REJ || number == RFTI_CONN_ESTABLISH_REJ;
}

bool isRadioRequestRej(SIGSELECT number) {
    return number == RMCI_CONFIG_REJ || number == RMCI_MEASURE_REJ || number == RFTI_GET_RESULT_REJ;
}

bool isServerInd(SIGSELECT number) {
    return number == ULSA_RMCI_SERVER_HUNT_IND || number == ULSA_RMCI_SERVER_ATTACH_IND ||
           number == ULSA_RFTI_SERVER_HUNT_IND || number == ULSA_RFTI_SERVER_ATTACH_IND;
}

// Reads the triggers of an entry, which must end by recordEnd.
bool readTriggers(const SignalReader& reader, std::size_t& at, std::size_t recordEnd,
                  uint32_t noOfTriggers, CapabilityEntry& entry) {
    for (uint32_t t = 0; t < noOfTriggers; ++t) {
        Trigger trigger;
        if (recordEnd - at < kRmciTriggerHeadSize || !reader.u16(at, trigger.triggerIdentity) ||
            !reader.u16(at + 2, trigger.triggerLength)) {
            return false;
        }
        const std::size_t needed = trigger.triggerIdentity == kRmciPowerTrigger
                                       ? sizeof(RmciTrigger)
                                       : kRmciTriggerHeadSize;
        if (trigger.triggerLength < needed || trigger.triggerLength > recordEnd - at) {
            return false;
        }
        if (trigger.triggerIdentity == kRmciPowerTrigger &&
            (!reader.u32(at + 4, trigger.firstValue) || !reader.u32(at + 8, trigger.secondValue))) {
            return false;
        }
        entry.triggers.push_back(trigger);
        at += trigger.triggerLength;
    }
    return true;
}

bool readEntries(const SignalReader& reader, std::size_t record, std::size_t recordEnd,
                 Capability& capability) {
    uint32_t noOfEntries = 0;
    if (recordEnd - record < kRmciFirstEntryOffset ||
        !reader.u32(record + kRmciNoOfEntriesOffset, noOfEntries)) {
        return false;
    }
    std::size_t at = record + kRmciFirstEntryOffset;
    for (uint32_t e = 0; e < noOfEntries; ++e) {
        CapabilityEntry entry;
        uint32_t noOfRanges = 0;
        uint32_t noOfTriggers = 0;
        if (recordEnd - at < sizeof(RmciCapabilityEntryHead) || !reader.u32(at, entry.entryId) ||
            !reader.u32(at + 4, noOfRanges) || !reader.u32(at + 8, noOfTriggers)) {
            return false;
        }
        at += sizeof(RmciCapabilityEntryHead);
        // Counted in 64 bits: a count near 2^32 must not wrap into a small length.
        if (static_cast<uint64_t>(noOfRanges) * sizeof(RmciRange) > recordEnd - at) {
            return false;
        }
        for (uint32_t r = 0; r < noOfRanges; ++r) {
            RmciRange range;
            for (std::size_t word = 0; word < 5; ++word) {
                reader.u32(at + 4 * word, range.words[word]);
            }
            entry.ranges.push_back(range);
            at += sizeof(RmciRange);
        }
        if (!readTriggers(reader, at, recordEnd, noOfTriggers, entry)) {
            return false;
        }
        capability.entries.push_back(std::move(entry));
    }
    return true;
}

void put(uint8_t* bytes, std::size_t offset, const void* value, std::size_t length) {
    std::memcpy(bytes + offset, value, length);
}

// Bytes a trigger takes: its own length, or what its content needs if more.
std::size_t triggerSpan(const Trigger& trigger) {
    const std::size_t needed =
        trigger.triggerIdentity == kRmciPowerTrigger ? sizeof(RmciTrigger) : kRmciTriggerHeadSize;
    return std::max<std::size_t>(trigger.triggerLength, needed);
}

std::size_t recordSpan(const Capability& capability) {
    std::size_t needed = sizeof(RmciCapabilityHead);
    if (capability.capabilityType == kRmciCapabilityEntries) {
        needed = kRmciFirstEntryOffset;
        for (const CapabilityEntry& entry : capability.entries) {
            needed += sizeof(RmciCapabilityEntryHead) + entry.ranges.size() * sizeof(RmciRange);
            for (const Trigger& trigger : entry.triggers) {
                needed += triggerSpan(trigger);
            }
        }
    }
    return std::max<std::size_t>(capability.capabilityLength, needed);
}

}  // namespace

bool hasMinimumSize(const union SIGNAL* signal, OSBUFSIZE size) {
    if (signal == nullptr) {
        return false;
    }
    const SignalReader reader(signal, size);
    uint32_t number = 0;
    if (!reader.u32(0, number)) {
        return false;
    }
    const SignalInfo* info = findSignal(number);
    return info != nullptr && size >= info->minSize;
}

bool isWellFormed(const union SIGNAL* signal, OSBUFSIZE size) {
    if (!hasMinimumSize(signal, size)) {
        return false;
    }
    const SIGSELECT number = numberOf(SignalReader(signal, size));
    if (isRadioConnEstablishRej(number) || isRadioRequestRej(number) ||
        number == KGM_IW_USI_CONN_ESTABLISH_REJ) {
        RejectInfo reject;
        return readReject(signal, size, reject);
    }
    if (isServerInd(number)) {
        std::string name;
        return readServerName(signal, size, name);
    }
    switch (number) {
        case RMCI_GET_CAPABILITIES_CFM: {
            std::vector<Capability> capabilities;
            return readCapabilities(signal, size, capabilities);
        }
        case KGM_IW_USI_UNIT_INFO_UPDATE_IND: {
            UnitInfo info;
            return readUnitInfo(signal, size, info);
        }
        case KGM_IW_USI_CONN_ESTABLISH_REQ: {
            UsiEstablishRequest request;
            return readUsiConnEstablishReq(signal, size, request);
        }
        default:
            return true;  // fixed fields only, and the size holds them
    }
}

bool readReject(const union SIGNAL* signal, OSBUFSIZE size, RejectInfo& reject) {
    if (signal == nullptr) {
        return false;
    }
    const SignalReader reader(signal, size);
    const SIGSELECT number = numberOf(reader);
    RejectInfo read;
    uint16_t code16 = 0;
    bool ok = false;
    if (isRadioConnEstablishRej(number)) {
        ok = reader.u16(offsetof(RadioConnEstablishRej, supportedProtocolRev),
                        read.supportedProtocolRev) &&
             reader.u16(offsetof(RadioConnEstablishRej, rejectCause.errorCode), code16) &&
             reader.text(offsetof(RadioConnEstablishRej, rejectCause.errorDescription), kNoLimit,
                         read.errorDescription);
        read.errorCode = code16;
    } else if (isRadioRequestRej(number)) {
        ok = reader.u16(offsetof(RadioRequestRej, rejectCause.errorCode), code16) &&
             reader.text(offsetof(RadioRequestRej, rejectCause.errorDescription), kNoLimit,
                         read.errorDescription);
        read.errorCode = code16;
    } else if (number == KGM_IW_USI_CONN_ESTABLISH_REJ) {
        ok = reader.u32(offsetof(UsiConnEstablishRej, errorCode), read.errorCode);
    }
    if (ok) {
        reject = std::move(read);
    }
    return ok;
}

bool readCapabilities(const union SIGNAL* signal, OSBUFSIZE size,
                      std::vector<Capability>& capabilities) {
    if (signal == nullptr) {
        return false;
    }
    const SignalReader reader(signal, size);
    uint16_t noOfCapabilities = 0;
    if (numberOf(reader) != RMCI_GET_CAPABILITIES_CFM || size < RmciGetCapabilitiesCfm::minSize ||
        !reader.u16(offsetof(RmciGetCapabilitiesCfm, noOfCapabilities), noOfCapabilities)) {
        return false;
    }
    std::vector<Capability> read;
    std::size_t cursor = RmciGetCapabilitiesCfm::firstRecordOffset;
    for (uint32_t i = 0; i < noOfCapabilities; ++i) {
        Capability capability;
        if (!reader.u16(cursor, capability.capabilityType) ||
            !reader.u16(cursor + 2, capability.capabilityLength) ||
            capability.capabilityLength < sizeof(RmciCapabilityHead) ||
            !reader.holds(cursor, capability.capabilityLength)) {
            return false;
        }
        const std::size_t recordEnd = cursor + capability.capabilityLength;
        if (capability.capabilityType == kRmciCapabilityEntries &&
            !readEntries(reader, cursor, recordEnd, capability)) {
            return false;
        }
        read.push_back(std::move(capability));
        cursor = recordEnd;
    }
    capabilities = std::move(read);
    return true;
}

bool readUnitInfo(const union SIGNAL* signal, OSBUFSIZE size, UnitInfo& info) {
    if (signal == nullptr) {
        return false;
    }
    const SignalReader reader(signal, size);
    UnitInfo read;
    if (numberOf(reader) != KGM_IW_USI_UNIT_INFO_UPDATE_IND ||
        !reader.u32(offsetof(UsiUnitInfoUpdateInd, procedureRef), read.procedureRef) ||
        !reader.u32(offsetof(UsiUnitInfoUpdateInd, connectionRef), read.connectionRef) ||
        !reader.u32(offsetof(UsiUnitInfoUpdateInd, unitStatusBits), read.unitStatusBits) ||
        !reader.u32(offsetof(UsiUnitInfoUpdateInd, operationalState), read.operationalState) ||
        !reader.text(offsetof(UsiUnitInfoUpdateInd, dcControllerName), kNoLimit,
                     read.dcControllerName)) {
        return false;
    }
    info = std::move(read);
    return true;
}

bool readUsiConnEstablishReq(const union SIGNAL* signal, OSBUFSIZE size,
                             UsiEstablishRequest& request) {
    if (signal == nullptr) {
        return false;
    }
    const SignalReader reader(signal, size);
    UsiEstablishRequest read;
    uint32_t ldnLength = 0;
    if (numberOf(reader) != KGM_IW_USI_CONN_ESTABLISH_REQ || size < UsiConnEstablishReq::minSize ||
        !reader.u32(offsetof(UsiConnEstablishReq, procedureRef), read.procedureRef) ||
        !reader.u32(offsetof(UsiConnEstablishReq, connectionRef), read.connectionRef) ||
        !reader.u32(offsetof(UsiConnEstablishReq, firstFixedWord), read.firstFixedWord) ||
        !reader.u32(offsetof(UsiConnEstablishReq, secondFixedWord), read.secondFixedWord) ||
        !reader.u32(offsetof(UsiConnEstablishReq, ldnLength), ldnLength) ||
        !reader.chars(offsetof(UsiConnEstablishReq, ldn), ldnLength, read.ldn)) {
        return false;
    }
    request = std::move(read);
    return true;
}

bool readServerName(const union SIGNAL* signal, OSBUFSIZE size, std::string& name) {
    if (signal == nullptr) {
        return false;
    }
    const SignalReader reader(signal, size);
    return isServerInd(numberOf(reader)) &&
           reader.text(offsetof(UlsaServerInd, serverName), UlsaServerInd::nameSize, name);
}

bool readResultData(const union SIGNAL* signal, OSBUFSIZE size, ResultBlock& block) {
    if (signal == nullptr) {
        return false;
    }
    const SignalReader reader(signal, size);
    ResultBlock read;
    if (numberOf(reader) != RFTI_GET_RESULT_DATA ||
        !reader.u32(offsetof(RftiGetResultData, clientRef), read.clientRef) ||
        !reader.u32(offsetof(RftiGetResultData, seqNumber), read.seqNumber) ||
        !reader.bytes(RftiGetResultData::dataOffset, size - RftiGetResultData::dataOffset,
                      read.data)) {
        return false;
    }
    read.length = size - static_cast<uint32_t>(RftiGetResultData::dataOffset);
    block = read;
    return true;
}

union SIGNAL* makeUsiConnEstablishReq(uint32_t procedureRef, uint32_t connectionRef,
                                      const std::string& ldn) {
    const OSBUFSIZE size = static_cast<OSBUFSIZE>(UsiConnEstablishReq::minSize + ldn.size());
    union SIGNAL* signal = alloc(size, KGM_IW_USI_CONN_ESTABLISH_REQ);
    uint8_t* bytes = reinterpret_cast<uint8_t*>(signal);
    std::memset(bytes + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    const uint32_t words[] = {procedureRef, connectionRef, UsiConnEstablishReq::fixedWord,
                              UsiConnEstablishReq::fixedWord, static_cast<uint32_t>(ldn.size())};
    put(bytes, offsetof(UsiConnEstablishReq, procedureRef), words, sizeof words);
    put(bytes, offsetof(UsiConnEstablishReq, ldn), ldn.data(), ldn.size());
    return signal;
}

union SIGNAL* makeUnitInfo(const UnitInfo& info) {
    const OSBUFSIZE size = static_cast<OSBUFSIZE>(offsetof(UsiUnitInfoUpdateInd, dcControllerName) +
                                                  info.dcControllerName.size() + 1);
    union SIGNAL* signal = alloc(size, KGM_IW_USI_UNIT_INFO_UPDATE_IND);
    uint8_t* bytes = reinterpret_cast<uint8_t*>(signal);
    std::memset(bytes + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    const uint32_t words[] = {info.procedureRef, info.connectionRef, info.unitStatusBits,
                              info.operationalState};
    put(bytes, offsetof(UsiUnitInfoUpdateInd, procedureRef), words, sizeof words);
    put(bytes, offsetof(UsiUnitInfoUpdateInd, dcControllerName), info.dcControllerName.c_str(),
        info.dcControllerName.size() + 1);
    return signal;
}

union SIGNAL* makeServerInd(SIGSELECT number, const std::string& name) {
    union SIGNAL* signal = alloc(UlsaServerInd::minSize, number);
    UlsaServerInd* ind = reinterpret_cast<UlsaServerInd*>(signal);
    std::memset(ind->serverName, 0, sizeof ind->serverName);
    name.copy(ind->serverName, kUlsaServerNameMax);
    return signal;
}

union SIGNAL* makeReject(SIGSELECT number, uint32_t clientRef, uint32_t connectionRef,
                         const RejectInfo& reject) {
    std::size_t size = UsiConnEstablishRej::minSize;
    std::size_t textAt = 0;
    if (isRadioConnEstablishRej(number)) {
        textAt = offsetof(RadioConnEstablishRej, rejectCause.errorDescription);
    } else if (isRadioRequestRej(number)) {
        textAt = offsetof(RadioRequestRej, rejectCause.errorDescription);
    }
    if (textAt != 0) {
        size = textAt + reject.errorDescription.size() + 1;
    }
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), number);
    uint8_t* bytes = reinterpret_cast<uint8_t*>(signal);
    std::memset(bytes + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    put(bytes, 4, &clientRef, 4);
    put(bytes, 8, &connectionRef, 4);
    const uint16_t code16 = static_cast<uint16_t>(reject.errorCode);
    if (isRadioConnEstablishRej(number)) {
        put(bytes, offsetof(RadioConnEstablishRej, supportedProtocolRev),
            &reject.supportedProtocolRev, 2);
        put(bytes, offsetof(RadioConnEstablishRej, rejectCause.errorCode), &code16, 2);
    } else if (isRadioRequestRej(number)) {
        put(bytes, offsetof(RadioRequestRej, rejectCause.errorCode), &code16, 2);
    } else {
        put(bytes, offsetof(UsiConnEstablishRej, errorCode), &reject.errorCode, 4);
    }
    if (textAt != 0) {
        put(bytes, textAt, reject.errorDescription.c_str(), reject.errorDescription.size() + 1);
    }
    return signal;
}

union SIGNAL* makeCapabilitiesCfm(uint32_t clientRef, uint32_t connectionRef,
                                  const std::vector<Capability>& capabilities) {
    std::size_t size = RmciGetCapabilitiesCfm::firstRecordOffset;
    for (const Capability& capability : capabilities) {
        size += recordSpan(capability);
    }
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), RMCI_GET_CAPABILITIES_CFM);
    uint8_t* bytes = reinterpret_cast<uint8_t*>(signal);
    std::memset(bytes + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    put(bytes, 4, &clientRef, 4);
    put(bytes, 8, &connectionRef, 4);
    const uint16_t count = static_cast<uint16_t>(capabilities.size());
    put(bytes, offsetof(RmciGetCapabilitiesCfm, noOfCapabilities), &count, 2);
    std::size_t cursor = RmciGetCapabilitiesCfm::firstRecordOffset;
    for (const Capability& capability : capabilities) {
        const uint16_t length = static_cast<uint16_t>(recordSpan(capability));
        put(bytes, cursor, &capability.capabilityType, 2);
        put(bytes, cursor + 2, &length, 2);
        if (capability.capabilityType == kRmciCapabilityEntries) {
            const uint32_t noOfEntries = static_cast<uint32_t>(capability.entries.size());
            put(bytes, cursor + kRmciNoOfEntriesOffset, &noOfEntries, 4);
            std::size_t at = cursor + kRmciFirstEntryOffset;
            for (const CapabilityEntry& entry : capability.entries) {
                const uint32_t head[] = {entry.entryId, static_cast<uint32_t>(entry.ranges.size()),
                                         static_cast<uint32_t>(entry.triggers.size())};
                put(bytes, at, head, sizeof head);
                at += sizeof head;
                for (const RmciRange& range : entry.ranges) {
                    put(bytes, at, range.words, sizeof range.words);
                    at += sizeof(RmciRange);
                }
                for (const Trigger& trigger : entry.triggers) {
                    const uint16_t span = static_cast<uint16_t>(triggerSpan(trigger));
                    put(bytes, at, &trigger.triggerIdentity, 2);
                    put(bytes, at + 2, &span, 2);
                    if (trigger.triggerIdentity == kRmciPowerTrigger) {
                        put(bytes, at + 4, &trigger.firstValue, 4);
                        put(bytes, at + 8, &trigger.secondValue, 4);
                    }
                    at += span;
                }
            }
        }
        cursor += length;
    }
    return signal;
}

}  // namespace radioSignals
