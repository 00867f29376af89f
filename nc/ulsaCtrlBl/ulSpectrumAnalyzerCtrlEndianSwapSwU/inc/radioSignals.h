// radioSignals.h: every signal between the load module, the radio unit's servers
// and the unit's status service, with its name and the smallest size it can have.
#ifndef RADIO_SIGNALS_H
#define RADIO_SIGNALS_H

#include "rftiSig.h"
#include "rmciSig.h"
#include "ulsaSig.h"
#include "usiSig.h"

#include <cstddef>

namespace radioSignals {

/// One signal of the catalogue.
struct SignalInfo {
    SIGSELECT number;
    const char* name;
    OSBUFSIZE minSize;  // the fixed part; a trailing text needs at least its NUL
};

/// The catalogue, in number order: RMCI, RFTI, USI, then the load module's own.
const SignalInfo* catalogue(std::size_t& count);

/// The catalogue's entry for a number; null for a number that is not in it.
const SignalInfo* findSignal(SIGSELECT number);

}  // namespace radioSignals

#endif  // RADIO_SIGNALS_H
