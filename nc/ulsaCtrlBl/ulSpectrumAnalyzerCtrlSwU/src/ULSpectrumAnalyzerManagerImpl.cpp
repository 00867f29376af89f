#include "ULSpectrumAnalyzerManagerImpl.h"

#include "ULSpectrumAnalyzerImpl.h"
#include "ulsaCtrlTrace.h"

#include <cstdio>
#include <cstdlib>
#include <new>

ULSpectrumAnalyzerManagerImpl* ULSpectrumAnalyzerManagerImpl::m_instance = nullptr;

ULSpectrumAnalyzerManagerImpl* ULSpectrumAnalyzerManagerImpl::getInstance() {
    if (m_instance == nullptr) {
        m_instance = new (std::nothrow) ULSpectrumAnalyzerManagerImpl();
        if (m_instance == nullptr) {
            // The assertion of the load module: it names the class's file and line 30.
            std::fprintf(stderr, "ULSpectrumAnalyzerManagerImpl:30: Assertion failed: %s\n",
                         "ULSpectrumAnalyzerManagerImpl::m_instance != NULL");
            std::fflush(stderr);
            std::abort();
        }
    }
    return m_instance;
}

void ULSpectrumAnalyzerManagerImpl::destroyInstance() {
    delete m_instance;
    m_instance = nullptr;
}

ULSpectrumAnalyzerManagerImpl::ULSpectrumAnalyzerManagerImpl()
    : m_froHandler(new FroHandler(&m_maoFroIfHandler, &m_traniHandler, &m_restoreHandler)) {}

ULSpectrumAnalyzerManagerImpl::~ULSpectrumAnalyzerManagerImpl() {
    m_froHandler.reset();
}

MocRegistration ULSpectrumAnalyzerManagerImpl::registration() {
    MocRegistration item;
    item.className = "UlSpectrumAnalyzer";
    item.froType = ULSpectrumAnalyzerImpl::kFroType;
    item.creator = &ULSpectrumAnalyzerImpl::create;
    // targetRfPort is a string and still has "0" as its default.
    item.attributes = {Attribute("info", "S32", "0"), Attribute("samplingType", "S32", "0"),
                       Attribute("targetRfPort", "STRING", "0"),
                       Attribute("ulSpectrumSamplingStatus", "S32", "0")};
    item.flags = 0;
    return item;
}

bool ULSpectrumAnalyzerManagerImpl::init() {
    ULSA_TRACE(2, "ULSpectrumAnalyzerManagerImpl::init()");
    const MocRegistrations registrations{registration()};
    m_froHandler->startFroFramework(kDatabaseName, kServiceName, registrations);
    ULSA_TRACE(3, "ULSpectrumAnalyzerManagerImpl::init() returned");
    return true;
}

ULSAMaoFroIfHandler::ULSAMaoFroIfHandler() = default;
ULSAMaoFroIfHandler::~ULSAMaoFroIfHandler() = default;
ULSATraniHandler::ULSATraniHandler() = default;
ULSATraniHandler::~ULSATraniHandler() = default;
ULSARestoreHandler::ULSARestoreHandler() = default;
ULSARestoreHandler::~ULSARestoreHandler() = default;
