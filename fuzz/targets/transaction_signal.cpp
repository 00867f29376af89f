// A signal to the transaction server "TarvoTransaction" from a resource or the
// management side: creates, registrations, SQL text in parts, prepare, commit,
// rollback and the attach. The database is an SQLite file in a folder of the run's
// own, made afresh per fuzz process. At most 64 transactions and 1 MB of text are
// open at once, so that a long run stays bounded.
#include "ServiceFuzz.h"
#include "transactionServer.h"

#include <cstdlib>
#include <string>

namespace {
PROCESS server = 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char folder[] = "/tmp/ulsa-fuzz-tx-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        std::abort();
    }
    ose_adopt_thread("transactionClient");
    hosttx::TransactionServerConfig config;
    config.database.stateDir = folder;
    config.maxOpenTransactions = 64;
    config.maxTextBytes = 1u << 20;
    server = hosttx::startTransactionServer(config);
    if (server == 0) {
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    fuzzkernel::feedService(server, "TarvoTransaction", data, size);
    return 0;
}
