#include "FroDatabaseWriter.h"

#include "FroDatabase.h"
#include "froMgr.h"

void installFroDatabaseWriter() {
    froMgr::instance().setAttributeWriter([](uint32_t transactionId, uint32_t froId,
                                             uint32_t froType, const Attributes& attributes,
                                             bool onlyPersistent) {
        FroDatabase* database = FroDatabase::instance();
        database->open();
        const bool saved =
            database->saveAttributes(transactionId, froId, froType, attributes, onlyPersistent);
        database->close();
        return saved;
    });
}
