#include "EndianConverter.h"

#include "converterAssert.h"

#include <cstring>

uint16_t EndianConverter::read16(const void* place) const {
    CONVERTER_ASSERT(m_mode != Unknown);
    uint16_t value;
    std::memcpy(&value, place, sizeof value);
    if (m_mode == Reverse) {
        value = static_cast<uint16_t>((value >> 8) | (value << 8));
    }
    return value;
}

uint32_t EndianConverter::read32(const void* place) const {
    CONVERTER_ASSERT(m_mode != Unknown);
    uint32_t value;
    std::memcpy(&value, place, sizeof value);
    if (m_mode == Reverse) {
        value = (value >> 24) | ((value >> 8) & 0x0000FF00u) | ((value << 8) & 0x00FF0000u) |
                (value << 24);
    }
    return value;
}

uint16_t EndianConverter::read16NoSwap(const void* place) const {
    CONVERTER_ASSERT(m_mode != Unknown);
    uint16_t value;
    std::memcpy(&value, place, sizeof value);
    return value;
}

uint32_t EndianConverter::read32NoSwap(const void* place) const {
    CONVERTER_ASSERT(m_mode != Unknown);
    uint32_t value;
    std::memcpy(&value, place, sizeof value);
    return value;
}
