// applsupp::msgprocessor::v1::CompositeMessageProcessor: a map from signal number to processor.
#ifndef APPLSUPP_MSGPROCESSOR_V1_COMPOSITE_MESSAGE_PROCESSOR_H
#define APPLSUPP_MSGPROCESSOR_V1_COMPOSITE_MESSAGE_PROCESSOR_H

#include "applsupp/msgprocessor/v1/CompositeMessageProcessorAPI.h"
#include "dynTrace.h"

#include <cstdint>
#include <map>

namespace applsupp::msgprocessor::v1 {

// Processors are not owned. Not copyable (it holds a trace object).
class CompositeMessageProcessor : public CompositeMessageProcessorAPI {
  public:
    CompositeMessageProcessor();
    ~CompositeMessageProcessor() override;

    /// Null or an unregistered number: false. Otherwise the processor's own result is
    /// not looked at: true means that a processor ran.
    bool process(union SIGNAL* signal) override;
    bool registerProcessor(SIGSELECT sigNo, MessageProcessor* processor) override;
    bool unregisterProcessor(SIGSELECT sigNo) override;

  private:
    std::map<uint32_t, MessageProcessor*> m_processors;
    TraceHandle m_trace;
};

}  // namespace applsupp::msgprocessor::v1

#endif  // APPLSUPP_MSGPROCESSOR_V1_COMPOSITE_MESSAGE_PROCESSOR_H
