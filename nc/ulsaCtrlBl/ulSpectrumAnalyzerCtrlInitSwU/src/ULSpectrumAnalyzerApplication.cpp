#include "ULSpectrumAnalyzerApplication.h"

#include "ULSpectrumAnalyzerManagerImpl.h"
#include "traceGroups.h"

#include <utility>

ULSpectrumAnalyzerApplication::ULSpectrumAnalyzerApplication(int argument)
    : Application(argument), m_managerFactory(defaultManagerFactory), m_manager(nullptr) {}

ULSpectrumAnalyzerApplication::~ULSpectrumAnalyzerApplication() {
    m_manager = nullptr;
    m_managerFactory = nullptr;
}

bool ULSpectrumAnalyzerApplication::applicationSpecificInit() {
    TRACE(m_trace, 2, "ULSpectrumAnalyzerApplication::applicationSpecificInit()");
    if (!m_managerFactory) {
        throw std::bad_function_call();
    }
    m_manager = m_managerFactory();
    if (m_manager == nullptr) {
        TRACE(m_trace, 1,
              "ULSpectrumAnalyzerApplication::applicationSpecificInit() got no manager: "
              "nothing to initialise, no requests will be served");
        return false;
    }
    const bool result = m_manager->init();
    TRACE(m_trace, 3, "ULSpectrumAnalyzerApplication::applicationSpecificInit() returned %s",
          result ? "true" : "false");
    return result;
}

void ULSpectrumAnalyzerApplication::swapManagerFactory(ManagerFactory& factory) {
    std::swap(m_managerFactory, factory);
}

ULSpectrumAnalyzerApplication* createULSpectrumAnalyzerApplication(int argument) {
    TRACE_GROUP(traceGroups::ulSpectrumAnalyzerCtrlInit, 4,
                "\n\n=== ULSpectrumAnalyzerApplication created ===\n");
    return new ULSpectrumAnalyzerApplication(argument);
}

ULSpectrumAnalyzerManager* defaultManagerFactory() {
    return ULSpectrumAnalyzerManagerImpl::getInstance();
}
