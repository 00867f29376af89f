#include "FroDatabase.h"

#include "LdnText.h"
#include "SignalDistributorAPI.h"
#include "froMgr.h"
#include "tarvo_database.h"
#include "tarvo_transaction.h"
#include "xmlStringUtils.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>

namespace {

constexpr SIGSELECT kTransServerDownInd = 0x271B;
constexpr SIGSELECT kTransCreateRsp = 0x2712;
constexpr SIGSELECT kTransRegisterRsp = 0x2714;
constexpr SIGSELECT kTransCommitRsp = 0x2718;
constexpr SIGSELECT kTransRollbackRsp = 0x271A;
constexpr SIGSELECT kTransCommitInd = 0x271E;
constexpr SIGSELECT kTransRollbackInd = 0x271F;
constexpr SIGSELECT kDbEventSig = 0x504F4C59;

// Subscribed in this order: the late answers of the transaction server, its death,
// and the database's events.
constexpr SIGSELECT kSubscribedSignals[] = {kTransServerDownInd, kTransCreateRsp, kTransCommitRsp,
                                            kTransRollbackRsp, kDbEventSig};

// Text columns are read into a buffer of this size, allocated per fetch at its first text
// column and not cleared: the driver ends what it writes with a NUL.
constexpr std::size_t kTextBufferSize = 49152;
constexpr TarvoSqlLen kTextReadLength = 0xC000;
// Where the transaction id stands in the commit and rollback indications.
constexpr std::size_t kIndicationTxIdOffset = 8;

FroDatabase* g_instance = nullptr;

// A fRO is born with every attribute its class declares (froMgr's read-only attributes
// of its MO type), and its row holds them all alike: the given value where there is
// one (the first of a name), the default otherwise, in the declared type. Attributes
// the class does not declare follow as given. So the first fRO saved of a class makes
// its data table with a column for each declared attribute.
Attributes rowAttributes(const std::string& ldn, const Attributes& given) {
    const auto declared = froMgr::instance().getReadOnlyAttributes(getMoType(ldn));
    if (declared.empty()) {
        return given;
    }
    Attributes row;
    std::set<std::string> declaredNames;
    for (const auto& attribute : declared) {
        declaredNames.insert(attribute->getName());
        const auto value = std::find_if(
            given.begin(), given.end(),
            [&attribute](const Attribute& a) { return a.name == attribute->getName(); });
        row.emplace_back(attribute->getName(), attribute->getType(),
                         value != given.end() ? value->value : attribute->getValue());
    }
    for (const Attribute& attribute : given) {
        if (declaredNames.count(attribute.name) == 0) {
            row.push_back(attribute);
        }
    }
    return row;
}

bool sqlSucceeded(TarvoSqlReturn result) {
    return result == SQL_SUCCESS || result == SQL_SUCCESS_WITH_INFO;
}

TarvoSqlChar* sqlText(const std::string& text) {
    return reinterpret_cast<TarvoSqlChar*>(const_cast<char*>(text.c_str()));
}

bool isIntegerType(const std::string& type) {
    const std::string upper = toUpper(type);
    return upper == "U32" || upper == "S32";
}

// An integer column takes the value as it stands only when it is a number: anything
// else goes quoted, so that a bad value can fail its statement but never change it.
bool isIntegerLiteral(const std::string& value) {
    std::size_t start = (!value.empty() && (value[0] == '-' || value[0] == '+')) ? 1 : 0;
    if (start >= value.size() || value.size() - start > 20) {
        return false;
    }
    return std::all_of(value.begin() + static_cast<std::ptrdiff_t>(start), value.end(),
                       [](char c) { return c >= '0' && c <= '9'; });
}

uint32_t readWord(const union SIGNAL* signal, std::size_t offset) {
    uint32_t word = 0;
    std::memcpy(&word, reinterpret_cast<const char*>(signal) + offset, sizeof(word));
    return word;
}

}  // namespace

std::string FroDatabase::froVersionsTableName = "fro_versions";
std::string FroDatabase::froAttributesTableName = "fro_attributes";
std::string FroDatabase::froDataTablePrefix = "frodata_";
const std::string FroDatabase::integerColumnType = "integer";
const std::string FroDatabase::varcharColumnType = "varchar(0)";

// Reads the columns of the current row of the statement.
class FroDatabase::ColumnReader {
  public:
    ColumnReader(FroDatabase& owner, const char* fetchName, const char* readFailurePrefix)
        : m_owner(owner), m_fetchName(fetchName), m_readFailurePrefix(readFailurePrefix) {}

    // A text column; NULL gives an empty text. Longer texts are read in pieces.
    DbiReturn text(TarvoSqlUSmallInt column, std::string& out) {
        out.clear();
        if (!m_buffer) {
            m_buffer.reset(new char[kTextBufferSize]);
        }
        for (;;) {
            TarvoSqlLen indicator = 0;
            const TarvoSqlReturn result =
                tarvodb::SQLGetData(m_owner.statement(), column, SQL_C_CHAR, m_buffer.get(),
                                    kTextReadLength, &indicator);
            if (result == SQL_NO_DATA && !out.empty()) {
                return DBI_OK;
            }
            if (!sqlSucceeded(result)) {
                return failed();
            }
            if (indicator == SQL_NULL_DATA) {
                return DBI_OK;
            }
            const std::size_t held = strnlen(m_buffer.get(), kTextReadLength);
            out.append(m_buffer.get(), held);
            if (result == SQL_SUCCESS || held + 1 < static_cast<std::size_t>(kTextReadLength)) {
                return DBI_OK;
            }
        }
    }

