// ServiceFuzz: one input as one signal to a host service that runs as a kernel
// process of its own. The fuzzer's thread sends it and waits until the service has
// handled it (it waits in its receive again); answers sent back are dropped. A
// service that ends, or that does not come back to its receive, is a finding: the
// run stops there with the input that did it.
#ifndef ULSA_SERVICE_FUZZ_H
#define ULSA_SERVICE_FUZZ_H

#include "FuzzKernel.h"

#include <cstdio>
#include <cstdlib>

namespace fuzzkernel {

inline void feedService(PROCESS service, const char* name, const uint8_t* data, std::size_t size) {
    if (!fitsSignal(size)) {
        return;
    }
    union SIGNAL* signal = signalOf(data, size);
    send(&signal, service);
    if (!ose_wait_idle(service, 10000)) {
        std::fprintf(stderr, "%s %s after this input\n", name,
                     ose_wait_ended(service, 0) ? "ended" : "did not come back to its receive");
        std::abort();
    }
    drainQueue();
}

}  // namespace fuzzkernel

#endif  // ULSA_SERVICE_FUZZ_H
