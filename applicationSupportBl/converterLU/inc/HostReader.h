// HostReader: gives a signal's field in host byte order.
//
// The value is passed as it stands in the signal; the reader returns it as the
// processor understands it. FromHostReader is used where the signal already is in
// host order, FromNetworkReader where a converter decides.
#ifndef HOST_READER_H
#define HOST_READER_H

#include <cstdint>

namespace applsupp {
namespace converter {
namespace v1 {

class HostReader {
  public:
    virtual ~HostReader() = default;
    /// A 32-bit unsigned field in host order.
    virtual uint32_t readU32(uint32_t value) const = 0;
    /// A 16-bit unsigned field in host order.
    virtual uint16_t readU16(uint16_t value) const = 0;
    /// A 32-bit signed field in host order.
    virtual int32_t readS32(int32_t value) const = 0;
    /// A 16-bit signed field in host order.
    virtual int16_t readS16(int16_t value) const = 0;
};

}  // namespace v1
}  // namespace converter
}  // namespace applsupp

#endif  // HOST_READER_H
