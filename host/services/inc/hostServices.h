// hostServices.h: starting the platform's services on the host.
//
// Each service is a kernel process with the name the load module hunts or follows;
// each start function creates and starts it, or returns the one running. The node
// starts them in this order, before the load module:
//
//   hostns::startNameServer();                                  // "ose_ns"
//   hostdb::startDatabaseAgent(database);                       // "Osa_dbAgent_proc"
//   hostdb::startDatabase({database, 5000, 1000});              // "Vq_rtrdb_supervisor"
//   hosttx::startTransactionServer({database, 4096, 64 << 20}); // "TarvoTransaction"
//
// with one hostdb::DatabaseConfig shared by the three database-side services.
#ifndef HOST_SERVICES_H
#define HOST_SERVICES_H

#include "DatabaseConfig.h"
#include "databaseAgent.h"
#include "databaseSupervisor.h"
#include "nameServerHost.h"
#include "transactionServer.h"

#endif  // HOST_SERVICES_H
