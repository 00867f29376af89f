// plab::messaging::v2::MessagingHandler: the same operations on v2 messages.
#ifndef PLAB_MESSAGING_V2_MESSAGING_HANDLER_H
#define PLAB_MESSAGING_V2_MESSAGING_HANDLER_H

#include "ose.h"
#include "plab/messaging/v2/Message.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace plab::messaging::v2 {

// A handler has no state: every user makes its own. Operations that hand a message
// to the kernel (send, sendWithSender, hunt, attach) take its buffer out, so the
// caller's message is empty afterwards.
class MessagingHandler {
  public:
    virtual ~MessagingHandler() = default;

    /// A new message of that size and number; an empty message when the size is refused.
    virtual std::shared_ptr<Message> alloc(OSBUFSIZE size, SIGSELECT sigNo) = 0;
    /// Hunts a process by name; the message (may be null) comes back when the process exists.
    virtual OSBOOLEAN hunt(const std::string& name, const std::shared_ptr<Message>& message) = 0;
    /// Sends the message's buffer to the addressee.
    virtual void send(const std::shared_ptr<Message>& message, PROCESS addressee) = 0;
    /// Sends the message's buffer to the addressee with another process as its sender.
    virtual void sendWithSender(const std::shared_ptr<Message>& message, PROCESS addressee,
                                PROCESS sender) = 0;
    /// Waits for any signal.
    virtual std::shared_ptr<Message> receive() = 0;
    /// Waits for a selected signal from that sender (0: any); null at time-out. A
    /// negative time-out waits for ever; an empty selection selects every signal.
    virtual std::shared_ptr<Message> receive(const std::vector<SIGSELECT>& selection,
                                             int32_t timeoutMs, PROCESS sender) = 0;
    /// Waits for a selected signal from any sender; null at time-out.
    virtual std::shared_ptr<Message> receive(const std::vector<SIGSELECT>& selection,
                                             int32_t timeoutMs) = 0;
    /// Supervises a process: the message (null: the kernel's default) comes back when it ends.
    virtual OSATTREF attach(PROCESS pid, const std::shared_ptr<Message>& message) = 0;
    /// Takes an attach back.
    virtual void detach(OSATTREF reference) = 0;
    /// Identity of the running process.
    virtual PROCESS currentProcess() = 0;
};

}  // namespace plab::messaging::v2

#endif  // PLAB_MESSAGING_V2_MESSAGING_HANDLER_H