    // An integer column; NULL gives 0.
    DbiReturn integer(TarvoSqlUSmallInt column, int32_t& out) {
        out = 0;
        TarvoSqlLen indicator = 0;
        const TarvoSqlReturn result =
            tarvodb::SQLGetData(m_owner.statement(), column, SQL_C_LONG, &out, 4, &indicator);
        if (!sqlSucceeded(result)) {
            return failed();
        }
        if (indicator == SQL_NULL_DATA) {
            out = 0;
        }
        return DBI_OK;
    }

  private:
    DbiReturn failed() {
        TRACE(m_owner.traceObject, 1,
              "%sFailed when trying to read value from the database, no value returned",
              m_readFailurePrefix);
        if (m_owner.getError(SQL_HANDLE_STMT, m_owner.statement())) {
            TRACE(m_owner.traceObject, 8, "FroDatabase::%s: DB Disconnected while SQLGetData",
                  m_fetchName);
            return DBI_DISCONNECTED;
        }
        return DBI_OPERATION_FAIL;
    }

    FroDatabase& m_owner;
    const char* m_fetchName;
    const char* m_readFailurePrefix;
    std::unique_ptr<char[]> m_buffer;
};

FroDatabase* FroDatabase::instance() {
    if (g_instance == nullptr) {
        g_instance = new FroDatabase();
    }
    return g_instance;
}

void FroDatabase::deleteInstance() {
    delete g_instance;
    g_instance = nullptr;
}

FroDatabase::FroDatabase()
    : firstOpen(true), connection(new TarvoDbHandles()), connected(false), traceObject("FroDbLU") {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (SIGSELECT number : kSubscribedSignals) {
        const bool subscribed = distributor != nullptr && distributor->subscribe(number, this);
        TRACE(traceObject, 8, "RESULT = %d", subscribed ? 1 : 0);
    }
    const int attached = static_cast<int>(TarvoTransaction_serviceAttach_e());
    if (attached != 0) {
        TRACE(traceObject, 1, "TarvoTransaction_serviceAttach_e() returned %d", attached);
    }
    TRACE(traceObject, 8, "attached to TRANS");
}

FroDatabase::~FroDatabase() {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    if (distributor != nullptr) {
        for (SIGSELECT number : kSubscribedSignals) {
            distributor->unsubscribe(number, this);
        }
    }
    // A connection left open by an outstanding transaction ends with the instance.
    if (connected) {
        TarvoDb_disconnect(connection);
    }
    delete connection;
}

void* FroDatabase::statement() const {
    return connection->statement;
}

void FroDatabase::handleSignal(union SIGNAL** signal) {
    if (signal == nullptr || *signal == nullptr) {
        return;
    }
    const SIGSELECT number = readWord(*signal, 0);
    TRACE(traceObject, 8, "handleSignal RECEIVED message 0x%08x", static_cast<unsigned>(number));
    switch (number) {
        case kTransCreateRsp:
        case kTransRegisterRsp:
        case kTransCommitRsp:
        case kTransRollbackRsp:
            break;
        case kTransServerDownInd: {
            forgetListedFros();
            bufferedFroTypes.clear();
            registeredTransactions.clear();
            const int attached = static_cast<int>(TarvoTransaction_serviceAttach_e());
            if (attached != 0) {
                TRACE(traceObject, 1, "TarvoTransaction_serviceAttach_e() returned %d", attached);
            }
            TRACE(traceObject, 8, "attached to TRANS");
            break;
        }
        case kTransCommitInd:
            handleCommitInd(*signal);
            break;
        case kTransRollbackInd:
            handleRollbackInd(*signal);
            break;
        case kDbEventSig:
            handleDbSignal(signal);
            break;
        default:
            TRACE(traceObject, 1, "unexpected message 0x%08x received in froDatabase",
                  static_cast<unsigned>(number));
            break;
    }
}

void FroDatabase::handleDbSignal(union SIGNAL** signal) {
    if (signal == nullptr || *signal == nullptr) {
        return;
    }
    TarvoDb_handleSignal(connection, *signal);
    *signal = nullptr;
}

void FroDatabase::handleCommitInd(union SIGNAL* signal) {
    TRACE(traceObject, 8, "COMMIT_IND received");
    if (signal != nullptr && sigsize(&signal) >= kIndicationTxIdOffset + sizeof(uint32_t)) {
        sanityCheck(readWord(signal, kIndicationTxIdOffset));
    }
}

void FroDatabase::handleRollbackInd(union SIGNAL* signal) {
    TRACE(traceObject, 8, "ROLLBACK_IND received");
    if (signal != nullptr && sigsize(&signal) >= kIndicationTxIdOffset + sizeof(uint32_t)) {
        sanityCheck(readWord(signal, kIndicationTxIdOffset));
    }
}

