// TransactionServer: what "TarvoTransaction" does with each signal it receives.
#ifndef HOSTTX_TRANSACTION_SERVER_STATE_H
#define HOSTTX_TRANSACTION_SERVER_STATE_H

#include "SqlApplier.h"
#include "TransactionTable.h"
#include "transactionServer.h"

namespace hostsvc {
class SignalView;
}

namespace hosttx {

using hostsvc::SignalView;

class TransactionServer {
  public:
    explicit TransactionServer(const TransactionServerConfig& config);

    /// Handles one received signal; the caller keeps and frees the buffer.
    void handle(union SIGNAL** signal);

  private:
    void create(PROCESS from, const SignalView& fields);
    void registerResource(PROCESS from, const SignalView& fields);
    void sqlText(PROCESS from, const SignalView& fields, bool last);
    void prepare(PROCESS from, const SignalView& fields);
    void commit(PROCESS from, const SignalView& fields);
    void rollback(PROCESS from, const SignalView& fields);
    /// Sends the indication to every resource of the transaction.
    void tell(const Transaction& transaction, SIGSELECT indication);
    void malformed(SIGSELECT number, PROCESS from, OSBUFSIZE size);

    TransactionTable m_table;
    SqlApplier m_applier;
};

}  // namespace hosttx

#endif  // HOSTTX_TRANSACTION_SERVER_STATE_H
