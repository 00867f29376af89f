// plab::messaging::MessagingHandlerOse: the version-1 handler, directly on the kernel.
#ifndef PLAB_MESSAGING_MESSAGING_HANDLER_OSE_H
#define PLAB_MESSAGING_MESSAGING_HANDLER_OSE_H

#include "plab/messaging/v1/MessagingHandler.h"

namespace plab::messaging {

// No members: every call goes straight to the kernel. Messages it returns are
// MessageOse objects.
class MessagingHandlerOse : public v1::MessagingHandler {
  public:
    std::shared_ptr<v1::Message> alloc(OSBUFSIZE size, SIGSELECT sigNo) override;
    OSBOOLEAN hunt(const std::string& name, const std::shared_ptr<v1::Message>& message) override;
    void send(const std::shared_ptr<v1::Message>& message, PROCESS addressee) override;
    void sendWithSender(const std::shared_ptr<v1::Message>& message, PROCESS addressee,
                        PROCESS sender) override;
    std::shared_ptr<v1::Message> receive() override;
    std::shared_ptr<v1::Message> receive(const std::vector<SIGSELECT>& selection, int32_t timeoutMs,
                                         PROCESS sender) override;
    std::shared_ptr<v1::Message> receive(const std::vector<SIGSELECT>& selection,
                                         int32_t timeoutMs) override;
    OSATTREF attach(PROCESS pid, const std::shared_ptr<v1::Message>& message) override;
    void detach(OSATTREF reference) override;
    PROCESS currentProcess() override;

  protected:
    /// The one receive that the three forms end in: selection count first, then numbers.
    virtual std::shared_ptr<v1::Message> receiveSelected(const SIGSELECT* selection,
                                                         std::size_t count, int32_t timeoutMs,
                                                         PROCESS sender);
};

}  // namespace plab::messaging

#endif  // PLAB_MESSAGING_MESSAGING_HANDLER_OSE_H
