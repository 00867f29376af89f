// The client factories of this build. RmciClientHandlerImpl is not part of it yet:
// until it is, its factory says so and gives no client, and the analyzer fails the
// action that needed one.
#include "RftiClientHandler.h"
#include "RftiClientHandlerImpl.h"
#include "RmciClientHandler.h"
#include "ulsaCtrlTrace.h"

RmciClientHandler* defaultRmciClientFactory(RmciRftiClientHandlerOwner* /*owner*/) {
    ULSA_TRACE(1, "RmciClientHandlerImpl is not part of this build");
    return nullptr;
}

RftiClientHandler* defaultRftiClientFactory(RmciRftiClientHandlerOwner* owner) {
    return new RftiClientHandlerImpl(owner);
}
