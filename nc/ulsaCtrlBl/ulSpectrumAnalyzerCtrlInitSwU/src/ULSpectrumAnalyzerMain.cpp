#include "ULSpectrumAnalyzerMain.h"

#include "DynTraceHandler.h"
#include "Timer.h"
#include "applicationServices.h"
#include "dynTrace.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "traceAndError.h"
#include "traceGroups.h"

#include <utility>

OS_PROCESS(ULSpectrumAnalyzerMain) {
    runULSpectrumAnalyzerMain(ULSpectrumAnalyzerApplication::ManagerFactory{});
}

void runULSpectrumAnalyzerMain(ULSpectrumAnalyzerApplication::ManagerFactory managerFactory) {
    // The classes of the timer API and of the name-server client that
    // applicationCommonInit brings up.
    applsupp::application::registerTimerApi<Timer>();
    applsupp::application::registerNameServer<plab::nameserver::v1::NameServerOse>();

    TraceCall attach{};
    attach.ref = &traceDefaultRef;
    traceAndErrorInit(TRACE_OP_ATTACH, &attach);

    TRACE_GROUP(traceGroups::ulSpectrumAnalyzerCtrlInit, 4,
                "ULSpectrumAnalyzer Main Process started");

    // Before any object with a trace member exists: their names take the prefix when
    // they register.
    DynTraceHandler::setTraceObjectPrefix("ulsa");

    ULSpectrumAnalyzerApplication application(0);
    if (managerFactory) {
        application.swapManagerFactory(managerFactory);
    }
    application.start();
}
