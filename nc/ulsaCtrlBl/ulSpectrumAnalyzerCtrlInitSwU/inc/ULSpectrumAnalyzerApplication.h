// ULSpectrumAnalyzerApplication: the application of the main process. Its own
// start-up makes the manager and initialises it; the loop is Application's.
#ifndef UL_SPECTRUM_ANALYZER_APPLICATION_H
#define UL_SPECTRUM_ANALYZER_APPLICATION_H

#include "Application.h"
#include "ULSpectrumAnalyzerManager.h"

#include <functional>

class ULSpectrumAnalyzerApplication : public Application {
  public:
    using ManagerFactory = std::function<ULSpectrumAnalyzerManager*()>;

    /// The argument goes to Application; the main process gives 0.
    explicit ULSpectrumAnalyzerApplication(int argument);
    /// Forgets the manager without deleting it (it has its own destroyer), drops the
    /// factory, then Application tears down the process-wide services.
    ~ULSpectrumAnalyzerApplication() override;

    /// Makes the manager with the factory and returns the result of its init. Throws
    /// std::bad_function_call for an empty factory; false when it gives no manager.
    bool applicationSpecificInit() override;

    /// Swaps another manager factory in; the caller gets the one before.
    void swapManagerFactory(ManagerFactory& factory);

  private:
    ManagerFactory m_managerFactory;
    ULSpectrumAnalyzerManager* m_manager;
};

/// The second creator: traces the creation, then allocates an application on the heap.
ULSpectrumAnalyzerApplication* createULSpectrumAnalyzerApplication(int argument);

/// The manager factory of this build: the getter of the analyzer's manager,
/// ULSpectrumAnalyzerManagerImpl, which makes it on first use.
ULSpectrumAnalyzerManager* defaultManagerFactory();

#endif  // UL_SPECTRUM_ANALYZER_APPLICATION_H
