// ULSpectrumAnalyzerMain: the entry function of the main process,
// "ulSpectrumAnalyzer_main_thread".
#ifndef UL_SPECTRUM_ANALYZER_MAIN_H
#define UL_SPECTRUM_ANALYZER_MAIN_H

#include "ULSpectrumAnalyzerApplication.h"
#include "ose.h"

/// Attaches to the trace system, sets the trace prefix "ulsa", builds the application
/// on its stack and starts it. Returns only by an exception, or when the kernel kills
/// the process.
OS_PROCESS(ULSpectrumAnalyzerMain);

/// The same with another manager factory swapped into the application before start
/// (an empty one keeps the application's own). For a host that brings its own manager.
void runULSpectrumAnalyzerMain(ULSpectrumAnalyzerApplication::ManagerFactory managerFactory);

#endif  // UL_SPECTRUM_ANALYZER_MAIN_H
