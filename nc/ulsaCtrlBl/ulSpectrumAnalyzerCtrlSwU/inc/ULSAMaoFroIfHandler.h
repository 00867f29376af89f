// ULSAMaoFroIfHandler: the analyzer's handler of management requests. It keeps every
// behaviour of MaoFroGenericBase: the object's own behaviour is behind FroCtrlIf.
#ifndef ULSA_MAO_FRO_IF_HANDLER_H
#define ULSA_MAO_FRO_IF_HANDLER_H

#include "MaoFroGenericBase.h"

class ULSAMaoFroIfHandler : public MaoFroGenericBase {
  public:
    ULSAMaoFroIfHandler();
    ~ULSAMaoFroIfHandler() override;
};

#endif  // ULSA_MAO_FRO_IF_HANDLER_H
