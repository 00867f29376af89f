// The client factories of this build. RmciClientHandlerImpl and RftiClientHandlerImpl
// are not part of it yet: until they are, the factories say so and give no client, and
// the analyzer fails the action that needed one.
#include "RftiClientHandler.h"
#include "RmciClientHandler.h"
#include "ulsaCtrlTrace.h"

RmciClientHandler* defaultRmciClientFactory(RmciRftiClientHandlerOwner* /*owner*/) {
    ULSA_TRACE(1, "RmciClientHandlerImpl is not part of this build");
    return nullptr;
}

RftiClientHandler* defaultRftiClientFactory(RmciRftiClientHandlerOwner* /*owner*/) {
    ULSA_TRACE(1, "RftiClientHandlerImpl is not part of this build");
    return nullptr;
}