void FroDatabase::initialize(const std::string& prefix, const std::vector<FroTypeEntry>& froTypes) {
    forgetListedFros();
    tablePrefix = prefix.empty() ? std::string() : prefix + "_";
    froVersionsTableName = tablePrefix + "fro_versions";
    froAttributesTableName = tablePrefix + "fro_attributes";
    froDataTablePrefix = tablePrefix + "frodata_";
    open();
    if (firstOpen) {
        const auto insertType = [this](const FroTypeEntry& entry) {
            return executeStatement("insert into " + froVersionsTableName +
                                    " (frotype, froTypeName, frodataTableName) values (" +
                                    toString(entry.first) + ", '" + quoteSql(entry.second) +
                                    "', '" + quoteSql(froDataTablePrefix + entry.second) +
                                    "_INITIAL')");
        };
        if (tableStatus(froVersionsTableName) == TABLE_NOT_FOUND) {
            TRACE(traceObject, 8, "scratch installation");
            if (createFroVersionsTable()) {
                for (const FroTypeEntry& entry : froTypes) {
                    insertType(entry);
                    scratchFroTypes[entry.first] = true;
                }
            }
        } else {
            std::set<uint32_t> stored;
            const std::string sql =
                "select frotype from " + froVersionsTableName + " order by frotype asc ";
            DbiReturn result = DBI_OK;
            do {
                stored.clear();
                result = fetchRows("initialize", "FroDatabase::initialize: ", sql,
                                   [&stored](ColumnReader& row) {
                                       int32_t type = 0;
                                       const DbiReturn read = row.integer(1, type);
                                       stored.insert(static_cast<uint32_t>(type));
                                       return read;
                                   });
                if (result == DBI_DISCONNECTED) {
                    TRACE(traceObject, 8, "DB disconnected");
                    reconnect();
                }
            } while (result == DBI_DISCONNECTED);
            if (result == DBI_OK) {
                for (const FroTypeEntry& entry : froTypes) {
                    if (stored.count(entry.first) == 0) {
                        insertType(entry);
                    }
                }
            }
        }
        firstOpen = false;
    }
    close();
}

void FroDatabase::open() {
    if (connected) {
        return;
    }
    TRACE(traceObject, 8, "open: Connect to database");
    if (!TarvoDb_init(connection)) {
        TarvoDb_reconnect(connection);
    }
    connected = true;
}

void FroDatabase::close() {
    forgetListedFros();
    if (!registeredTransactions.empty() || !connected) {
        return;
    }
    TRACE(traceObject, 8, "Close: Disconnect from database %d", 1);
    TarvoDb_disconnect(connection);
    connected = false;
    *connection = TarvoDbHandles();
}

void FroDatabase::reconnect() {
    forgetListedFros();
    TarvoDb_reconnect(connection);
    connected = true;
}

bool FroDatabase::getError(int16_t handleType, void* handle) {
    char* text = nullptr;
    bool disconnected = false;
    TarvoDb_getError(handleType, handle, &text, &disconnected);
    if (text != nullptr) {
        if (text[0] != '\0') {
            TRACE(traceObject, 8, "NC::FroDatabase::getError: Database error occurred: %s", text);
        }
        free_buf(reinterpret_cast<union SIGNAL**>(&text));
    }
    return disconnected;
}

bool FroDatabase::handleDisconnected(const std::string& operation) {
    if (getError(SQL_HANDLE_STMT, statement())) {
        TRACE(traceObject, 8, "%s",
              ("NC::FroDatabase::handleDisconnected DB Disconnected while executing " + operation)
                  .c_str());
        return true;
    }
    TRACE(
        traceObject, 1, "%s",
        ("NC::FroDatabase::handleDisconnected Failed when trying to execute " + operation).c_str());
    return false;
}

bool FroDatabase::executeStatement(const std::string& sql) {
    for (;;) {
        TRACE(traceObject, 8, "Executing SQL: %s", sql.c_str());
        const TarvoSqlReturn result = tarvodb::SQLExecDirect(statement(), sqlText(sql), SQL_NTS);
        if (sqlSucceeded(result)) {
            return true;
        }
        if (getError(SQL_HANDLE_STMT, statement())) {
            TRACE(traceObject, 8, "SQLExecDirect Failed. DB Disconnected");
            reconnect();
            continue;
        }
        if (result == SQL_ERROR) {
            TRACE(traceObject, 8,
                  "SQLExecDirect Failed. The database does not exist at this moment");
        } else {
            TRACE(traceObject, 1,
                  "SQLExecDirect failed when trying to detect if the table exists in the database");
        }
        return false;
    }
}

TableStatus FroDatabase::tableStatus(const std::string& name) {
    const std::string sql =
        "select name from tables where name = '" + quoteSql(toLower(name)) + "'";
    for (;;) {
        if (!executeStatement(sql)) {
            return TABLE_STATUS_ERROR;
        }
        const TarvoSqlReturn result = tarvodb::SQLFetch(statement());
        if (sqlSucceeded(result)) {
            TRACE(traceObject, 8, "Table exists");
            if (!sqlSucceeded(tarvodb::SQLCloseCursor(statement()))) {
                TRACE(traceObject, 1, "Error during SQLCloseCursor");
            }
            return TABLE_EXISTS;
        }
        if (result != SQL_NO_DATA && getError(SQL_HANDLE_STMT, statement())) {
            TRACE(traceObject, 8, "SQLFetch Failed. DB Disconnected");
            reconnect();
            continue;
        }
        if (result == SQL_NO_DATA) {
            TRACE(traceObject, 8,
                  "When trying to fetch data from the database the return is SQL_NO_DATA");
            tarvodb::SQLCloseCursor(statement());
            return TABLE_NOT_FOUND;
        }
        TRACE(traceObject, 1, "SQLFetch Failed when trying to fetch data from the database");
        tarvodb::SQLCloseCursor(statement());
        return TABLE_STATUS_ERROR;
    }
}

