// FromHostReader: the reader for signals that are already in host order.
#ifndef FROM_HOST_READER_H
#define FROM_HOST_READER_H

#include "HostReader.h"

namespace applsupp {
namespace converter {
namespace v1 {

class FromHostReader : public HostReader {
  public:
    uint32_t readU32(uint32_t value) const override { return value; }
    uint16_t readU16(uint16_t value) const override { return value; }
    int32_t readS32(int32_t value) const override { return value; }
    int16_t readS16(int16_t value) const override { return value; }
};

}  // namespace v1
}  // namespace converter
}  // namespace applsupp

#endif  // FROM_HOST_READER_H
