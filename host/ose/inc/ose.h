/*
 * ose.h: the kernel operations the load module calls.
 *
 * The names, types and semantics are those of the node's real-time kernel; on
 * Linux they are provided by the host kernel in host/ose. The load module includes
 * this header and nothing else of the kernel. Operations that only the host needs
 * (booting, adopting a thread, error handler) are in oseHost.h.
 *
 * Semantics callers rely on, in short (host/ose/README.md says it all):
 * - A signal buffer has exactly one owner process. send() hands it over and nulls
 *   the caller's pointer; free_buf() ends it. Touching a buffer one does not own is
 *   a kernel error, reported with the failed call's text ("free_buf@ose.h").
 * - A signal's first 32-bit word is its number.
 * - receive() selections: sel[0] is the count of numbers behind it, 0 selects any
 *   signal. The queue is searched from its head; signals not selected keep their
 *   order. Signals from one sender to one receiver arrive in the order sent.
 */
#ifndef OSE_H
#define OSE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t SIGSELECT;  /* a signal number */
typedef uint32_t PROCESS;    /* a process identity; 0 is no process */
typedef uint32_t OSBUFSIZE;  /* size of a signal buffer in bytes */
typedef uint32_t OSTIME;     /* milliseconds */
typedef uint8_t OSPRIORITY;  /* 0 highest, 31 lowest; recorded, not enforced */
typedef uint32_t OSUSER;
typedef uint32_t OSVECTOR;
typedef int OSBOOLEAN;
/* Pointer-sized on the host: environment values hold addresses. */
typedef uintptr_t OSADDRESS;
typedef uint32_t OSATTREF;   /* an attach reference; 0 is none */
typedef uint32_t OSTMOREF;   /* a time-out reference; 0 is none */
typedef void(OSENTRYPOINT)(void);

/* The signal union is defined by each user of the kernel, first member SIGSELECT. */
union SIGNAL;

#define OS_PROCESS(name) void name(void)

#define NIL ((union SIGNAL*)0)

/* Wait for ever, in receive_w_tmo() and receive_from(). */
#define OS_WAIT_FOREVER ((OSTIME)0xFFFFFFFFu)

/* The largest signal buffer the pool gives. */
#define OS_MAX_SIGSIZE ((OSBUFSIZE)65535u)

/* The signal an attach delivers when none was given. */
#define OS_ATTACH_SIG ((SIGSELECT)252)

enum PROCESS_TYPE {
    OS_PRI_PROC = 0,  /* a process with a thread of its own */
    OS_BG_PROC = 64,
    OS_INT_PROC = 128,
    OS_TI_PROC = 256,
    OS_PHANTOM = 512  /* no thread: forwards through its redirection table */
};

/* A redirection table. Entry 0: sig = number of entries including entry 0,
 * pid = where signals without an entry of their own go (0: nowhere, they are freed).
 * Entries 1..n-1: signal number and its destination. */
struct OS_redir_entry {
    SIGSELECT sig;
    PROCESS pid;
};

/* Process states in OS_pcb.status. */
#define OS_STATE_READY 0u
#define OS_STATE_RECEIVE 1u   /* blocked in a receive */
#define OS_STATE_DELAY 2u
#define OS_STATE_STOPPED 16u  /* created, not started */
#define OS_STATE_KILLED 2048u
#define OS_STATE_ENDED 4096u

/* What get_pcb() returns: a buffer owned by the caller, freed with free_buf(). */
struct OS_pcb {
    SIGSELECT sigNo; /* 0 */
    uint32_t type;   /* enum PROCESS_TYPE */
    uint32_t status; /* OS_STATE_... */
    uint32_t priority;
    PROCESS block;
    PROCESS pid;
    uint32_t sigqueue; /* signals in the queue */
    char name[64];     /* NUL-terminated, cut to fit */
};

/* Buffers */
union SIGNAL* alloc(OSBUFSIZE size, SIGSELECT signo);
void free_buf(union SIGNAL** sig);
OSBUFSIZE sigsize(union SIGNAL** sig);
PROCESS sender(union SIGNAL** sig);
PROCESS addressee(union SIGNAL** sig);

/* Sending and receiving */
/* send and error are also C library names: their link names are the kernel's own, so
 * that a library of the same program (libcurl's socket calls) never reaches them. */
void send(union SIGNAL** sig, PROCESS to) __asm__("ose_send");
void send_w_s(union SIGNAL** sig, PROCESS from, PROCESS to);
union SIGNAL* receive(const SIGSELECT* sigsel);
union SIGNAL* receive_w_tmo(OSTIME timeout, const SIGSELECT* sigsel);
union SIGNAL* receive_from(OSTIME timeout, const SIGSELECT* sigsel, PROCESS from);

/* Names and supervision */
OSBOOLEAN hunt(const char* name, OSUSER user, PROCESS* name_, union SIGNAL** hunt_sig);
OSATTREF attach(union SIGNAL** sig, PROCESS pid);
void detach(OSATTREF* attref);

/* Processes */
PROCESS create_process(enum PROCESS_TYPE proc_type, const char* name, OSENTRYPOINT* entrypoint,
                       OSADDRESS stack_size, OSPRIORITY priority, OSTIME timeslice,
                       PROCESS block, struct OS_redir_entry* redir_table, OSVECTOR vector,
                       OSUSER user);
void start(PROCESS pid);
void kill_proc(PROCESS pid);
PROCESS current_process(void);
struct OS_pcb* get_pcb(PROCESS pid);

/* Time */
OSTMOREF request_tmo_sig(OSTIME timeout, union SIGNAL** sig);
union SIGNAL* cancel_tmo_sig(OSTMOREF* tmoref);
void delay(OSTIME timeout);

/* Environment: values by name per process; pid 0 is the load module's block. */
OSADDRESS get_envp(PROCESS pid, const char* name);
OSBOOLEAN set_envp(PROCESS pid, const char* name, OSADDRESS value);
/* Text values; get_env() returns a copy the caller frees with free_buf(), or NULL. */
char* get_env(PROCESS pid, const char* name);
OSBOOLEAN set_env(PROCESS pid, const char* name, const char* value);

/* Errors reported to the platform's error handler. A code with bit 31 set is fatal
 * and ends the node; any other is reported and the caller goes on. */
void error(uint32_t code) __asm__("ose_error");
void error2(uint32_t code, OSADDRESS extra) __asm__("ose_error2");

#ifdef __cplusplus
}
#endif

#endif /* OSE_H */
