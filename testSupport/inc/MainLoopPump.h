// The main process's receive loop as a test runs it on its own thread: received signals
// go to the signal distributor, unless an intercept of the test takes them first.
//
//   mainloop::pump();                       // until every process rests
//   mainloop::advance(5000);                // the manual clock, with pumps around it
//   mainloop::pumpUntil([&] { return done; });  // real time, e.g. for a real FTP server
//
// The including test links the signal distributor (sigSubscr) and messagingOse.
#ifndef MAIN_LOOP_PUMP_H
#define MAIN_LOOP_PUMP_H

#include "SignalDistributorAPI.h"
#include "oseHost.h"
#include "plab/messaging/MessageOse.h"

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace mainloop {

/// Takes a received signal (and frees it) instead of the signal distributor when true.
using Intercept = std::function<bool(union SIGNAL*)>;

inline void deliver(union SIGNAL* signal, const Intercept& intercept) {
    if (intercept && intercept(signal)) {
        return;
    }
    getSignalDistributorAPI()->handleMessage(std::make_shared<plab::messaging::MessageOse>(signal));
}

/// Hands every signal on until every process rests and the queue is empty.
inline void pump(const Intercept& intercept = nullptr) {
    static const SIGSELECT any[] = {0};
    for (int quietRounds = 0; quietRounds < 2;) {
        union SIGNAL* signal = receive_w_tmo(0, any);
        if (signal == nullptr) {
            ose_wait_idle(0, 2000);
            ++quietRounds;
            continue;
        }
        quietRounds = 0;
        deliver(signal, intercept);
    }
}

/// Moves the manual clock by ms, with everything before and after it handled.
inline void advance(OSTIME ms, const Intercept& intercept = nullptr) {
    pump(intercept);
    ose_clock_advance(ms);
    pump(intercept);
}

/// Hands signals on as they come, in real time, until done() holds; false after limit.
inline bool pumpUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds limit = std::chrono::seconds(20),
                      const Intercept& intercept = nullptr) {
    static const SIGSELECT any[] = {0};
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        union SIGNAL* signal = receive_w_tmo(0, any);
        if (signal == nullptr) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            continue;
        }
        deliver(signal, intercept);
    }
    return true;
}

}  // namespace mainloop

#endif  // MAIN_LOOP_PUMP_H
