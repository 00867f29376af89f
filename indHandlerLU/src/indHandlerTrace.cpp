#include "indHandlerTrace.h"

#include "dynTrace.h"
#include "maoFroSignals.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace indhandler {

namespace {

// Reads the words and half-words of a signal by offset, never past its size.
class FieldReader {
  public:
    FieldReader(const union SIGNAL* sig, OSBUFSIZE size)
        : m_bytes(reinterpret_cast<const unsigned char*>(sig)), m_size(size) {}

    bool holds(std::size_t end) const { return end <= m_size; }
    uint32_t u32(std::size_t offset) const { return read<uint32_t>(offset); }
    int s16(std::size_t offset) const { return read<int16_t>(offset); }
    /// The text at offset, up to its NUL, the given length or the end of the signal.
    std::string text(std::size_t offset, std::size_t length) const {
        if (offset >= m_size) {
            return std::string();
        }
        const std::size_t room = std::min<std::size_t>(length, m_size - offset);
        const char* start = reinterpret_cast<const char*>(m_bytes + offset);
        const void* nul = std::memchr(start, '\0', room);
        return std::string(start, nul != nullptr ? static_cast<const char*>(nul) - start : room);
    }

  private:
    template <class T>
    T read(std::size_t offset) const {
        T value{};
        if (offset + sizeof value <= m_size) {
            std::memcpy(&value, m_bytes + offset, sizeof value);
        }
        return value;
    }

    const unsigned char* m_bytes;
    std::size_t m_size;
};

// The indications differ only in the offset of their attribute head.
std::string indicationText(const FieldReader& in, const char* prefix, std::size_t attrOffset) {
    const std::size_t data = attrOffset + maofro::kAttrDataOffset;
    return std::string(prefix) + traceFormat(
                                     ", attributeArray[0].attribute=%u, attributeArray[0].type=%d, "
                                     "attributeArray[0].status=%d, attributeArray[0].value=%u, "
                                     "attributeArray[0].data=%s",
                                     in.u32(attrOffset), in.s16(attrOffset + 4),
                                     in.s16(attrOffset + 6), in.u32(attrOffset + 8),
                                     in.text(data, in.u32(attrOffset + 8)).c_str());
}

}  // namespace

std::string signalFieldText(const union SIGNAL* sig, OSBUFSIZE size) {
    const FieldReader in(sig, size);
    if (!in.holds(sizeof(SIGSELECT))) {
        return std::string();
    }
    const SIGSELECT sigNo = in.u32(0);
    switch (sigNo) {
        case maofro::MAOFRO_NOTIFY_SUBSCRIBE_REQ2:
            if (!in.holds(sizeof(maofro::MaoFroNotifySubscribeReq2))) {
                return std::string();
            }
            return traceFormat(
                "MAOFRO_NOTIFY_SUBSCRIBE_REQ2, sigNo=0x%x, signalRevision=%u, "
                "clientId=%u, froType=%u",
                sigNo, in.u32(4), in.u32(8), in.u32(12));
        case maofro::IND_HND_MAO_FRO_ATTACH_IND:
            return traceFormat("IND_HND_MAO_FRO_ATTACH_IND, sigNo=0x%x", sigNo);
        case maofro::MAO_FRO_FAULT_IND:
            if (!in.holds(offsetof(maofro::MaoFroFaultInd, data))) {
                return std::string();
            }
            return indicationText(
                in,
                traceFormat("MAO_FRO_FAULT_IND, sigNo=0x%x, froId=%u, froType=%u, "
                            "specificProblem=%u, primaryInd=%u, noOfAttributes=%u",
                            sigNo, in.u32(4), in.u32(8), in.u32(12), in.u32(16), in.u32(20))
                    .c_str(),
                offsetof(maofro::MaoFroFaultInd, attributeArray0));
        case maofro::MAO_FRO_PARAMETER_CHD_IND:
            if (!in.holds(offsetof(maofro::MaoFroParameterChdInd, data))) {
                return std::string();
            }
            return indicationText(
                in,
                traceFormat("MAO_FRO_PARAMETER_CHD_IND, sigNo=0x%x, froId=%u, froType=%u, "
                            "noOfAttributes=%u",
                            sigNo, in.u32(4), in.u32(8), in.u32(12))
                    .c_str(),
                offsetof(maofro::MaoFroParameterChdInd, attributeArray0));
        case maofro::MAO_FRO_FAULT_CEASED_IND:
            if (!in.holds(offsetof(maofro::MaoFroFaultCeasedInd, data))) {
                return std::string();
            }
            return indicationText(
                in,
                traceFormat("MAO_FRO_FAULT_CEASED_IND, sigNo=0x%x, froId=%u, froType=%u, "
                            "specificProblem=%u, noOfAttributes=%u",
                            sigNo, in.u32(4), in.u32(8), in.u32(12), in.u32(16))
                    .c_str(),
                offsetof(maofro::MaoFroFaultCeasedInd, attributeArray0));
        default:
            return std::string();
    }
}

namespace {

void traceSignal(const TraceObject* trace, unsigned fieldLevel, unsigned dataLevel,
                 const union SIGNAL* sig, OSBUFSIZE size) {
    if (TRACE_ON(trace, fieldLevel)) {
        const std::string fields = signalFieldText(sig, size);
        if (!fields.empty()) {
            traceText(trace, fieldLevel, __FILE__, __LINE__, fields);
        }
    }
    if (TRACE_ON(trace, dataLevel)) {
        const FieldReader in(sig, size);
        TRACE_DATA(trace, dataLevel, sig, size, "SigNo: 0x%x", in.u32(0));
    }
}

}  // namespace

void traceReceived(const TraceObject* trace, const union SIGNAL* sig, OSBUFSIZE size) {
    traceSignal(trace, 11, 16, sig, size);
}

void traceSent(const TraceObject* trace, const union SIGNAL* sig, OSBUFSIZE size) {
    traceSignal(trace, 10, 15, sig, size);
}

}  // namespace indhandler
