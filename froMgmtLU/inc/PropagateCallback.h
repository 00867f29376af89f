// PropagateCallback: what a fRO does with a state that its parent propagates down.
#ifndef PROPAGATE_CALLBACK_H
#define PROPAGATE_CALLBACK_H

#include "stateUserData.h"

class PropagateCallback {
  public:
    virtual ~PropagateCallback() = default;
    /// A state came down from the parent; the framework ignores the result.
    virtual int statePropagated(const stateUserData& userData) = 0;
};

#endif  // PROPAGATE_CALLBACK_H
