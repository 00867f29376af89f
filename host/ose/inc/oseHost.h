/*
 * oseHost.h: what the host needs of its kernel beyond ose.h.
 *
 * Only host code (services, simulator, node, tools, tests) includes this; the
 * load module never does. One kernel exists per Linux process, made on first use.
 */
#ifndef OSE_HOST_H
#define OSE_HOST_H

#include "ose.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Called for every kernel error: the failed call's text ("send@ose.h"), an error
 * code and a line of detail. The default handler writes both to stderr and ends
 * the Linux process. A handler that returns makes the failed call return without
 * effect (a null buffer, 0, or nothing). */
typedef void (*OseErrorHandler)(const char* call, uint32_t code, const char* detail);

/* Installs a handler (NULL: the default one) and returns the one before. */
OseErrorHandler ose_set_error_handler(OseErrorHandler handler);

/* Kernel error codes given to the handler. */
#define OSE_ERR_NOT_OWNER 0x101u     /* buffer not owned by the caller */
#define OSE_ERR_NOT_BUFFER 0x102u    /* pointer is no live buffer: double free, garbage */
#define OSE_ERR_NULL_BUFFER 0x103u   /* a null buffer where one is required */
#define OSE_ERR_BUFFER_SIZE 0x104u   /* size 0 or larger than OS_MAX_SIGSIZE */
#define OSE_ERR_NO_PROCESS 0x105u    /* unknown or ended process where a live one is required */
#define OSE_ERR_BAD_ARGUMENT 0x106u  /* malformed selection, table, name, ... */
#define OSE_ERR_NOT_PROCESS 0x107u   /* called from a thread that is no kernel process */
#define OSE_ERR_USER 0x108u          /* error()/error2() from a process */

/* Makes the calling Linux thread a kernel process of that name (prioritised, with a
 * queue), for tests, tools and the node's main thread. Returns its identity. */
PROCESS ose_adopt_thread(const char* name);

/* Ends the adopted process of the calling thread: its signals are freed, its
 * attachers told. */
void ose_leave_thread(void);

/* Kills every process, joins their threads and forgets every name, attach,
 * time-out and environment value: the kernel is as new afterwards. Called from a
 * thread that is not a kernel process (a test's main thread after leaving). */
void ose_shutdown(void);

/* The calling thread's process, or 0 for a thread that is no kernel process (no
 * kernel error, unlike current_process()). */
PROCESS ose_current_process_or_zero(void);

/* Copies the name of a process (live, ended or killed) into buf, NUL-terminated and
 * cut to fit; false for an unknown process. */
OSBOOLEAN ose_process_name(PROCESS pid, char* buf, size_t size);

/* Waits until the process has ended (returned from its entry or was killed), at
 * most timeout ms; true if it has. For tests and the node's main thread. */
OSBOOLEAN ose_wait_ended(PROCESS pid, OSTIME timeout);

#ifdef __cplusplus
}
#endif

#endif /* OSE_HOST_H */
