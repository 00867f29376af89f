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

/* Marks: a number the kernel keeps per process for the host, which uses it to tell
 * threads apart (the node marks the load module's processes, whose memory host/heap
 * counts). A process starts with the mark of the process that creates it, 0 when a
 * thread that is no process creates it. The thread of a process carries the mark from
 * its start while it runs the process's own code: during a kernel call, and on every
 * other thread, the thread's mark is 0. */

/* Sets the mark of a process; its thread takes it when it starts, and the processes it
 * creates from then on take it too. False for an unknown process. Any thread. */
OSBOOLEAN ose_set_mark(PROCESS pid, uint32_t mark);

/* The calling thread's mark. Takes no lock and allocates nothing: an allocator may ask. */
uint32_t ose_thread_mark(void);

/* Copies the name of a process (live, ended or killed) into buf, NUL-terminated and
 * cut to fit; false for an unknown process. */
OSBOOLEAN ose_process_name(PROCESS pid, char* buf, size_t size);

/* Waits until the process has ended (returned from its entry or was killed), at
 * most timeout ms; true if it has. For tests and the node's main thread. */
OSBOOLEAN ose_wait_ended(PROCESS pid, OSTIME timeout);

/* The kernel's clock. Every time-based kernel operation follows it: receive_w_tmo()
 * and receive_from() time-outs, delay(), request_tmo_sig(). In real time it runs with
 * the machine's steady clock; in manual time it stands still until a test moves it.
 * The real-time limits of the host calls (ose_wait_ended, ose_wait_idle) do not
 * follow it. Switch and advance from one thread at a time. */

/* Switches the kernel to a manual clock that stands still until advanced (true), or
 * back to real time (false), which goes on from where the manual clock stood. Waits
 * and time-outs keep their due times across a switch. ose_shutdown() switches back. */
void ose_clock_set_manual(OSBOOLEAN manual);

/* Advances the manual clock by ms, in steps, one per due time that falls within it:
 * at each, the time-outs due are delivered to their owners' queues (in order of due
 * time) and the delays and receive time-outs due are woken; then every process with
 * a thread of the kernel's own is given time to come to rest (see ose_wait_idle) before
 * the next step. The same wait comes first, so that signals sent before the call are
 * handled at the time they were sent. Returns when the clock stands at now + ms and
 * the processes rest. A process that does not come to rest within 2 s of real time
 * (blocked outside the kernel) is named on stderr and the clock moves on. Advancing a
 * clock in real time is a kernel error. */
void ose_clock_advance(OSTIME ms);

/* The kernel's time in ms since its start, manual or real. */
OSTIME ose_clock_now_ms(void);

/* Waits at most realTimeoutMs (real time) until the process is idle: blocked in a
 * receive or a delay that nothing has woken yet, not even a signal it selects. pid 0
 * waits until every process with a thread of the kernel's own (not adopted threads,
 * not the caller) is idle, not yet started, or gone. True if so; false on time-out,
 * or for a process that has ended or that this kernel does not know. */
OSBOOLEAN ose_wait_idle(PROCESS pid, OSTIME realTimeoutMs);

/* Links to other kernels (host/link). A hunt for "<link>/<name>" that no process
 * answers is told to the hunt observer, whose link may then make a phantom of that
 * name appear; signals sent to such a phantom go to its outlet. */

/* Gets every signal sent to a link phantom, on the sending thread, with no kernel lock
 * held: the signal's bytes (valid during the call only; the kernel frees the buffer
 * afterwards), its size, its sender and the phantom it was sent to. */
typedef void (*OseLinkOutlet)(void* context, const void* signal, OSBUFSIZE size, PROCESS from,
                              PROCESS to);

/* Creates a phantom that hands every signal sent to it to outlet. The context must stay
 * valid while the kernel lives. Killing the phantom tells its attachers. */
PROCESS ose_create_link_phantom(const char* name, OseLinkOutlet outlet, void* context);

/* Called on the hunting thread, with no kernel lock held, whenever a hunt for a name with
 * a '/' finds no process (with or without a hunt signal). */
typedef void (*OseHuntObserver)(void* context, const char* name);

/* Installs the kernel's one hunt observer (NULL: none). ose_shutdown() forgets it. */
void ose_set_hunt_observer(OseHuntObserver observer, void* context);

/* A process that talks to another kernel may read that kernel's answers off the link
 * itself while it waits, instead of being woken by the thread that reads the link: one
 * wake-up on the way instead of two. When a receive is about to block (one with a
 * time-out only while the clock runs in real time), begin is called on the receiving
 * thread, with no kernel lock held, and gives a descriptor to watch while it waits, or
 * -1, and a serial number that differs whenever the same descriptor stands for another
 * file. Whenever that descriptor is readable, ready is called on the thread, with no lock
 * held; it may send signals (to the receiver too) and says whether to go on watching
 * (nonzero). end is called once, when the receive returns or unwinds, or when its clock
 * turns manual, for a descriptor that begin gave. The descriptor stays open from begin
 * to end; the kernel keeps a copy of its own registered between waits. */
typedef struct OseWaitWatch {
    int (*begin)(void* context, unsigned long long* serial);
    int (*ready)(void* context, int fd);
    void (*end)(void* context, int fd);
    void* context;
} OseWaitWatch;

/* Installs the kernel's one wait watch (NULL: none); it must stay valid while installed.
 * ose_shutdown() forgets it. */
void ose_set_wait_watch(const OseWaitWatch* watch);

/* Calls visit for every name beginning with prefix that a hunt signal waits for. */
void ose_waiting_hunts(const char* prefix, OseHuntObserver visit, void* context);

#ifdef __cplusplus
}
#endif

#endif /* OSE_HOST_H */
