// plab::messaging::MessagingHandlerOseV2: the version-2 handler, forwarding to the version-1 one.
#ifndef PLAB_MESSAGING_MESSAGING_HANDLER_OSE_V2_H
#define PLAB_MESSAGING_MESSAGING_HANDLER_OSE_V2_H

#include "plab/messaging/MessagingHandlerOse.h"
#include "plab/messaging/v2/MessagingHandler.h"

#include <memory>

namespace plab::messaging {

// Converts each message between its two views by a dynamic cast and lets m_impl do
// the work. A message that has no version-1 view travels as no message at all.
class MessagingHandlerOseV2 : public v2::MessagingHandler {
  public:
    MessagingHandlerOseV2();
    ~MessagingHandlerOseV2() override;
    MessagingHandlerOseV2(const MessagingHandlerOseV2&) = delete;
    MessagingHandlerOseV2& operator=(const MessagingHandlerOseV2&) = delete;

    std::shared_ptr<v2::Message> alloc(OSBUFSIZE size, SIGSELECT sigNo) override;
    OSBOOLEAN hunt(const std::string& name, const std::shared_ptr<v2::Message>& message) override;
    void send(const std::shared_ptr<v2::Message>& message, PROCESS addressee) override;
    void sendWithSender(const std::shared_ptr<v2::Message>& message, PROCESS addressee,
                        PROCESS sender) override;
    std::shared_ptr<v2::Message> receive() override;
    std::shared_ptr<v2::Message> receive(const std::vector<SIGSELECT>& selection, int32_t timeoutMs,
                                         PROCESS sender) override;
    std::shared_ptr<v2::Message> receive(const std::vector<SIGSELECT>& selection,
                                         int32_t timeoutMs) override;
    OSATTREF attach(PROCESS pid, const std::shared_ptr<v2::Message>& message) override;
    void detach(OSATTREF reference) override;
    PROCESS currentProcess() override;

  private:
    std::unique_ptr<MessagingHandlerOse> m_impl;
};

}  // namespace plab::messaging

#endif  // PLAB_MESSAGING_MESSAGING_HANDLER_OSE_V2_H
