// ULSpectrumAnalyzerManagerImpl: binds the generic fRO framework to the one class this
// load module serves, UlSpectrumAnalyzer. It owns the three handlers of the framework
// and the FroHandler that starts the service layer; init declares the class, restores
// the stored analyzers and only then publishes the service
// "CLIB_FRO_ULSA_MGMT_SERVICE_NAME".
//
// One instance per process, held by a static pointer: getInstance makes it on first
// use, destroyInstance deletes it. Nothing in normal operation calls the destroyer.
#ifndef UL_SPECTRUM_ANALYZER_MANAGER_IMPL_H
#define UL_SPECTRUM_ANALYZER_MANAGER_IMPL_H

#include "FroHandler.h"
#include "ULSAMaoFroIfHandler.h"
#include "ULSARestoreHandler.h"
#include "ULSATraniHandler.h"
#include "ULSpectrumAnalyzerManager.h"

#include <memory>

class ULSpectrumAnalyzerManagerImpl : public ULSpectrumAnalyzerManager {
  public:
    /// The database name under which the analyzers are stored.
    static constexpr const char* kDatabaseName = "cat";
    /// The service that the management layer opens.
    static constexpr const char* kServiceName = "CLIB_FRO_ULSA_MGMT_SERVICE_NAME";

    /// The instance, made on first use; a failed allocation stops the process.
    static ULSpectrumAnalyzerManagerImpl* getInstance();
    /// Deletes the instance, if there is one.
    static void destroyInstance();

    /// The class UlSpectrumAnalyzer as the framework registers it: type 0x100001B,
    /// its creator, and the attributes info, samplingType, targetRfPort and
    /// ulSpectrumSamplingStatus, each with the default "0".
    static MocRegistration registration();

    /// Starts the framework with the registration: indications, database, class,
    /// restore, then the service. True: failures are handled where they happen.
    bool init() override;

    ULSpectrumAnalyzerManagerImpl(const ULSpectrumAnalyzerManagerImpl&) = delete;
    ULSpectrumAnalyzerManagerImpl& operator=(const ULSpectrumAnalyzerManagerImpl&) = delete;

  private:
    ULSpectrumAnalyzerManagerImpl();
    /// Deletes the FroHandler, then the handlers in reverse order.
    ~ULSpectrumAnalyzerManagerImpl() override;

    static ULSpectrumAnalyzerManagerImpl* m_instance;

    ULSAMaoFroIfHandler m_maoFroIfHandler;
    ULSATraniHandler m_traniHandler;
    ULSARestoreHandler m_restoreHandler;
    std::unique_ptr<FroHandler> m_froHandler;
};

#endif  // UL_SPECTRUM_ANALYZER_MANAGER_IMPL_H
