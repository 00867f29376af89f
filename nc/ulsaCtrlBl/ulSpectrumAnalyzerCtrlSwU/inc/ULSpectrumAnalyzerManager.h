// ULSpectrumAnalyzerManager: what the application needs of the analyzer's manager.
#ifndef UL_SPECTRUM_ANALYZER_MANAGER_H
#define UL_SPECTRUM_ANALYZER_MANAGER_H

class ULSpectrumAnalyzerManager {
  public:
    virtual ~ULSpectrumAnalyzerManager() = default;

    /// Registers the managed-object class, restores the stored objects and announces
    /// the service; the process serves no request before it has returned. True when
    /// all of it went well.
    virtual bool init() = 0;
};

#endif  // UL_SPECTRUM_ANALYZER_MANAGER_H
