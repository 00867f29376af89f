// The database as froMgr's attribute writer: saveMO and saveAttributes of the store
// reach FroDatabase::saveAttributes through it, between open and close.
#ifndef FRO_DATABASE_WRITER_H
#define FRO_DATABASE_WRITER_H

/// Installs FroDatabase as froMgr's attribute writer (the manager calls it at start).
void installFroDatabaseWriter();

#endif  // FRO_DATABASE_WRITER_H
