// IndHandlerApiForwarding: the operations that both interface versions share, each
// forwarded to the process-wide IndHandler between an entry and a return trace.
// Observers registered here belong to this interface version.
#ifndef IND_HANDLER_API_FORWARDING_H
#define IND_HANDLER_API_FORWARDING_H

#include "IndHandler.h"
#include "IndHandlerApi.h"
#include "dynTrace.h"

#include <cstdint>
#include <string>

namespace indhandler {

template <class Interface, uint32_t Version>
class IndHandlerApiForwarding : public Interface {
  public:
    IndHandlerApiForwarding(const char* className, IndHandler& handler)
        : m_name(className), m_handler(handler), m_trace("IndHandlerLU") {}

    void init() override {
        TRACE(m_trace, 2, "%s::init()", m_name);
        m_handler.init();
        TRACE(m_trace, 3, "%s::init returns", m_name);
    }

    void registerClient(IndHandlerObserverIf* observer) override {
        TRACE(m_trace, 2, "%s::registerClient(observer=%p)", m_name, static_cast<void*>(observer));
        m_handler.registerClient(observer, Version);
        TRACE(m_trace, 3, "%s::registerClient returns", m_name);
    }

    void deregisterClient(IndHandlerObserverIf* observer) override {
        TRACE(m_trace, 2, "%s::deregisterClient(observer=%p)", m_name,
              static_cast<void*>(observer));
        m_handler.deregisterClient(observer, Version);
        TRACE(m_trace, 3, "%s::deregisterClient returns", m_name);
    }

    void getSubscriptions(uint32_t pid, IndSubscriptions& subscriptions) override {
        TRACE(m_trace, 2, "%s::getSubscriptions(pid=0x%x)", m_name, pid);
        m_handler.getSubscriptions(pid, subscriptions);
        TRACE(m_trace, 3, "%s::getSubscriptions returns %zu", m_name, subscriptions.size());
    }

    void handleSignal(union SIGNAL** sig) override {
        TRACE(m_trace, 2, "%s::handleSignal()", m_name);
        m_handler.handleSignal(sig);
        TRACE(m_trace, 3, "%s::handleSignal returns", m_name);
    }

    void sendFaultInd(uint32_t froId, uint32_t froType, const std::string& ldn, int32_t faultId,
                      const std::string& faultIdLogical, const std::string& faultDescription,
                      const AdditionalData& additionalData, const std::string& severity,
                      int32_t eventId, uint32_t pid) override {
        TRACE(m_trace, 2, "%s::sendFaultInd(froId=%u, froType=%u, ldn=%s, faultId=%d, pid=0x%x)",
              m_name, froId, froType, ldn.c_str(), faultId, pid);
        m_handler.sendFaultInd(froId, froType, ldn, faultId, faultIdLogical, faultDescription,
                               additionalData, severity, eventId, pid);
        TRACE(m_trace, 3, "%s::sendFaultInd returns", m_name);
    }

    void sendFaultInd(uint32_t froId, uint32_t froType, const std::string& ldn, int32_t faultId,
                      const std::string& faultIdLogical, const std::string& faultDescription,
                      const AdditionalData& additionalData, const std::string& severity,
                      int32_t eventId) override {
        sendFaultInd(froId, froType, ldn, faultId, faultIdLogical, faultDescription, additionalData,
                     severity, eventId, 0);
    }

    void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                         const Attributes& attributes) override {
        sendParamChdInd(froId, froType, ldn, attributes, 0);
    }

    void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                         const Attributes& attributes, uint32_t pid) override {
        TRACE(m_trace, 2, "%s::sendParamChdInd(froId=%u, froType=%u, ldn=%s, pid=0x%x)", m_name,
              froId, froType, ldn.c_str(), pid);
        m_handler.sendParamChdInd(froId, froType, ldn, attributes, pid);
        TRACE(m_trace, 3, "%s::sendParamChdInd returns", m_name);
    }

    void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                         const GenericAttributeMap& attributes) override {
        sendParamChdInd(froId, froType, ldn, attributes, 0);
    }

    void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                         const GenericAttributeMap& attributes, uint32_t pid) override {
        TRACE(m_trace, 2, "%s::sendParamChdInd(froId=%u, froType=%u, ldn=%s, pid=0x%x)", m_name,
              froId, froType, ldn.c_str(), pid);
        m_handler.sendParamChdInd(froId, froType, ldn, attributes, pid);
        TRACE(m_trace, 3, "%s::sendParamChdInd returns", m_name);
    }

    void sendFaultCeasedInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                            int32_t faultId, const std::string& faultIdLogical) override {
        TRACE(m_trace, 2, "%s::sendFaultCeasedInd(froId=%u, froType=%u, ldn=%s, faultId=%d)",
              m_name, froId, froType, ldn.c_str(), faultId);
        m_handler.sendFaultCeasedInd(froId, froType, ldn, faultId, faultIdLogical);
        TRACE(m_trace, 3, "%s::sendFaultCeasedInd returns", m_name);
    }

    bool maoFroEvent(union SIGNAL** sig) override {
        TRACE(m_trace, 2, "%s::maoFroEvent()", m_name);
        const bool result = m_handler.maoFroEvent(sig);
        TRACE(m_trace, 3, "%s::maoFroEvent returns %d", m_name, result);
        return result;
    }

  protected:
    const char* const m_name;
    IndHandler& m_handler;
    TraceHandle m_trace;
};

}  // namespace indhandler

#endif  // IND_HANDLER_API_FORWARDING_H