bool FroDatabase::createTable(const std::string& name, const std::string& columns) {
    const std::string sql = "create table " + name + " (persistent, " + columns + ")";
    for (;;) {
        TRACE(traceObject, 8, "FroDatabase::createTable: SQL Create Table String = %s",
              sql.c_str());
        const TarvoSqlReturn result = tarvodb::SQLExecDirect(statement(), sqlText(sql), SQL_NTS);
        if (sqlSucceeded(result)) {
            TRACE(traceObject, 8, "FroDatabase::createTable: Table Created");
            return true;
        }
        if (getError(SQL_HANDLE_STMT, statement())) {
            TRACE(traceObject, 8, "FroDatabase::createTable: DB Disconnected");
            reconnect();
            continue;
        }
        TRACE(traceObject, 1,
              "FroDatabase::createTable: Failed to allocate the table in the database");
        switch (result) {
            case SQL_ERROR:
                TRACE(traceObject, 1, "FroDatabase::createTable: SQL_ERROR");
                break;
            case SQL_NEED_DATA:
                TRACE(traceObject, 1, "FroDatabase::createTable: SQL_NEED_DATA");
                break;
            case SQL_STILL_EXECUTING:
                TRACE(traceObject, 1, "FroDatabase::createTable: SQL_STILL_EXECUTING");
                break;
            default:
                TRACE(traceObject, 1, "FroDatabase::createTable: unexpected error code: %d",
                      static_cast<int>(result));
                break;
        }
        return false;
    }
}

bool FroDatabase::createFroVersionsTable() {
    return createTable(froVersionsTableName,
                       "frotype integer, froTypeName varchar(0), frodataTableName varchar(0), "
                       "primary key(frotype)");
}

bool FroDatabase::createFroAttributesTable() {
    return createTable(froAttributesTableName,
                       "frotype integer, attrname varchar(0), attrtype varchar(0), "
                       "primary key(frotype, attrname)");
}

bool FroDatabase::createFroDataTable(const std::string& name, const Attributes& attributes) {
    std::string columns = "froid integer, ldn varchar(0) not null, ";
    for (const Attribute& attribute : attributes) {
        columns += attribute.name + " " +
                   (isIntegerType(attribute.type) ? integerColumnType : varcharColumnType) +
                   " not null, ";
    }
    columns += "primary key(froid)";
    return createTable(name, columns);
}

std::string FroDatabase::valueText(const Attribute& attribute) const {
    if (isIntegerType(attribute.type) && isIntegerLiteral(attribute.value)) {
        return attribute.value;
    }
    return "'" + quoteSql(attribute.value) + "'";
}

DbiReturn FroDatabase::fetchRows(const char* fetchName, const char* readFailurePrefix,
                                 const std::string& sql, const RowHandler& onRow) {
    TRACE(traceObject, 8, "Executing SQL: %s", sql.c_str());
    if (!sqlSucceeded(tarvodb::SQLExecDirect(statement(), sqlText(sql), SQL_NTS))) {
        if (getError(SQL_HANDLE_STMT, statement())) {
            TRACE(traceObject, 8, "FroDatabase::%s: SQLExecDirect Failed. DB disconnected",
                  fetchName);
            return DBI_DISCONNECTED;
        }
        TRACE(traceObject, 1, "FroDatabase::%s: Failed to send dataquery to the Tarvo database.",
              fetchName);
        return DBI_OPERATION_FAIL;
    }
    ColumnReader reader(*this, fetchName, readFailurePrefix);
    for (;;) {
        const TarvoSqlReturn result = tarvodb::SQLFetch(statement());
        if (result == SQL_NO_DATA) {
            if (!sqlSucceeded(tarvodb::SQLCloseCursor(statement()))) {
                TRACE(traceObject, 1, "FroDatabase::%s: Error in SQLCloseCursor", fetchName);
            }
            return DBI_OK;
        }
        if (!sqlSucceeded(result)) {
            TRACE(traceObject, 8, "FroDatabase::%s: Failed to read client data from the database.",
                  fetchName);
            const bool lost = getError(SQL_HANDLE_STMT, statement());
            tarvodb::SQLCloseCursor(statement());
            if (lost) {
                TRACE(traceObject, 8, "FroDatabase::%s: DB disconnected while SQLFetch", fetchName);
                return DBI_DISCONNECTED;
            }
            TRACE(traceObject, 8, "FroDatabase::%s: SQLFetch failed", fetchName);
            return DBI_OPERATION_FAIL;
        }
        const DbiReturn read = onRow(reader);
        if (read != DBI_OK) {
            tarvodb::SQLCloseCursor(statement());
            return read;
        }
    }
}

