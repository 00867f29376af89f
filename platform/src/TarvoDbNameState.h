// The state that the name tracking process shares with TarvoDb_getName, and the
// tuning of the wait (internal to the platform proxies; tests shorten the wait).
#ifndef TARVO_DB_NAME_STATE_H
#define TARVO_DB_NAME_STATE_H

#include "ose.h"
#include "tarvo_database.h"

#include <atomic>
#include <cstdint>

namespace tarvodbname {

/// How TarvoDb_getName waits for the database: passes of delayMs each.
struct Wait {
    uint32_t passes = 3600;
    OSTIME delayMs = 500;
    /// How long a changed database is given to settle.
    OSTIME settleMs = 500;
};

/// Sets the wait of TarvoDb_getName; Wait{} restores the thirty minutes.
void setWait(const Wait& wait);

/// Forgets the name, as at load (between runs of a kernel in one program).
void reset();

/// Takes the publisher's process name of an "added" or "removed" and makes the
/// database's name of it: "ose/" and the name with "rtrdb" in place of
/// "Vq_rtrdb_supervisor", cut to kTarvoDbNameSize - 1 characters.
void formName(const char* publisher, char (&name)[kTarvoDbNameSize]);

/// The tracking process's changes.
void added(const char* publisher);
void removed(const char* publisher);

}  // namespace tarvodbname

#endif  // TARVO_DB_NAME_STATE_H
