// FroDatabase: fROs in the node's SQL database.
//
// Three kinds of table, each name behind the table prefix: fro_versions (one row per
// fRO type: number, name, data table), fro_attributes (one row per persistent
// attribute of a saved type) and one frodata_<type name>_INITIAL per type (one row per
// fRO: froid, ldn, a column per attribute). Reads go over the SQL call table at once
// and repeat after a lost connection; row writes are handed to the transaction server
// under the request's transaction and applied at its commit. Only tables are created
// and dropped directly.
//
// One process uses the instance: no locks. Its blocking calls (the reconnection
// waits for the database without a limit) hold up that process.
#ifndef FRO_DATABASE_H
#define FRO_DATABASE_H

#include "DbiAPI.h"
#include "dynTrace.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

struct TarvoDbHandles;

class FroDatabase : public DbiAPI {
  public:
    /// The process-wide instance, made on first use.
    static FroDatabase* instance();
    /// Ends the instance; the next instance() makes a new one.
    static void deleteInstance();

    FroDatabase(const FroDatabase&) = delete;
    FroDatabase& operator=(const FroDatabase&) = delete;

    void handleSignal(union SIGNAL** signal) override;
    ~FroDatabase() override;
    void initialize(const std::string& prefix, const std::vector<FroTypeEntry>& froTypes) override;
    void open() override;
    void close() override;
    bool retrieveFroIds(uint32_t froType, std::vector<uint32_t>& froIds) override;
    bool retrieveFROs(std::vector<FroInfo>& froInfos) override;
    bool retrieveFROs(const std::vector<uint32_t>& froTypes,
                      std::vector<FroInfo>& froInfos) override;
    bool saveFRO(uint32_t transactionId, uint32_t froId, uint32_t froType, const std::string& ldn,
                 const Attributes& attributes) override;
    void deleteFRO(uint32_t transactionId, uint32_t froId, uint32_t froType) override;
    bool retrieveFRO(uint32_t froId, uint32_t froType, std::string& ldn,
                     Attributes& attributes) override;
    bool saveAttributes(uint32_t transactionId, uint32_t froId, uint32_t froType,
                        const Attributes& attributes, bool onlyPersistent) override;
    void handleDbSignal(union SIGNAL** signal) override;
    void handleCommitInd(union SIGNAL* signal) override;
    void handleRollbackInd(union SIGNAL* signal) override;

    /// Whether the database connection stands.
    bool isConnected() const { return connected; }

    /// A fRO as the last retrieveFROs read it, when nothing has been written, created,
    /// dropped or closed through this instance since: the restore reads each listed fRO
    /// again and gets the same row. Any other fRO, or one asked for a second time, is
    /// read with retrieveFRO.
    bool retrieveListedFRO(uint32_t froId, uint32_t froType, std::string& ldn,
                           Attributes& attributes);

  private:
    class ColumnReader;
    using RowHandler = std::function<DbiReturn(ColumnReader&)>;

    FroDatabase();

    bool executeStatement(const std::string& sql);
    TableStatus tableStatus(const std::string& name);
    bool createTable(const std::string& name, const std::string& columns);
    bool createFroVersionsTable();
    bool createFroAttributesTable();
    bool createFroDataTable(const std::string& name, const Attributes& attributes);
    bool getFrodataTableName(uint32_t froType, std::string& name);
    bool bufferFroType(uint32_t froType, const Attributes& attributes, uint32_t transactionId);
    DbiReturn fetchRows(const char* fetchName, const char* readFailurePrefix,
                        const std::string& sql, const RowHandler& onRow);
    DbiReturn fetchFrodataTableName(uint32_t froType, std::string& name);
    DbiReturn fetchAttributes(uint32_t froType, Attributes& attributes);
    DbiReturn fetchFROs(const std::string& table, std::vector<uint32_t>& froIds);
    DbiReturn fetchFRO(uint32_t froId, const std::string& table, std::string& ldn,
                       Attributes& attributes);
    bool fetchAttributesRepeated(uint32_t froType, Attributes& attributes,
                                 const char* unexpectedIn);
    bool retrieveFroTypes(std::vector<uint32_t>& froTypes);
    bool handleDisconnected(const std::string& operation);
    bool getError(int16_t handleType, void* handle);
    void reconnect();
    void registerTransaction(uint32_t transactionId);
    bool sanityCheck(uint32_t transactionId);
    void sendUpdate(uint32_t transactionId, const std::string& sql);
    std::string valueText(const Attribute& attribute) const;
    void* statement() const;
    void forgetListedFros();

    bool firstOpen;
    std::vector<uint32_t> bufferedFroTypes;
    std::vector<uint32_t> registeredTransactions;
    TarvoDbHandles* connection;
    std::string tablePrefix;
    std::map<uint32_t, bool> scratchFroTypes;
    bool connected;
    TraceHandle traceObject;

    // What retrieveFROs read of each fRO, by type and id, until anything changes.
    struct ListedFro {
        std::string ldn;
        Attributes attributes;
    };
    std::map<std::pair<uint32_t, uint32_t>, ListedFro> listedFros;

    static std::string froVersionsTableName;
    static std::string froAttributesTableName;
    static std::string froDataTablePrefix;
    static const std::string integerColumnType;
    static const std::string varcharColumnType;
};

#endif  // FRO_DATABASE_H