DbiReturn FroDatabase::fetchFrodataTableName(uint32_t froType, std::string& name) {
    const std::string sql =
        "select * from " + froVersionsTableName + " where frotype = " + toString(froType);
    const DbiReturn result =
        fetchRows("fetchFrodataTableName", "FroDatabase::fetchFrodataTableName: ", sql,
                  [&name](ColumnReader& row) { return row.text(3, name); });
    if (result == DBI_OK) {
        TRACE(traceObject, 8, "FroDatabase::fetchFrodataTableName: returns %s from the database",
              name.c_str());
    }
    return result;
}

bool FroDatabase::getFrodataTableName(uint32_t froType, std::string& name) {
    name.clear();
    const TableStatus status = tableStatus(froVersionsTableName);
    if (status == TABLE_NOT_FOUND) {
        TRACE(traceObject, 8, "No FRO versions table was found.");
        return false;
    }
    if (status != TABLE_EXISTS) {
        return false;
    }
    for (;;) {
        const DbiReturn result = fetchFrodataTableName(froType, name);
        switch (result) {
            case DBI_DISCONNECTED:
                TRACE(traceObject, 8, "DB disconnected");
                reconnect();
                name.clear();
                continue;
            case DBI_OPERATION_FAIL:
                return false;
            case DBI_OK:
                if (name.empty()) {
                    TRACE(traceObject, 8, "No froDataTable found for froType: %u", froType);
                    return false;
                }
                return true;
            default:
                TRACE(traceObject, 1, "Unexpected return value from getFrodataTableName s: %d",
                      static_cast<int>(result));
                return false;
        }
    }
}

DbiReturn FroDatabase::fetchAttributes(uint32_t froType, Attributes& attributes) {
    const std::string sql =
        "select * from " + froAttributesTableName + " where frotype = " + toString(froType);
    const DbiReturn result =
        fetchRows("fetchAttributes", "FroDatabase::", sql, [&attributes](ColumnReader& row) {
            Attribute attribute;
            DbiReturn read = row.text(2, attribute.name);
            if (read == DBI_OK) {
                read = row.text(3, attribute.type);
            }
            if (read == DBI_OK) {
                attributes.push_back(std::move(attribute));
            }
            return read;
        });
    if (result == DBI_OK) {
        TRACE(traceObject, 8, "FroDatabase::fetchAttributes: Fetched %u data from the database",
              static_cast<unsigned>(attributes.size()));
    }
    return result;
}

bool FroDatabase::fetchAttributesRepeated(uint32_t froType, Attributes& attributes,
                                          const char* unexpectedIn) {
    for (;;) {
        attributes.clear();
        const DbiReturn result = fetchAttributes(froType, attributes);
        switch (result) {
            case DBI_OK:
                return true;
            case DBI_DISCONNECTED:
                TRACE(traceObject, 8, "DB disconnected");
                reconnect();
                continue;
            case DBI_OPERATION_FAIL:
                return false;
            default:
                TRACE(traceObject, 1, "Unexpected return value from %s s: %d", unexpectedIn,
                      static_cast<int>(result));
                return false;
        }
    }
}

bool FroDatabase::bufferFroType(uint32_t froType, const Attributes& attributes,
                                uint32_t transactionId) {
    if (std::find(bufferedFroTypes.begin(), bufferedFroTypes.end(), froType) !=
        bufferedFroTypes.end()) {
        TRACE(traceObject, 8, "froType %u is already buffered", froType);
        return true;
    }
    const TableStatus status = tableStatus(froAttributesTableName);
    if (status == TABLE_NOT_FOUND) {
        TRACE(traceObject, 8, "No FRO attribute table was found.");
        if (!createFroAttributesTable()) {
            TRACE(traceObject, 1, "createFroAttributesTable() failed");
            return false;
        }
    } else if (status != TABLE_EXISTS) {
        TRACE(traceObject, 1,
              "tableStatus(froAttributesTableName %s) returns TABLE_STATUS_ERROR for froType %u",
              froAttributesTableName.c_str(), froType);
        return false;
    }
    Attributes stored;
    if (!fetchAttributesRepeated(froType, stored, "fetchAttributes")) {
        return false;
    }
    if (!stored.empty()) {
        return true;
    }
    std::set<std::string> sent;
    for (const Attribute& attribute : attributes) {
        if (!sent.insert(attribute.name).second) {
            TRACE(traceObject, 8, "Duplicate key in fro attributes with key %u + %s", froType,
                  attribute.name.c_str());
            break;
        }
        const std::string sql = "insert into " + froAttributesTableName +
                                " (frotype, attrname, attrtype) values (" + toString(froType) +
                                ", " + "'" + quoteSql(attribute.name) + "', '" +
                                quoteSql(attribute.type) + "')";
        TRACE(traceObject, 8, "Executing SQL: %s", sql.c_str());
        sendUpdate(transactionId, sql);
    }
    bufferedFroTypes.push_back(froType);
    TRACE(traceObject, 8, "froType %u is now buffered", froType);
    return true;
}

void FroDatabase::sendUpdate(uint32_t transactionId, const std::string& sql) {
    TRACE(traceObject, 8, "Executing TarvoTransaction_databaseUpdateSQL(%u, %s)", transactionId,
          sql.c_str());
    TarvoTransaction_databaseUpdateSQL(transactionId, sql.c_str());
}

void FroDatabase::registerTransaction(uint32_t transactionId) {
    if (std::find(registeredTransactions.begin(), registeredTransactions.end(), transactionId) !=
        registeredTransactions.end()) {
        TRACE(traceObject, 8, "transaction %u is already registered", transactionId);
        return;
    }
    registeredTransactions.push_back(transactionId);
    TRACE(traceObject, 8, "Transaction %u is registered", transactionId);
}

