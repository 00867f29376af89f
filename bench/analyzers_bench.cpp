// analyzers_bench: 100 analyzers sampling side by side in one node.
//
// 100 UlSpectrumAnalyzer objects on the 100 first RF ports of 13 simulated radio
// units (ports "A" to "H" a unit), each started with sampling type 1 (repeated, a 1 s
// interval) and stopped once its first file is on the FTP server, in one node booted
// in this process and driven through the management client (host/node/scenario).
// Small sample files (100 bins, 224 bytes), 20 ms a measurement; every upload goes
// through the load module's one upload queue.
//
//   analyzers_100_uploaded      analyzers whose file reached the FTP server whole (goal 100)
//   lm_heap_peak_mib_100        the load module's heap at its peak, MiB: what the threads
//                               of its processes allocated and had not freed (host/heap;
//                               signal buffers are the kernel's pool) (goal <= 14)
//   analyzers_100_seconds       from the first start action to the end of the last run
//
// Beside the figures: the heap at each step (booted, created, started, all uploaded,
// ended, deleted) and, while all runs were on, by block size. "analyzers_bench
// --analyzers N" runs N instead of 100 (the figures keep their names).
#include "ManyAnalyzers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
    ulsascenario::ManyAnalyzersConfig config;
    config.analyzers = 100;
    config.limitS = 300;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--analyzers") == 0)
            config.analyzers = std::atoi(argv[i + 1]);
    }
    if (config.analyzers < 1 || config.analyzers > 800) {
        std::fprintf(stderr, "usage: analyzers_bench [--analyzers 1..800]\n");
        return 2;
    }
    const ulsascenario::ManyAnalyzersResult result = ulsascenario::runManyAnalyzers(config);
    if (!result.problem.empty())
        std::fprintf(stderr, "analyzers_bench: %s\n", result.problem.c_str());
    for (const std::string& failure : result.failures)
        std::fprintf(stderr, "analyzers_bench: %s\n", failure.c_str());
    for (const ulsascenario::HeapPoint& point : result.heap) {
        std::printf("heap %-9s %10zu bytes in %7zu blocks\n", point.when.c_str(),
                    point.liveBytes, point.liveBlocks);
    }
    std::printf("heap while running, by block size:\n");
    for (std::size_t c = 0; c < result.liveBySizeWhileRunning.size(); ++c) {
        if (result.liveBySizeWhileRunning[c] != 0) {
            std::printf("  <= %8zu bytes: %10zu bytes\n", std::size_t{1} << c,
                        result.liveBySizeWhileRunning[c]);
        }
    }
    std::printf("name-server subscriptions after the runs: %u\n", result.nameServerSubscriptions);
    std::printf("figure analyzers_100_uploaded %d\n", result.uploaded);
    std::printf("figure lm_heap_peak_mib_100 %.3f\n",
                static_cast<double>(result.heapPeakBytes) / (1024.0 * 1024.0));
    std::printf("figure analyzers_100_seconds %.2f\n", result.seconds);
    return result.problem.empty() && result.failures.empty() ? 0 : 1;
}
