#include "plab/messaging/MessagingHandlerOseV2.h"

namespace plab::messaging {

namespace {

std::shared_ptr<v1::Message> toV1(const std::shared_ptr<v2::Message>& message) {
    return std::dynamic_pointer_cast<v1::Message>(message);
}

std::shared_ptr<v2::Message> toV2(const std::shared_ptr<v1::Message>& message) {
    return std::dynamic_pointer_cast<v2::Message>(message);
}

}  // namespace

MessagingHandlerOseV2::MessagingHandlerOseV2() : m_impl(std::make_unique<MessagingHandlerOse>()) {}

MessagingHandlerOseV2::~MessagingHandlerOseV2() = default;

std::shared_ptr<v2::Message> MessagingHandlerOseV2::alloc(OSBUFSIZE size, SIGSELECT sigNo) {
    return toV2(m_impl->alloc(size, sigNo));
}

OSBOOLEAN MessagingHandlerOseV2::hunt(const std::string& name,
                                      const std::shared_ptr<v2::Message>& message) {
    return m_impl->hunt(name, toV1(message));
}

void MessagingHandlerOseV2::send(const std::shared_ptr<v2::Message>& message, PROCESS addressee) {
    m_impl->send(toV1(message), addressee);
}

void MessagingHandlerOseV2::sendWithSender(const std::shared_ptr<v2::Message>& message,
                                           PROCESS addressee, PROCESS sender) {
    m_impl->sendWithSender(toV1(message), addressee, sender);
}

std::shared_ptr<v2::Message> MessagingHandlerOseV2::receive() {
    return toV2(m_impl->receive());
}

std::shared_ptr<v2::Message> MessagingHandlerOseV2::receive(const std::vector<SIGSELECT>& selection,
                                                            int32_t timeoutMs, PROCESS sender) {
    return toV2(m_impl->receive(selection, timeoutMs, sender));
}

std::shared_ptr<v2::Message> MessagingHandlerOseV2::receive(const std::vector<SIGSELECT>& selection,
                                                            int32_t timeoutMs) {
    return toV2(m_impl->receive(selection, timeoutMs));
}

OSATTREF MessagingHandlerOseV2::attach(PROCESS pid, const std::shared_ptr<v2::Message>& message) {
    return m_impl->attach(pid, toV1(message));
}

void MessagingHandlerOseV2::detach(OSATTREF reference) {
    m_impl->detach(reference);
}

PROCESS MessagingHandlerOseV2::currentProcess() {
    return m_impl->currentProcess();
}

}  // namespace plab::messaging
