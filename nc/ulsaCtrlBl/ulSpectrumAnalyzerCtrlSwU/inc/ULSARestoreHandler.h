// ULSARestoreHandler: brings the stored analyzers back at start, with every behaviour
// of RestoreHandlerGenericBase. No run comes back with them.
#ifndef ULSA_RESTORE_HANDLER_H
#define ULSA_RESTORE_HANDLER_H

#include "RestoreHandlerGenericBase.h"

class ULSARestoreHandler : public RestoreHandlerGenericBase {
  public:
    ULSARestoreHandler();
    ~ULSARestoreHandler() override;
};

#endif  // ULSA_RESTORE_HANDLER_H
