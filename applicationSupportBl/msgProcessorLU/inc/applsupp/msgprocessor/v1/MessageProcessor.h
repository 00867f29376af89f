// applsupp::msgprocessor::v1::MessageProcessor: something that handles one kind of signal.
#ifndef APPLSUPP_MSGPROCESSOR_V1_MESSAGE_PROCESSOR_H
#define APPLSUPP_MSGPROCESSOR_V1_MESSAGE_PROCESSOR_H

#include "ose.h"

namespace applsupp::msgprocessor::v1 {

class MessageProcessor {
  public:
    /// Handles the signal, given by its first word; the buffer stays the caller's.
    /// True when the signal was handled.
    virtual bool process(union SIGNAL* signal) = 0;

  protected:
    // Processors are not deleted through this interface: the composite does not own them.
    ~MessageProcessor() = default;
};

}  // namespace applsupp::msgprocessor::v1

#endif  // APPLSUPP_MSGPROCESSOR_V1_MESSAGE_PROCESSOR_H