bool FroDatabase::saveFRO(uint32_t transactionId, uint32_t froId, uint32_t froType,
                          const std::string& ldn, const Attributes& given) {
    forgetListedFros();
    const Attributes attributes = rowAttributes(ldn, given);
    std::string table;
    if (!getFrodataTableName(froType, table)) {
        TRACE(traceObject, 1,
              "No froDataTable name found for froType: %u (DB not properly initialized?)", froType);
        return false;
    }
    if (!bufferFroType(froType, attributes, transactionId)) {
        return false;
    }
    const TableStatus status = tableStatus(table);
    if (status == TABLE_NOT_FOUND) {
        if (!createFroDataTable(table, attributes)) {
            return false;
        }
    } else if (status != TABLE_EXISTS) {
        TRACE(traceObject, 1,
              "tableStatus(frodataTableName %s) returns TABLE_STATUS_ERROR for froType %u",
              table.c_str(), froType);
        return false;
    }
    registerTransaction(transactionId);
    std::string names = "insert into " + table + " (froid, ldn";
    std::string values = ") values (" + toString(froId) + ", '" + quoteSql(ldn) + "'";
    for (const Attribute& attribute : attributes) {
        names += ", " + attribute.name;
        values += ", " + valueText(attribute);
    }
    sendUpdate(transactionId, names + values + ")");
    return true;
}

void FroDatabase::deleteFRO(uint32_t transactionId, uint32_t froId, uint32_t froType) {
    forgetListedFros();
    std::string table;
    if (!getFrodataTableName(froType, table)) {
        return;
    }
    if (tableStatus(table) == TABLE_EXISTS) {
        registerTransaction(transactionId);
        sendUpdate(transactionId, "delete from " + table + " where froid = " + toString(froId));
    }
}

bool FroDatabase::saveAttributes(uint32_t transactionId, uint32_t froId, uint32_t froType,
                                 const Attributes& attributes, bool onlyPersistent) {
    forgetListedFros();
    std::string table;
    getFrodataTableName(froType, table);
    const TableStatus status = tableStatus(table);
    if (status == TABLE_NOT_FOUND) {
        TRACE(traceObject, 1,
              "FroDatabase::saveAttributes: Table %s not created, so appl should not call "
              "saveAttributes",
              table.c_str());
        return false;
    }
    if (status != TABLE_EXISTS) {
        TRACE(traceObject, 1, "FroDatabase::saveAttributes: Unexpected ERROR status for table %s",
              table.c_str());
        return false;
    }
    Attributes chosen;
    if (onlyPersistent) {
        Attributes stored;
        if (!fetchAttributesRepeated(froType, stored, "fetchAttributes")) {
            return false;
        }
        for (const Attribute& attribute : attributes) {
            const bool persistent =
                std::any_of(stored.begin(), stored.end(),
                            [&attribute](const Attribute& s) { return s.name == attribute.name; });
            if (persistent) {
                chosen.push_back(attribute);
            }
        }
        TRACE(traceObject, 8,
              "FroDatabase::saveAttributes, %u of %u attributes are persistent and will be "
              "updated",
              static_cast<unsigned>(chosen.size()), static_cast<unsigned>(attributes.size()));
    } else {
        chosen = attributes;
        TRACE(traceObject, 8,
              "FroDatabase::saveAttributes, all %u attributes are expected to be persistent",
              static_cast<unsigned>(attributes.size()));
    }
    if (chosen.empty()) {
        return true;
    }
    std::string sql = "update " + table + " set ";
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        sql += (i == 0 ? "" : ", ") + chosen[i].name + " = " + valueText(chosen[i]);
    }
    sql += " where froid = " + toString(froId);
    if (transactionId == 0) {
        return executeStatement(sql);
    }
    sendUpdate(transactionId, sql);
    return true;
}

DbiReturn FroDatabase::fetchFRO(uint32_t froId, const std::string& table, std::string& ldn,
                                Attributes& attributes) {
    std::string sql = "select froId, ldn";
    for (const Attribute& attribute : attributes) {
        sql += ", " + attribute.name;
    }
    sql += " from " + table + " where froid = " + toString(froId);
    bool found = false;
    const DbiReturn result =
        fetchRows("fetchFRO", "FroDatabase::fetchFRO: ", sql, [&](ColumnReader& row) {
            found = true;
            DbiReturn read = row.text(2, ldn);
            for (std::size_t i = 0; read == DBI_OK && i < attributes.size(); ++i) {
                const auto column = static_cast<TarvoSqlUSmallInt>(i + 3);
                if (isIntegerType(attributes[i].type)) {
                    int32_t value = 0;
                    read = row.integer(column, value);
                    attributes[i].value = toString(value);
                } else {
                    read = row.text(column, attributes[i].value);
                }
            }
            return read;
        });
    if (result != DBI_OK) {
        return result;
    }
    if (!found) {
        return DBI_OPERATION_FAIL;
    }
    TRACE(traceObject, 8,
          "FroDatabase::fetchFRO: Fetched data for froid %u LDN %s from the database", froId,
          ldn.c_str());
    return DBI_OK;
}

