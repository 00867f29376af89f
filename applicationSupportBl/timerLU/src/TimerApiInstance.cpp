// The process-wide timer API, held in the environment of the load module's block.
#include "Timer.h"
#include "TimerApi.h"

namespace {
const char* const kTimerApiKey = "TimerAPILU";
}  // namespace

// The key holds a Timer, as every maker of this instance stores it.
TimerApi* findTimerApi() {
    return reinterpret_cast<Timer*>(get_envp(0, kTimerApiKey));
}

TimerApi* getTimerApi() {
    if (TimerApi* api = findTimerApi())
        return api;
    Timer* timer = new Timer();
    set_envp(0, kTimerApiKey, reinterpret_cast<OSADDRESS>(timer));
    return timer;
}

void destroyTimerApi() {
    // The key is cleared first, so that nothing the destructor calls finds the
    // object it is destroying.
    if (TimerApi* api = findTimerApi()) {
        set_envp(0, kTimerApiKey, 0);
        delete api;
    }
}
