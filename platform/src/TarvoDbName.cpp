// The database's name as the name tracking process learns it, and TarvoDb_getName.
#include "TarvoDbNameState.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>

namespace {

// The name is written by the tracking process and read by the database's users: the
// flags are single words, the text is copied under the lock.
std::mutex nameLock;
char databaseName[kTarvoDbNameSize] = {};
// The caller's copy that TarvoDb_getName points at; only the caller's process reads it.
char callerName[kTarvoDbNameSize] = {};
std::atomic<bool> databaseAvailable{false};
std::atomic<bool> databaseChanged{false};

std::mutex waitLock;
tarvodbname::Wait currentWait;

tarvodbname::Wait wait() {
    std::lock_guard<std::mutex> guard(waitLock);
    return currentWait;
}

}  // namespace

namespace tarvodbname {

void setWait(const Wait& newWait) {
    std::lock_guard<std::mutex> guard(waitLock);
    currentWait = newWait;
}

void reset() {
    std::lock_guard<std::mutex> guard(nameLock);
    databaseName[0] = '\0';
    databaseAvailable = false;
    databaseChanged = false;
}

void formName(const char* publisher, char (&name)[kTarvoDbNameSize]) {
    static const std::string kSupervisor = "Vq_rtrdb_supervisor";
    std::string process = publisher;
    const std::size_t at = process.find(kSupervisor);
    if (at != std::string::npos) {
        process.replace(at, kSupervisor.size(), "rtrdb");
    }
    const std::string full = "ose/" + process;
    if (full.size() >= kTarvoDbNameSize) {
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "Database name %s cut to %u characters",
                    full.c_str(), static_cast<unsigned>(kTarvoDbNameSize - 1));
    }
    std::strncpy(name, full.c_str(), kTarvoDbNameSize - 1);
    name[kTarvoDbNameSize - 1] = '\0';
}

void added(const char* publisher) {
    char name[kTarvoDbNameSize];
    formName(publisher, name);
    {
        std::lock_guard<std::mutex> guard(nameLock);
        std::memcpy(databaseName, name, sizeof name);
        if (databaseAvailable) {
            databaseChanged = true;
        }
        databaseAvailable = true;
    }
    TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Database name set to %s", name);
}

void removed(const char* publisher) {
    char name[kTarvoDbNameSize];
    formName(publisher, name);
    std::lock_guard<std::mutex> guard(nameLock);
    if (std::strcmp(name, databaseName) == 0) {
        databaseAvailable = false;
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Database name removed: %s", name);
    }
}

}  // namespace tarvodbname

bool TarvoDb_getName(char** name) {
    const tarvodbname::Wait tuning = wait();
    if (databaseChanged) {
        // The new server is given time to settle before anybody connects to it.
        delay(tuning.settleMs);
        databaseChanged = false;
    }
    // Passes of delayMs each, thirty minutes in all. Within a pass the name is looked
    // at again after 1, 2, 4 ... ms: at a node's start the database is published a few
    // milliseconds after the first caller asks, who need not sleep out a whole pass.
    const uint64_t budgetMs = static_cast<uint64_t>(tuning.passes) * tuning.delayMs;
    uint64_t waitedMs = 0;
    OSTIME sliceMs = 1;
    for (;;) {
        {
            std::lock_guard<std::mutex> guard(nameLock);
            if (databaseAvailable) {
                std::memcpy(callerName, databaseName, sizeof callerName);
                if (name != nullptr) {
                    *name = callerName;
                }
                return true;
            }
        }
        if (waitedMs >= budgetMs) {
            break;
        }
        // Not 0: a budget above 0 has a delay of at least 1 ms.
        const OSTIME step =
            static_cast<OSTIME>(std::min<uint64_t>({sliceMs, tuning.delayMs, budgetMs - waitedMs}));
        delay(step);
        waitedMs += step;
        sliceMs = sliceMs < tuning.delayMs / 2 ? sliceMs * 2 : tuning.delayMs;
    }
    if (name != nullptr) {
        *name = nullptr;
    }
    TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Database service not published in Name Server");
    return false;
}
