// applsupp::msgprocessor::v1::CompositeMessageProcessorAPI: one processor per signal number.
#ifndef APPLSUPP_MSGPROCESSOR_V1_COMPOSITE_MESSAGE_PROCESSOR_API_H
#define APPLSUPP_MSGPROCESSOR_V1_COMPOSITE_MESSAGE_PROCESSOR_API_H

#include "applsupp/msgprocessor/v1/MessageProcessor.h"

namespace applsupp::msgprocessor::v1 {

// process() hands a signal to the processor registered for its number.
class CompositeMessageProcessorAPI : public MessageProcessor {
  public:
    virtual ~CompositeMessageProcessorAPI() = default;

    /// Registers a processor (not owned) for a number; false, keeping the first one,
    /// when the number has a processor already.
    virtual bool registerProcessor(SIGSELECT sigNo, MessageProcessor* processor) = 0;
    /// Forgets the processor of a number; false when there is none.
    virtual bool unregisterProcessor(SIGSELECT sigNo) = 0;
};

/// The process-wide composite processor under "CompositeMessageProcessorPtrName", made on
/// first use.
CompositeMessageProcessorAPI* getCompositeMessageProcessor();
/// Deletes the process-wide composite processor; nothing when there is none.
void destroyCompositeMessageProcessor();

}  // namespace applsupp::msgprocessor::v1

#endif  // APPLSUPP_MSGPROCESSOR_V1_COMPOSITE_MESSAGE_PROCESSOR_API_H
