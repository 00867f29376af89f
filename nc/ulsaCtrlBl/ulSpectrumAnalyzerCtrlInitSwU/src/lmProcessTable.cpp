#include "lmProcessTable.h"

#include "ULSpectrumAnalyzerMain.h"
#include "proxyProcesses.h"

PROCESS ulsaMainThreadPid = 0;
PROCESS vqIfSupportPid = 0;
PROCESS vqDbNamePid = 0;

namespace {
const LmProcessBlock kModuleBlock{0};
}  // namespace

LmProcessTable ulsaLmProcessTable = {
    kLmProcessTableVersion,
    {
        {0, 0, "ulSpectrumAnalyzer_main_thread", ULSpectrumAnalyzerMain, 45000, lmPriorityWord(28),
         0, &kModuleBlock, 0, 0, &ulsaMainThreadPid},
        {0, 0, "Vq_IfSupport_proc", Vq_IfSupport_proc, 2000, lmPriorityWord(10), 0, &kModuleBlock,
         0, 0, &vqIfSupportPid},
        {0, 0, "VqDb_name_proc", VqDb_name_proc, 768, lmPriorityWord(14), 0, &kModuleBlock, 0, 0,
         &vqDbNamePid},
    }};
