// The support loop of the interface proxies, and the layout of its request
// (internal to the platform proxies).
#ifndef OSA_IF_SUPPORT_H
#define OSA_IF_SUPPORT_H

#include "osa_findserver.h"

#include <cstddef>

namespace osaifsupport {

/// 0x100C3: +4 the block's address in the answer (the host's pointer width, since it is
/// an address: 8 bytes, covering the pid's place, which the answer does not need),
/// +8 the server's pid (request), +12 the 16-bit status (answer), +14 the name.
constexpr std::size_t kBlockOffset = 4;
constexpr std::size_t kPidOffset = 8;
constexpr std::size_t kStatusOffset = 12;
constexpr std::size_t kNameOffset = 14;
static_assert(kBlockOffset + sizeof(void*) <= kStatusOffset,
              "the address must end before the status");

/// Status in the answer when the name does not fit a block (no block given).
constexpr uint16_t kStatusNameTooLong = 2;

/// The loop of a support process named processName; returns only when the process ends.
void serve(const char* processName);

}  // namespace osaifsupport

#endif  // OSA_IF_SUPPORT_H
