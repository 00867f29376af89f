// The client factories of this build: each makes the real client for its owner.
#include "RftiClientHandler.h"
#include "RftiClientHandlerImpl.h"
#include "RmciClientHandler.h"
#include "RmciClientHandlerImpl.h"
#include "ulsaCtrlTrace.h"

RmciClientHandler* defaultRmciClientFactory(RmciRftiClientHandlerOwner* owner) {
    return new RmciClientHandlerImpl(owner);
}

RftiClientHandler* defaultRftiClientFactory(RmciRftiClientHandlerOwner* owner) {
    return new RftiClientHandlerImpl(owner);
}
