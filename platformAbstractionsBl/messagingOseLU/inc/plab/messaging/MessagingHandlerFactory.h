// The two factory functions of the messaging handlers.
#ifndef PLAB_MESSAGING_MESSAGING_HANDLER_FACTORY_H
#define PLAB_MESSAGING_MESSAGING_HANDLER_FACTORY_H

#include "plab/messaging/v1/MessagingHandler.h"
#include "plab/messaging/v2/MessagingHandler.h"

#include <memory>

namespace plab::messaging {

/// A new version-1 handler on the kernel. Handlers have no state; each caller makes its own.
std::shared_ptr<v1::MessagingHandler> createMessagingHandler();
/// A new version-2 handler on the kernel.
std::shared_ptr<v2::MessagingHandler> createMessagingHandlerV2();

}  // namespace plab::messaging

#endif  // PLAB_MESSAGING_MESSAGING_HANDLER_FACTORY_H
