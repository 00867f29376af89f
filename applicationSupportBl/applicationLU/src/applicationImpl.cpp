#include "Application.h"

#include "SignalDistributorAPI.h"
#include "applicationServices.h"
#include "applsupp/msgprocessor/v1/CompositeMessageProcessorAPI.h"
#include "applsupp/signaldistributor/v2/SignalDistributorAPI.h"
#include "plab/messaging/MessagingHandlerOse.h"
#include "plab/messaging/v2/Message.h"

using plab::messaging::v1::Message;

Application::Application(int /*argument*/) : m_trace("ApplicationLU") {}

Application::~Application() {
    using namespace applsupp::application;
    if (!destroyNameServer()) {
        TRACE(m_trace, 1, "%s: stored object has no factory to delete it", kNameServerKey);
    }
    if (!destroyTimerApi()) {
        TRACE(m_trace, 1, "%s: stored object has no factory to delete it", kTimerApiKey);
    }
    applsupp::msgprocessor::v1::destroyCompositeMessageProcessor();
}

bool Application::applicationCommonInit() {
    using namespace applsupp::application;
    TRACE(m_trace, 2, "Application::applicationCommonInit()");
    if (!startTimerApi()) {
        TRACE(m_trace, 4, "The timer API (%s) is not present in this build: no timers",
              kTimerApiKey);
    }
    if (getNameServer() == nullptr) {
        TRACE(m_trace, 4,
              "The name-server client (%s) is not present in this build: no name server",
              kNameServerKey);
    }
    TRACE(m_trace, 3, "Application::applicationCommonInit() returned");
    return true;
}

bool Application::applicationSpecificInit() {
    TRACE(m_trace, 2, "Application::applicationSpecificInit()");
    TRACE(m_trace, 3, "Application::applicationSpecificInit() returned");
    return true;
}

bool Application::init() {
    TRACE(m_trace, 2, "Application::init()");
    const bool common = applicationCommonInit();
    const bool specific = applicationSpecificInit();
    TRACE(m_trace, 3, "Application::init() returned %s", common && specific ? "true" : "false");
    return common && specific;
}

void Application::afterMessageHandled() {}

void Application::handleUnknownMessage(const std::shared_ptr<Message>& message) {
    const SIGSELECT sigNo = message ? message->sigNo() : 0;
    TRACE(m_trace, 1, "Unknown message(0x%x) received from address 0x%x", sigNo,
          message ? message->sender() : 0);
    if (message && !message->isEmpty() && TRACE_ON(m_trace, 16)) {
        TRACE_DATA(m_trace, 16, message->raw(), message->size(), "MessageNo: %d",
                   static_cast<int>(sigNo));
    }
}

void Application::runTaskMainLoop() {
    TRACE(m_trace, 8, "Starting PLAB Messaging Receive loop.");
    const auto handler = std::make_shared<plab::messaging::MessagingHandlerOse>();
    for (;;) {
        handleReceivedMessage(handler->receive());
    }
}

void Application::start() {
    TRACE(m_trace, 2, "Application::start()");
    init();
    runTaskMainLoop();
    TRACE(m_trace, 3, "Application::start() returned");
}

void Application::handleReceivedMessage(const std::shared_ptr<Message>& message) {
    const auto view = std::dynamic_pointer_cast<plab::messaging::v2::Message>(message);
    // The composite's verdict is not used: only the distributor decides whether the
    // message was known.
    applsupp::msgprocessor::v1::getCompositeMessageProcessor()->process(message ? message->raw()
                                                                                : nullptr);
    bool delivered = false;
    if (view) {
        delivered = applsupp::signaldistributor::v2::getSignalDistributorAPI()->handleMessage(view);
    } else if (message) {
        // A message of another implementation without the second view.
        delivered = getSignalDistributorAPI()->handleMessage(message);
    }
    if (!delivered) {
        handleUnknownMessage(message);
    }
    afterMessageHandled();
}
