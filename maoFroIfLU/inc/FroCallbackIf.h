// FroCallbackIf: what a fRO calls back when it answers later than the call that asked
// it: the snapshot of its parameters for a get, and the end of an action.
#ifndef FRO_CALLBACK_IF_H
#define FRO_CALLBACK_IF_H

#include "ActionResult.h"

#include <cstdint>
#include <string>

class fRO;

class FroCallbackIf {
  public:
    /// The snapshot parameters of the fRO are up to date; the same as result 0, no text.
    virtual void snapshotParamUpdated(fRO* fro) = 0;
    /// The snapshot is done; a non-zero result fails the waiting gets with froErrorText.
    virtual void snapshotParamUpdated(fRO* fro, uint32_t result,
                                      const std::string& froErrorText) = 0;
    /// The action named in result.actionName has ended on the fRO.
    virtual void actionCompleted(fRO* fro, const ActionResult& result) = 0;
    virtual ~FroCallbackIf() = default;
};

#endif  // FRO_CALLBACK_IF_H
