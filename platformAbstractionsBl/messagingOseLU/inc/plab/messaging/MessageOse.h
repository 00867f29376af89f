// plab::messaging::MessageOse: a kernel signal buffer owned by an object.
#ifndef PLAB_MESSAGING_MESSAGE_OSE_H
#define PLAB_MESSAGING_MESSAGE_OSE_H

#include "ose.h"
#include "plab/messaging/v1/Message.h"
#include "plab/messaging/v2/Message.h"

namespace plab::messaging {

// Implements both message interfaces, so that one object can be handed to v1 and v2
// users alike (a dynamic cast gives the other view). The destructor frees a buffer
// that is still held; a released or sent buffer is no longer the object's business.
// Not copyable: a buffer has one owner.
class MessageOse : public v2::Message, public v1::Message {
  public:
    /// Allocates a buffer of that size with the signal number in its first word. A size
    /// that cannot hold the number or exceeds the pool's largest buffer leaves the
    /// object empty (traced at level 1).
    MessageOse(OSBUFSIZE size, SIGSELECT sigNo);
    /// Adopts a buffer that the calling process owns; null makes an empty object.
    explicit MessageOse(union SIGNAL* signal);
    ~MessageOse() override;
    MessageOse(const MessageOse&) = delete;
    MessageOse& operator=(const MessageOse&) = delete;

    PROCESS sender() const override;
    PROCESS addressee() const override;
    OSBUFSIZE size() const override;
    SIGSELECT sigNo() const override;
    bool isEmpty() const override;
    union SIGNAL* release() override;
    union SIGNAL* raw() const override;

  private:
    union SIGNAL* m_signal;
};

}  // namespace plab::messaging

#endif  // PLAB_MESSAGING_MESSAGE_OSE_H
