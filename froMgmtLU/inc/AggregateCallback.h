// AggregateCallback: what a fRO does with a state that a child aggregates up.
#ifndef AGGREGATE_CALLBACK_H
#define AGGREGATE_CALLBACK_H

#include "stateUserData.h"

class AggregateCallback {
  public:
    virtual ~AggregateCallback() = default;
    /// A state came up from a child; the framework ignores the result.
    virtual int stateAggregated(const stateUserData& userData) = 0;
};

#endif  // AGGREGATE_CALLBACK_H
