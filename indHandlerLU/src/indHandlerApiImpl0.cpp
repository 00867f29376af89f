// IndHandlerApiImpl0: version 0 of the published interface, and its getter and
// releaser.
#include "IndHandlerApi.h"
#include "IndHandlerApiForwarding.h"

namespace {

class IndHandlerApiImpl0 final
    : public indhandler::IndHandlerApiForwarding<IndHandlerApi, IndHandler::kInterfaceVersion0> {
  public:
    IndHandlerApiImpl0()
        : IndHandlerApiForwarding("IndHandlerApiImpl0",
                                  *IndHandler::getInstance(IndHandler::kInterfaceVersion0)) {}
};

IndHandlerApiImpl0* theApi0 = nullptr;

}  // namespace

IndHandlerApi* getIndHandlerApi() {
    if (theApi0 == nullptr) {
        theApi0 = new IndHandlerApiImpl0();
    }
    return theApi0;
}

void releaseIndHandlerApi() {
    if (theApi0 != nullptr) {
        delete theApi0;
        theApi0 = nullptr;
        IndHandler::releaseInstance(IndHandler::kInterfaceVersion0);
    }
}
