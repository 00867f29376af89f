// radioSignalReader.h: checked reading and building of the radio signals.
//
// Everything that comes from the radio unit or the unit's status service is read
// through these functions, never past the signal's size: a count, a length field or
// a text without its NUL that would lead outside the signal makes the read fail,
// and the caller treats the signal as malformed (drop it with a trace, or end the
// action with the communication failure). Signals are read in host order, that
// is after ulSpectrumAnalyzerEndianSwap::convertReceived.
//
//   const RmciMeasureInd* ind = radioSignals::checkedLayout<RmciMeasureInd>(sig, sigsize(&sig));
//   if (ind == nullptr) { ...malformed... }
#ifndef RADIO_SIGNAL_READER_H
#define RADIO_SIGNAL_READER_H

#include "radioSignals.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace radioSignals {

/// Bounded reads from a signal of a known size; each read fails instead of reading
/// outside [0, size). Fields need no alignment.
class SignalReader {
  public:
    SignalReader(const union SIGNAL* signal, OSBUFSIZE size)
        : m_bytes(reinterpret_cast<const uint8_t*>(signal)), m_size(size) {}

    OSBUFSIZE size() const { return m_size; }
    /// Whether length bytes from offset lie inside the signal.
    bool holds(std::size_t offset, std::size_t length) const {
        return offset <= m_size && length <= m_size - offset;
    }
    bool u16(std::size_t offset, uint16_t& value) const;
    bool u32(std::size_t offset, uint32_t& value) const;
    /// The NUL-terminated text at offset; the NUL must lie inside the signal and
    /// within limit bytes from offset.
    bool text(std::size_t offset, std::size_t limit, std::string& value) const;
    /// Exactly length characters at offset, without a terminator.
    bool chars(std::size_t offset, std::size_t length, std::string& value) const;
    /// The address of length bytes at offset.
    bool bytes(std::size_t offset, std::size_t length, const uint8_t*& data) const;

  private:
    const uint8_t* m_bytes;
    OSBUFSIZE m_size;
};

/// The signal as Layout when it has at least Layout::minSize bytes, else null. The
/// caller has checked the number; fixed fields of the layout may then be read.
template <class Layout>
const Layout* checkedLayout(const union SIGNAL* signal, OSBUFSIZE size) {
    return signal != nullptr && size >= Layout::minSize ? reinterpret_cast<const Layout*>(signal)
                                                        : nullptr;
}

/// Whether the signal is at least as long as its number's catalogue entry says;
/// false for a number that is not in the catalogue.
bool hasMinimumSize(const union SIGNAL* signal, OSBUFSIZE size);

/// The one check a client needs before it reads a signal of any catalogue number:
/// its minimum size, and for the signals with texts, counts or records the checked
/// reader below succeeding. False for a number that is not in the catalogue.
bool isWellFormed(const union SIGNAL* signal, OSBUFSIZE size);

/// A rejection of any of the six rejecting signals (RMCI and RFTI establish, config,
/// measure and result rejections, and the USI establish rejection).
struct RejectInfo {
    uint16_t supportedProtocolRev = 0;  // establish rejections of RMCI and RFTI only
    uint32_t errorCode = 0;
    std::string errorDescription;  // empty for the USI rejection, which has none
};
bool readReject(const union SIGNAL* signal, OSBUFSIZE size, RejectInfo& reject);

/// A trigger of a capability entry; values only for kRmciPowerTrigger.
struct Trigger {
    uint16_t triggerIdentity = 0;
    uint16_t triggerLength = 0;
    uint32_t firstValue = 0;
    uint32_t secondValue = 0;
};

struct CapabilityEntry {
    uint32_t entryId = 0;
    std::vector<RmciRange> ranges;
    std::vector<Trigger> triggers;
};

/// A capability record; entries only for kRmciCapabilityEntries.
struct Capability {
    uint16_t capabilityType = 0;
    uint16_t capabilityLength = 0;
    std::vector<CapabilityEntry> entries;
};

/// The records of RMCI_GET_CAPABILITIES_CFM, walked by their own lengths. Every
/// record and trigger must have at least its head (length 4, a power trigger 12)
/// and lie inside the signal, and a record's entries inside the record.
bool readCapabilities(const union SIGNAL* signal, OSBUFSIZE size,
                      std::vector<Capability>& capabilities);

/// KGM_IW_USI_UNIT_INFO_UPDATE_IND.
struct UnitInfo {
    uint32_t procedureRef = 0;
    uint32_t connectionRef = 0;
    uint32_t unitStatusBits = 0;
    uint32_t operationalState = 0;
    std::string dcControllerName;
};
bool readUnitInfo(const union SIGNAL* signal, OSBUFSIZE size, UnitInfo& info);

/// KGM_IW_USI_CONN_ESTABLISH_REQ, as the status service reads it.
struct UsiEstablishRequest {
    uint32_t procedureRef = 0;
    uint32_t connectionRef = 0;
    uint32_t firstFixedWord = 0;
    uint32_t secondFixedWord = 0;
    std::string ldn;
};
bool readUsiConnEstablishReq(const union SIGNAL* signal, OSBUFSIZE size,
                             UsiEstablishRequest& request);

/// The name in one of the four ULSA_..._SERVER_HUNT_IND and _ATTACH_IND signals.
bool readServerName(const union SIGNAL* signal, OSBUFSIZE size, std::string& name);

/// RFTI_GET_RESULT_DATA: the block is everything behind the sequence number. A
/// writer must check that length holds the bytes it means to write.
struct ResultBlock {
    uint32_t clientRef = 0;
    uint32_t seqNumber = 0;
    const uint8_t* data = nullptr;
    uint32_t length = 0;
};
bool readResultData(const union SIGNAL* signal, OSBUFSIZE size, ResultBlock& block);

// Builders: each allocates a signal of exactly the size its format needs, in host
// order, owned by the calling process.

/// KGM_IW_USI_CONN_ESTABLISH_REQ with both fixed words 1 and the LDN unterminated.
union SIGNAL* makeUsiConnEstablishReq(uint32_t procedureRef, uint32_t connectionRef,
                                      const std::string& ldn);
/// KGM_IW_USI_UNIT_INFO_UPDATE_IND; the other unit information is zero.
union SIGNAL* makeUnitInfo(const UnitInfo& info);
/// A hunt or attach signal of number with at most kUlsaServerNameMax characters of name.
union SIGNAL* makeServerInd(SIGSELECT number, const std::string& name);
/// One of the six rejections of readReject(), in its number's layout.
union SIGNAL* makeReject(SIGSELECT number, uint32_t clientRef, uint32_t connectionRef,
                         const RejectInfo& reject);
/// RMCI_GET_CAPABILITIES_CFM. Each record takes max(capabilityLength, what its content
/// needs) bytes, zero-padded, and that is the length written; triggers likewise.
union SIGNAL* makeCapabilitiesCfm(uint32_t clientRef, uint32_t connectionRef,
                                  const std::vector<Capability>& capabilities);

}  // namespace radioSignals

#endif  // RADIO_SIGNAL_READER_H
