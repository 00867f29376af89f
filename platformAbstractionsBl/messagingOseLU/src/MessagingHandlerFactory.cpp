#include "plab/messaging/MessagingHandlerFactory.h"

#include "plab/messaging/MessagingHandlerOse.h"
#include "plab/messaging/MessagingHandlerOseV2.h"

namespace plab::messaging {

std::shared_ptr<v1::MessagingHandler> createMessagingHandler() {
    return std::make_shared<MessagingHandlerOse>();
}

std::shared_ptr<v2::MessagingHandler> createMessagingHandlerV2() {
    return std::make_shared<MessagingHandlerOseV2>();
}

}  // namespace plab::messaging
