// Internal to the platform proxies: the transaction client's found server and how long
// a synchronous call waits at a time (tests shorten it and forget a server of a kernel
// they have shut down).
#ifndef TARVO_TRANSACTION_TUNING_H
#define TARVO_TRANSACTION_TUNING_H

#include "ose.h"

namespace tarvotx {

/// How long a synchronous call waits before it looks whether the server still runs;
/// 10000 ms unless set.
void setAnswerWait(OSTIME ms);
/// Forgets the found server.
void forgetServer();

}  // namespace tarvotx

#endif  // TARVO_TRANSACTION_TUNING_H
