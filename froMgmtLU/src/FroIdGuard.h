// FroIdGuard: the test that froMgr and transMgr make before they ask the factory for
// an id that they would keep. FroIdHandler itself does not see two ways of losing an
// id for good: an external id above 4095 is stored as given but freed by its low 12
// bits, so it can never be freed; and when every id of 0..4094 of a type is taken,
// the search hands out 0 a second time.
#ifndef FRO_ID_GUARD_H
#define FRO_ID_GUARD_H

#include <cstdint>

/// The highest external id: the low 12 bits of a complete id.
constexpr int32_t kHighestExternalFroId = 0xFFF;

/// Why an id cannot be given; none means it can.
enum class FroIdRefusal { none, outOfRange, exhausted };

/// Whether the wanted external id (negative: a new one) of the type can be given.
FroIdRefusal checkExternalFroId(uint32_t froType, int32_t externalId);

#endif  // FRO_ID_GUARD_H
