// plab::messaging::v1::Message: one kernel signal buffer seen as an object.
#ifndef PLAB_MESSAGING_V1_MESSAGE_H
#define PLAB_MESSAGING_V1_MESSAGE_H

#include "ose.h"

namespace plab::messaging::v1 {

// The operations of a wrapped signal. An object owns at most one buffer; an empty
// object answers 0 or null to every question.
class Message {
  public:
    virtual ~Message() = default;

    /// Identity of the process that sent the signal; 0 when empty.
    virtual PROCESS sender() const = 0;
    /// Identity of the process the signal was sent to; 0 when empty.
    virtual PROCESS addressee() const = 0;
    /// Size of the signal in bytes; 0 when empty.
    virtual OSBUFSIZE size() const = 0;
    /// The signal number, the buffer's first word; 0 when empty.
    virtual SIGSELECT sigNo() const = 0;
    /// True when the object holds no buffer.
    virtual bool isEmpty() const = 0;
    /// Hands the buffer to the caller, who must free or send it; the object is empty afterwards.
    virtual union SIGNAL* release() = 0;
    /// The buffer, which stays owned by the object; null when empty.
    virtual union SIGNAL* raw() const = 0;
};

}  // namespace plab::messaging::v1

#endif  // PLAB_MESSAGING_V1_MESSAGE_H
