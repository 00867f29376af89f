// IndHandlerObserverIf: told when a management client subscribes to the indications
// of a fRO type, so that an application can send its present state to the newcomer.
#ifndef IND_HANDLER_OBSERVER_IF_H
#define IND_HANDLER_OBSERVER_IF_H

#include <cstdint>

class IndHandlerObserverIf {
  public:
    virtual ~IndHandlerObserverIf() = default;

    /// The process pid has subscribed to the indications of froType for the first time.
    virtual void subscriberAdded(uint32_t froType, uint32_t pid) = 0;
};

#endif  // IND_HANDLER_OBSERVER_IF_H
