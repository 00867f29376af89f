// WaitWatch: a process that sent a signal over a link reads the answer off the link itself.
//
// A process that sends over a link and then waits most often waits for the answer. The
// kernel asks (ose_set_wait_watch) what a receive that is about to block may watch:
// the socket of the link the waiting thread last sent a signal on, if no other process
// watches it. The answer then wakes the waiting process itself, which reads the frames
// that came and hands them on like the socket thread would: one wake-up where the
// socket thread and the process would take two. No kernel header here: the kernel's
// send() and the socket's send() cannot meet in one source file.
#ifndef HOSTLINK_WAIT_WATCH_H
#define HOSTLINK_WAIT_WATCH_H

namespace hostlink {

int watchBegin(void* context, unsigned long long* serial);
int watchReady(void* context, int fd);
void watchEnd(void* context, int fd);

}  // namespace hostlink

#endif  // HOSTLINK_WAIT_WATCH_H
