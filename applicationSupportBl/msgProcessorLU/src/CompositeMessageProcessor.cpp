#include "applsupp/msgprocessor/v1/CompositeMessageProcessor.h"

#include <cstring>

namespace applsupp::msgprocessor::v1 {

CompositeMessageProcessor::CompositeMessageProcessor() : m_trace("msgProcessorLU") {}

CompositeMessageProcessor::~CompositeMessageProcessor() = default;

bool CompositeMessageProcessor::process(union SIGNAL* signal) {
    if (signal == nullptr) {
        return false;
    }
    SIGSELECT sigNo;
    std::memcpy(&sigNo, signal, sizeof sigNo);
    const auto entry = m_processors.find(sigNo);
    if (entry == m_processors.end()) {
        return false;
    }
    TRACE(m_trace, 8, "Executing registered processor for signal: %d", static_cast<int>(sigNo));
    entry->second->process(signal);
    return true;
}

bool CompositeMessageProcessor::registerProcessor(SIGSELECT sigNo, MessageProcessor* processor) {
    if (processor == nullptr) {
        TRACE(m_trace, 1, "No processor given for signal: %d", static_cast<int>(sigNo));
        return false;
    }
    if (!m_processors.emplace(sigNo, processor).second) {
        TRACE(m_trace, 8, "Processor already registered for sigal: %d", static_cast<int>(sigNo));
        return false;
    }
    TRACE(m_trace, 8, "Registered new processor for signal: %d", static_cast<int>(sigNo));
    return true;
}

bool CompositeMessageProcessor::unregisterProcessor(SIGSELECT sigNo) {
    if (m_processors.erase(sigNo) == 0) {
        return false;
    }
    TRACE(m_trace, 8, "Unregistered processor for signal: %d", static_cast<int>(sigNo));
    return true;
}

}  // namespace applsupp::msgprocessor::v1