bool FroDatabase::retrieveFRO(uint32_t froId, uint32_t froType, std::string& ldn,
                              Attributes& attributes) {
    attributes.clear();
    std::string table;
    if (!getFrodataTableName(froType, table) ||
        tableStatus(froAttributesTableName) != TABLE_EXISTS ||
        !fetchAttributesRepeated(froType, attributes, "retrieveFRO") ||
        tableStatus(table) != TABLE_EXISTS) {
        attributes.clear();
        return false;
    }
    const Attributes columns = attributes;
    for (;;) {
        const DbiReturn result = fetchFRO(froId, table, ldn, attributes);
        if (result == DBI_OK) {
            return true;
        }
        if (result == DBI_DISCONNECTED) {
            TRACE(traceObject, 8, "DB disconnected");
            reconnect();
            attributes = columns;
            ldn.clear();
            continue;
        }
        if (result != DBI_OPERATION_FAIL) {
            TRACE(traceObject, 1, "Unexpected return value from fetchFRO s: %d",
                  static_cast<int>(result));
        }
        attributes.clear();
        return false;
    }
}

DbiReturn FroDatabase::fetchFROs(const std::string& table, std::vector<uint32_t>& froIds) {
    const DbiReturn result =
        fetchRows("fetchFROs", "FroDatabase::fetchFROs: ", "select * from " + table,
                  [&froIds](ColumnReader& row) {
                      int32_t id = 0;
                      const DbiReturn read = row.integer(1, id);
                      froIds.push_back(static_cast<uint32_t>(id));
                      return read;
                  });
    if (result == DBI_OK) {
        TRACE(traceObject, 8, "FroDatabase::fetchFROs: Fetched %u data from the database",
              static_cast<unsigned>(froIds.size()));
    }
    return result;
}

bool FroDatabase::retrieveFroIds(uint32_t froType, std::vector<uint32_t>& froIds) {
    std::string table;
    if (!getFrodataTableName(froType, table)) {
        TRACE(traceObject, 1, "getFrodataTableName(froType %u, frodataTableName) returns false",
              froType);
        return false;
    }
    const TableStatus status = tableStatus(table);
    if (status == TABLE_NOT_FOUND) {
        TRACE(traceObject, 8,
              "tableStatus(frodataTableName %s) returns TABLE_NOT_FOUND for froType %u. Returning "
              "empty FRO id vector",
              table.c_str(), froType);
        froIds.clear();
        return true;
    }
    if (status != TABLE_EXISTS) {
        TRACE(traceObject, 1,
              "tableStatus(frodataTableName %s) returns TABLE_STATUS_ERROR for froType %u",
              table.c_str(), froType);
        return false;
    }
    for (;;) {
        froIds.clear();
        const DbiReturn result = fetchFROs(table, froIds);
        switch (result) {
            case DBI_OK:
                return true;
            case DBI_DISCONNECTED:
                TRACE(traceObject, 8, "DB disconnected");
                reconnect();
                continue;
            case DBI_OPERATION_FAIL:
                TRACE(traceObject, 1,
                      "fetchFROs(froIds, frodataTableName %s) returns DBI_OPERATION_FAIL for "
                      "froType %u",
                      table.c_str(), froType);
                return false;
            default:
                TRACE(traceObject, 1, "Unexpected return value from fetchFROs: %d",
                      static_cast<int>(result));
                return false;
        }
    }
}

bool FroDatabase::retrieveFroTypes(std::vector<uint32_t>& froTypes) {
    const std::string sql = "select frotype from " + froVersionsTableName + " order by frotype";
    for (;;) {
        froTypes.clear();
        TRACE(traceObject, 8, "Executing SQL: %s %u", sql.c_str(),
              static_cast<unsigned>(sql.size()));
        if (!sqlSucceeded(tarvodb::SQLExecDirect(statement(), sqlText(sql), SQL_NTS))) {
            if (handleDisconnected(sql)) {
                reconnect();
                continue;
            }
            return false;
        }
        bool repeat = false;
        for (;;) {
            const TarvoSqlReturn fetched = tarvodb::SQLFetch(statement());
            if (fetched == SQL_NO_DATA) {
                if (!sqlSucceeded(tarvodb::SQLCloseCursor(statement()))) {
                    TRACE(traceObject, 1, "FroDatabase::retrieveFroIds: Error in SQLCloseCursor");
                }
                TRACE(traceObject, 8,
                      "FroDatabase::retrieveFroIds: Fetched %u data from the database",
                      static_cast<unsigned>(froTypes.size()));
                return true;
            }
            int32_t type = 0;
            TarvoSqlLen indicator = 0;
            const bool ok =
                sqlSucceeded(fetched) &&
                sqlSucceeded(tarvodb::SQLGetData(statement(), 1, SQL_C_LONG, &type, 4, &indicator));
            if (!ok) {
                repeat = handleDisconnected(sql);
                tarvodb::SQLCloseCursor(statement());
                break;
            }
            if (indicator == SQL_NULL_DATA) {
                TRACE(traceObject, 1, "FroDatabase::returned null data after calling SQLGetData");
                tarvodb::SQLCloseCursor(statement());
                return false;
            }
            froTypes.push_back(static_cast<uint32_t>(type));
        }
        if (!repeat) {
            return false;
        }
        reconnect();
    }
}

