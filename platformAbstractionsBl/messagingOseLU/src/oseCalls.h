// The kernel calls of the messaging layer. The kernel reports its own failures with
// the name of the failed call ("send@ose.h"); these forms only refuse what would be
// a kernel error before the kernel sees it (no buffer to send, a size no buffer can
// have), tracing the same name at level 1, so that bad input costs a trace instead
// of the process.
#ifndef PLAB_MESSAGING_OSE_CALLS_H
#define PLAB_MESSAGING_OSE_CALLS_H

#include "dynTrace.h"
#include "ose.h"

namespace plab::messaging::detail {

/// A kernel call: its name and the line of its declaration in the target kernel's
/// header, which goes with the name into the platform's error report (0 where the
/// layer has no line for the call).
struct OseCall {
    const char* name;
    unsigned line;
};

inline constexpr OseCall kAllocCall{"alloc@ose.h", 0};
inline constexpr OseCall kDetachCall{"detach@ose.h", 6735};
inline constexpr OseCall kSendCall{"send@ose.h", 6807};
inline constexpr OseCall kSendWithSenderCall{"send_w_s@ose.h", 6823};

/// The messaging layer's trace object ("MessagingOseLU"), registered on first use and
/// kept for the life of the Linux process: handlers are stateless and short-lived,
/// and must not register and deregister an object each.
const TraceObject* messagingTrace();

/// Traces at level 1 that a call was not made, and why.
void traceRefusedCall(const OseCall& call, const char* why);

/// alloc(), refused for sizes that cannot hold the number or exceed the pool.
union SIGNAL* guardedAlloc(OSBUFSIZE size, SIGSELECT sigNo);
/// free_buf() of a held buffer; nothing for null.
void guardedFree(union SIGNAL** signal);
/// send() / send_w_s(); refused without a buffer.
void guardedSend(union SIGNAL** signal, PROCESS addressee);
void guardedSendWithSender(union SIGNAL** signal, PROCESS sender, PROCESS addressee);
/// hunt() / attach() with an optional signal (null: none).
OSBOOLEAN guardedHunt(const char* name, union SIGNAL** signal);
OSATTREF guardedAttach(union SIGNAL** signal, PROCESS pid);
/// detach(); refused for the reference 0.
void guardedDetach(OSATTREF* reference);
/// receive_from() with a sender other than 0, receive_w_tmo() otherwise.
union SIGNAL* guardedReceive(OSTIME timeout, const SIGSELECT* selection, PROCESS sender);

}  // namespace plab::messaging::detail

#endif  // PLAB_MESSAGING_OSE_CALLS_H
