// DbiAPI: the persistence of fROs in the node's SQL database, as the framework and
// the restore at start see it. Reads go to the database at once; row writes travel as
// SQL text under the request's transaction and reach the database at its commit.
#ifndef DBI_API_H
#define DBI_API_H

#include "Attribute.h"
#include "FroInfo.h"
#include "SignalSubscriber.h"
#include "ose.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Results of the fetches.
enum DbiReturn : int {
    /// The database went away; the caller reconnects and repeats.
    DBI_DISCONNECTED = 0,
    DBI_OPERATION_FAIL = 1,
    DBI_OK = 2
};

/// Whether a table is there.
enum TableStatus : int { TABLE_EXISTS = 0, TABLE_NOT_FOUND = 1, TABLE_STATUS_ERROR = 2 };

/// A fRO type as initialize takes it: number and name.
using FroTypeEntry = std::pair<uint32_t, std::string>;

class DbiAPI : public SignalSubscriber {
  public:
    void handleSignal(union SIGNAL** signal) override = 0;
    ~DbiAPI() override = default;

    /// Sets the table prefix and creates or completes the versions table on first use.
    virtual void initialize(const std::string& prefix,
                            const std::vector<FroTypeEntry>& froTypes) = 0;
    /// Connects unless connected; waits for the database if it is not there.
    virtual void open() = 0;
    /// Disconnects, unless a transaction that has written is still open.
    virtual void close() = 0;
    /// The external ids stored of one type; an absent data table gives none.
    virtual bool retrieveFroIds(uint32_t froType, std::vector<uint32_t>& froIds) = 0;
    /// Every stored fRO of every known type, with its LDN.
    virtual bool retrieveFROs(std::vector<FroInfo>& froInfos) = 0;
    /// Every stored fRO of the given types, with its LDN.
    virtual bool retrieveFROs(const std::vector<uint32_t>& froTypes,
                              std::vector<FroInfo>& froInfos) = 0;
    /// Hands the insert of one fRO's row to the transaction; creates its tables at once.
    /// The row holds every attribute the fRO's class declares, at its default where
    /// `attributes` gives no value.
    virtual bool saveFRO(uint32_t transactionId, uint32_t froId, uint32_t froType,
                         const std::string& ldn, const Attributes& attributes) = 0;
    /// Hands the delete of one fRO's row to the transaction.
    virtual void deleteFRO(uint32_t transactionId, uint32_t froId, uint32_t froType) = 0;
    /// Reads one stored fRO: its LDN and its persistent attributes with their values.
    virtual bool retrieveFRO(uint32_t froId, uint32_t froType, std::string& ldn,
                             Attributes& attributes) = 0;
    /// Updates stored attributes of one fRO; directly when transactionId is 0.
    virtual bool saveAttributes(uint32_t transactionId, uint32_t froId, uint32_t froType,
                                const Attributes& attributes, bool onlyPersistent) = 0;
    /// Hands a database event signal to the database client.
    virtual void handleDbSignal(union SIGNAL** signal) = 0;
    /// A transaction committed: ends its registration and tidies empty tables.
    virtual void handleCommitInd(union SIGNAL* signal) = 0;
    /// A transaction rolled back: ends its registration and tidies empty tables.
    virtual void handleRollbackInd(union SIGNAL* signal) = 0;
};

#endif  // DBI_API_H