bool FroDatabase::retrieveFROs(std::vector<FroInfo>& froInfos) {
    TRACE(traceObject, 2, "froDatabase::retrieveFROs(froInfos)");
    std::vector<uint32_t> froTypes;
    if (!retrieveFroTypes(froTypes)) {
        return false;
    }
    return retrieveFROs(froTypes, froInfos);
}

bool FroDatabase::retrieveFROs(const std::vector<uint32_t>& froTypes,
                               std::vector<FroInfo>& froInfos) {
    TRACE(traceObject, 2, "froDatabase::retrieveFROs(froTypes, froInfos)");
    const std::size_t first = froInfos.size();
    for (uint32_t froType : froTypes) {
        std::vector<uint32_t> froIds;
        if (!retrieveFroIds(froType, froIds)) {
            return false;
        }
        for (uint32_t froId : froIds) {
            froInfos.emplace_back(froId, froType, std::string());
        }
    }
    for (std::size_t i = first; i < froInfos.size(); ++i) {
        FroInfo& info = froInfos[i];
        Attributes attributes;
        if (!retrieveFRO(info.froId, info.froType, info.ldn, attributes)) {
            return false;
        }
        listedFros[{info.froType, info.froId}] = ListedFro{info.ldn, std::move(attributes)};
    }
    return true;
}

bool FroDatabase::retrieveListedFRO(uint32_t froId, uint32_t froType, std::string& ldn,
                                    Attributes& attributes) {
    const auto listed = listedFros.find({froType, froId});
    if (listed == listedFros.end()) {
        return retrieveFRO(froId, froType, ldn, attributes);
    }
    ldn = std::move(listed->second.ldn);
    attributes = std::move(listed->second.attributes);
    listedFros.erase(listed);
    return true;
}

void FroDatabase::forgetListedFros() {
    listedFros.clear();
}

bool FroDatabase::sanityCheck(uint32_t transactionId) {
    TRACE(traceObject, 8, "Entering sanity check with txId %u", transactionId);
    forgetListedFros();
    bufferedFroTypes.clear();
    bool result = true;
    const auto registered =
        std::find(registeredTransactions.begin(), registeredTransactions.end(), transactionId);
    if (registered == registeredTransactions.end()) {
        TRACE(traceObject, 8, "transaction %u cannot be deregistered", transactionId);
        result = false;
    } else {
        registeredTransactions.erase(registered);
    }
    struct VersionRow {
        uint32_t froType = 0;
        std::string name;
        std::string table;
    };
    std::vector<VersionRow> rows;
    if (result) {
        const std::string sql = "select * from " + froVersionsTableName + " order by frotype asc ";
        DbiReturn fetched = DBI_OK;
        do {
            rows.clear();
            fetched = fetchRows("sanityCheck", "FroDatabase::sanityCheck: ", sql,
                                [&rows](ColumnReader& row) {
                                    VersionRow entry;
                                    int32_t type = 0;
                                    DbiReturn read = row.integer(1, type);
                                    entry.froType = static_cast<uint32_t>(type);
                                    if (read == DBI_OK)
                                        read = row.text(2, entry.name);
                                    if (read == DBI_OK)
                                        read = row.text(3, entry.table);
                                    rows.push_back(std::move(entry));
                                    return read;
                                });
            if (fetched == DBI_DISCONNECTED) {
                reconnect();
            }
        } while (fetched == DBI_DISCONNECTED);
        result = fetched == DBI_OK;
    }
    std::vector<uint32_t> emptied;
    for (const VersionRow& row : rows) {
        if (scratchFroTypes.count(row.froType) == 0 || tableStatus(row.table) != TABLE_EXISTS) {
            continue;
        }
        bool anyRow = true;
        const DbiReturn fetched = fetchRows(
            "sanityCheck",
            "FroDatabase::sanityCheck: ", "select froid from " + row.table + " order by froid asc ",
            [&anyRow](ColumnReader&) {
                anyRow = true;
                return DBI_OPERATION_FAIL;  // one row is enough to know
            });
        if (fetched == DBI_OK) {
            anyRow = false;
        }
        if (!anyRow && executeStatement("drop table " + row.table)) {
            emptied.push_back(row.froType);
        }
    }
    if (!emptied.empty()) {
        uint32_t ownTransaction = 0;
        if (TarvoTransaction_create_e(1, &ownTransaction, 1) != 0) {
            TRACE(traceObject, 1, "unable to create a transaction!");
            result = false;
        } else {
            for (uint32_t froType : emptied) {
                const std::string sql = "delete from " + froAttributesTableName + " where " +
                                        "frotype" + " = " + toString(froType);
                TRACE(traceObject, 8, "Executing SQL query %s", sql.c_str());
                TarvoTransaction_databaseUpdateSQL(ownTransaction, sql.c_str());
            }
            if (TarvoTransaction_commit_e(ownTransaction, 1) != 0) {
                TRACE(traceObject, 1, "unable to commit transaction %u", ownTransaction);
                if (TarvoTransaction_rollBack_e(ownTransaction, 1) != 0) {
                    TRACE(traceObject, 1, "unable to rollback transaction %u", ownTransaction);
                }
                result = false;
            }
        }
    }
    close();
    TRACE(traceObject, 8, "Exiting sanity check with txId %u and result %d", transactionId,
          result ? 1 : 0);
    return result;
}
