// IndHandlerApiImpl1: version 1 of the published interface, with the numeric
// severity, and its getter and releaser.
#include "IndHandlerApi.h"
#include "IndHandlerApiForwarding.h"

namespace {

class IndHandlerApiImpl1 final
    : public indhandler::IndHandlerApiForwarding<gff::v1::IndHandlerApi,
                                                 IndHandler::kInterfaceVersion1> {
  public:
    IndHandlerApiImpl1()
        : IndHandlerApiForwarding("IndHandlerApiImpl1",
                                  *IndHandler::getInstance(IndHandler::kInterfaceVersion1)) {}

    void sendFaultInd2(uint32_t froId, uint32_t froType, const std::string& ldn, int32_t faultId,
                       const std::string& faultIdLogical, const std::string& faultDescription,
                       const AdditionalData& additionalData, int32_t severity, int32_t eventId,
                       uint32_t pid) override {
        TRACE(m_trace, 2,
              "%s::sendFaultInd2(froId=%u, froType=%u, ldn=%s, faultId=%d, severity=%d, pid=0x%x)",
              m_name, froId, froType, ldn.c_str(), faultId, severity, pid);
        m_handler.sendFaultInd2(froId, froType, ldn, faultId, faultIdLogical, faultDescription,
                                additionalData, severity, eventId, pid);
        TRACE(m_trace, 3, "%s::sendFaultInd2 returns", m_name);
    }

    void sendFaultInd2(uint32_t froId, uint32_t froType, const std::string& ldn, int32_t faultId,
                       const std::string& faultIdLogical, const std::string& faultDescription,
                       const AdditionalData& additionalData, int32_t severity,
                       int32_t eventId) override {
        sendFaultInd2(froId, froType, ldn, faultId, faultIdLogical, faultDescription,
                      additionalData, severity, eventId, 0);
    }
};

IndHandlerApiImpl1* theApi1 = nullptr;

}  // namespace

namespace gff {
namespace v1 {

IndHandlerApi* getIndHandlerApi() {
    if (theApi1 == nullptr) {
        theApi1 = new IndHandlerApiImpl1();
    }
    return theApi1;
}

void releaseIndHandlerApi() {
    if (theApi1 != nullptr) {
        delete theApi1;
        theApi1 = nullptr;
        IndHandler::releaseInstance(IndHandler::kInterfaceVersion1);
    }
}

}  // namespace v1
}  // namespace gff
