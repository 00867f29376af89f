// ULSATraniHandler: the analyzer's part in the platform's transactions, with every
// behaviour of TraniGenericBase.
#ifndef ULSA_TRANI_HANDLER_H
#define ULSA_TRANI_HANDLER_H

#include "TraniGenericBase.h"

class ULSATraniHandler : public TraniGenericBase {
  public:
    ULSATraniHandler();
    ~ULSATraniHandler() override;
};

#endif  // ULSA_TRANI_HANDLER_H
