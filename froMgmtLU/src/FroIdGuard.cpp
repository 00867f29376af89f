#include "FroIdGuard.h"

#include "FroIdHandler.h"

namespace {
// The search for a new id tries 0..4094.
constexpr uint32_t kSearchedIds = 4095;
}  // namespace

FroIdRefusal checkExternalFroId(uint32_t froType, int32_t externalId) {
    if (externalId > kHighestExternalFroId) {
        return FroIdRefusal::outOfRange;
    }
    if (externalId >= 0) {
        return FroIdRefusal::none;
    }
    const FroIdHandler& ids = FroIdHandler::instance();
    // Cheap first: fewer ids in use than the search covers leaves one free.
    if (ids.usedIdCount(froType) < kSearchedIds) {
        return FroIdRefusal::none;
    }
    // The search gives 0 both for "0 is free" and for "nothing is free".
    return (ids.findLowestFreeFroId(froType) == 0 && ids.isUsed(froType, 0))
               ? FroIdRefusal::exhausted
               : FroIdRefusal::none;
}
