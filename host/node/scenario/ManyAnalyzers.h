// ManyAnalyzers: many UlSpectrumAnalyzer objects sampling side by side in one node.
//
// Boots a whole node in this Linux process (ulsaNodeBoot, the file-transfer and
// attribute-read services as ulsa-node starts them), radio unit simulators in the
// node's kernel (eight RF ports "A" to "H" a unit) and an FTP server on loopback,
// then drives the node as ulsactl does, through the management client: creates the
// analyzers in one transaction, starts each on a port of its own with sampling type 1
// (repeated, with an interval), stops them all once each has had a file uploaded, and
// deletes them. What the load module's processes allocate is counted on the way
// (host/heap): the program must link hostHeapCount.
//
// Call from a thread that is no kernel process, once per Linux process (a node's
// process-wide state outlives its stop).
#ifndef ULSA_MANY_ANALYZERS_H
#define ULSA_MANY_ANALYZERS_H

#include <cstddef>
#include <string>
#include <vector>

namespace ulsascenario {

struct ManyAnalyzersConfig {
    int analyzers = 10;
    /// Bins of a sweep: a sample file is 24 + 2 bins bytes.
    unsigned bins = 100;
    unsigned measurementTimeMs = 20;
    unsigned samplingIntervalS = 1;
    /// Rounds of runs: each starts every analyzer and waits until every run has ended.
    int rounds = 1;
    /// The whole scenario's limit, after which it gives up and reports what it has.
    unsigned limitS = 120;
};

/// The heap of the load module at one moment.
struct HeapPoint {
    std::string when;
    std::size_t liveBytes = 0;
    std::size_t liveBlocks = 0;
};

struct ManyAnalyzersResult {
    /// Empty when the scenario ran to its end; else why not.
    std::string problem;
    /// Analyzers whose file reached the FTP server whole.
    int uploaded = 0;
    /// Analyzers whose run ended with status 3, with their info.
    std::vector<std::string> failures;
    /// From the first start action to the last run's end.
    double seconds = 0;
    /// The load module's heap: the peak over the whole scenario, the points on the way
    /// (booted, created, started, all uploaded, ended, deleted; with more than one round,
    /// the round's number behind the run's points), and the live bytes by size class
    /// when all runs of the last round were on.
    std::size_t heapPeakBytes = 0;
    std::vector<HeapPoint> heap;
    std::vector<std::size_t> liveBySizeWhileRunning;
    /// Subscriptions at "ose_ns" when all runs had ended.
    unsigned nameServerSubscriptions = 0;
};

ManyAnalyzersResult runManyAnalyzers(const ManyAnalyzersConfig& config);

}  // namespace ulsascenario

#endif  // ULSA_MANY_ANALYZERS_H
