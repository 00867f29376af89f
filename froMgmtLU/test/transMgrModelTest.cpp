// Long random sequences of creates, sets, deletes, reads, commits and rollbacks over
// several transactions, against the reference model: fixed seeds, so that a failure
// names the seed and step that reproduce it.
#include "traceHost.h"
#include "transMgrModel.h"

#include <gtest/gtest.h>

namespace {

// The refusals that the random calls provoke by the thousand would fill the output.
class QuietTrace {
  public:
    QuietTrace() {
        traceSetMask("FroMgmtLU", 0);
        traceSetMask("Ft_CONFIG", 0);
    }
    ~QuietTrace() {
        traceSetMask("FroMgmtLU", kTraceUnnamedMask);
        traceSetMask("Ft_CONFIG", kTraceUnnamedMask);
    }
    QuietTrace(const QuietTrace&) = delete;
    QuietTrace& operator=(const QuietTrace&) = delete;
};

TEST(TransMgrModel, RandomSequencesMatchTheReference) {
    QuietTrace quiet;
    for (uint32_t seed : {1u, 2u, 3u, 20240607u}) {
        ASSERT_NO_FATAL_FAILURE(transmodel::runModel(seed, 3000));
        if (HasFailure()) {
            break;
        }
    }
    transtest::resetFramework();
}

}  // namespace
