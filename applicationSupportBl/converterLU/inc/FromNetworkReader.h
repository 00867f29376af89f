// FromNetworkReader: reads a signal's fields through an EndianConverter.
//
// The converter is not owned and must outlive the reader. Its mode decides whether
// bytes are reversed; an unknown mode stops the process at the first read.
#ifndef FROM_NETWORK_READER_H
#define FROM_NETWORK_READER_H

#include "EndianConverter.h"
#include "HostReader.h"

namespace applsupp {
namespace converter {
namespace v1 {

class FromNetworkReader : public HostReader {
  public:
    explicit FromNetworkReader(const EndianConverter& converter) : m_converter(&converter) {}

    uint32_t readU32(uint32_t value) const override;
    uint16_t readU16(uint16_t value) const override;
    int32_t readS32(int32_t value) const override;
    int16_t readS16(int16_t value) const override;

  private:
    const EndianConverter* m_converter;
};

}  // namespace v1
}  // namespace converter
}  // namespace applsupp

#endif  // FROM_NETWORK_READER_H
