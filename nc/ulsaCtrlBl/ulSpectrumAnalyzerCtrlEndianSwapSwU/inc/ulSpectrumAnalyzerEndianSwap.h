// ulSpectrumAnalyzerEndianSwap: converts the RMCI and RFTI signals between the
// radio unit's byte order and the host's, in place.
//
// There are two tables, one for signals received and one for signals about to be
// sent; each row lists the fields (offset, width) that are converted. The tables
// have their holes on purpose (see the README): supportedProtocolRev and the last
// two words of RFTI_GET_RESULT_CFM are never converted, and RFTI_GET_RESULT_ACK is
// in the received table while RFTI_GET_RESULT_DATA is in the sent one. USI, the
// load module's own signals and RFTI_GET_RESULT_DATA when received are in neither.
//
// Modes are those of EndianConverter: 1 leaves the bytes as they are (the load
// module's mode), 2 reverses every converted field, 0 (never set) stops the process
// at the first field read.
#ifndef UL_SPECTRUM_ANALYZER_ENDIAN_SWAP_H
#define UL_SPECTRUM_ANALYZER_ENDIAN_SWAP_H

#include "ose.h"

#include <cstdint>

namespace ulSpectrumAnalyzerEndianSwap {

/// The capability walk reads record i's type and length at this stride from offset
/// 16, whatever the records' own lengths are.
constexpr uint32_t kCapabilityStride = 60;

enum class Result {
    Converted,      // every field of the row was converted
    UnknownSignal,  // the number is not in the table; nothing changed
    Malformed       // a field lies past the signal's end: nothing was read there, the
                    // signal may be partly converted and must be dropped
};

/// Converts a received signal of size bytes (sigsize()) to host order.
Result convertReceived(union SIGNAL* signal, OSBUFSIZE size, int mode);

/// Converts a signal about to be sent, of size bytes, to the radio unit's order.
Result convertToSend(union SIGNAL* signal, OSBUFSIZE size, int mode);

}  // namespace ulSpectrumAnalyzerEndianSwap

#endif  // UL_SPECTRUM_ANALYZER_ENDIAN_SWAP_H
