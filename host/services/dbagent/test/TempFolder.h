// TempFolder: a folder of its own for a database test, removed with everything in it.
#ifndef HOSTDB_TEST_TEMP_FOLDER_H
#define HOSTDB_TEST_TEMP_FOLDER_H

#include "ScratchFolder.h"

namespace hostdbtest {

class TempFolder : public testsupport::ScratchFolder {
  public:
    TempFolder() : ScratchFolder("ulsa-db") {}
};

}  // namespace hostdbtest

#endif  // HOSTDB_TEST_TEMP_FOLDER_H
