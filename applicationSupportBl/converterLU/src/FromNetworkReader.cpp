#include "FromNetworkReader.h"

namespace applsupp {
namespace converter {
namespace v1 {

uint32_t FromNetworkReader::readU32(uint32_t value) const {
    return m_converter->read32(&value);
}

uint16_t FromNetworkReader::readU16(uint16_t value) const {
    return m_converter->read16(&value);
}

int32_t FromNetworkReader::readS32(int32_t value) const {
    return static_cast<int32_t>(m_converter->read32(&value));
}

int16_t FromNetworkReader::readS16(int16_t value) const {
    // The converter gives the 16 bits unsigned; bit 15 is the sign once they are
    // in host order, so the sign is extended only after the conversion.
    const uint16_t bits = m_converter->read16(&value);
    const int32_t extended =
        (bits & 0x8000u) != 0 ? static_cast<int32_t>(bits) - 0x10000 : static_cast<int32_t>(bits);
    return static_cast<int16_t>(extended);
}

}  // namespace v1
}  // namespace converter
}  // namespace applsupp
