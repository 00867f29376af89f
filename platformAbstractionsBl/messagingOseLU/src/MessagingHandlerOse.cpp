#include "plab/messaging/MessagingHandlerOse.h"

#include "plab/messaging/MessageOse.h"
#include "oseCalls.h"

#include <memory>

namespace plab::messaging {

namespace {

// Takes the buffer out of a message that is handed to the kernel; null stands for no
// signal. The caller's message is empty afterwards.
union SIGNAL* takeBuffer(const std::shared_ptr<v1::Message>& message) {
    return message ? message->release() : nullptr;
}

std::shared_ptr<v1::Message> wrap(union SIGNAL* signal) {
    if (signal == nullptr) {
        return nullptr;
    }
    return std::make_shared<MessageOse>(signal);
}

// The empty selection selects every signal.
const std::vector<SIGSELECT> kEverySignal;

}  // namespace

std::shared_ptr<v1::Message> MessagingHandlerOse::alloc(OSBUFSIZE size, SIGSELECT sigNo) {
    return std::make_shared<MessageOse>(size, sigNo);
}

OSBOOLEAN MessagingHandlerOse::hunt(const std::string& name,
                                    const std::shared_ptr<v1::Message>& message) {
    union SIGNAL* signal = takeBuffer(message);
    return detail::guardedHunt(name.c_str(), &signal);
}

void MessagingHandlerOse::send(const std::shared_ptr<v1::Message>& message, PROCESS addressee) {
    union SIGNAL* signal = takeBuffer(message);
    detail::guardedSend(&signal, addressee);
}

void MessagingHandlerOse::sendWithSender(const std::shared_ptr<v1::Message>& message,
                                         PROCESS addressee, PROCESS sender) {
    union SIGNAL* signal = takeBuffer(message);
    detail::guardedSendWithSender(&signal, sender, addressee);
}

std::shared_ptr<v1::Message> MessagingHandlerOse::receive() {
    return receive(kEverySignal, -1, 0);
}

std::shared_ptr<v1::Message> MessagingHandlerOse::receive(const std::vector<SIGSELECT>& selection,
                                                          int32_t timeoutMs, PROCESS sender) {
    return receiveSelected(selection.data(), selection.size(), timeoutMs, sender);
}

std::shared_ptr<v1::Message> MessagingHandlerOse::receive(const std::vector<SIGSELECT>& selection,
                                                          int32_t timeoutMs) {
    return receiveSelected(selection.data(), selection.size(), timeoutMs, 0);
}

OSATTREF MessagingHandlerOse::attach(PROCESS pid, const std::shared_ptr<v1::Message>& message) {
    union SIGNAL* signal = takeBuffer(message);
    return detail::guardedAttach(&signal, pid);
}

void MessagingHandlerOse::detach(OSATTREF reference) {
    detail::guardedDetach(&reference);
}

PROCESS MessagingHandlerOse::currentProcess() {
    return current_process();
}

std::shared_ptr<v1::Message> MessagingHandlerOse::receiveSelected(const SIGSELECT* selection,
                                                                  std::size_t count,
                                                                  int32_t timeoutMs,
                                                                  PROCESS sender) {
    // The kernel's form: the count, then the numbers. A count no allocation can hold
    // raises std::bad_alloc (std::bad_array_new_length).
    std::unique_ptr<SIGSELECT[]> kernelSelection(new SIGSELECT[count + 1]);
    kernelSelection[0] = static_cast<SIGSELECT>(count);
    for (std::size_t i = 0; i < count; ++i) {
        kernelSelection[i + 1] = selection[i];
    }
    const OSTIME timeout = timeoutMs < 0 ? OS_WAIT_FOREVER : static_cast<OSTIME>(timeoutMs);
    return wrap(detail::guardedReceive(timeout, kernelSelection.get(), sender));
}

}  // namespace plab::messaging
