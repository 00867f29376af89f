// KernelError: how a kernel call reports that it was used wrongly.
//
// Every kernel error goes to one handler with the failed call's text, a code and a
// line of detail. The default handler ends the Linux process, as the node's kernel
// would; a test installs a handler that records and returns, and the failed call
// then returns without effect. No kernel lock is held while the handler runs.
#ifndef OSE_KERNEL_ERROR_H
#define OSE_KERNEL_ERROR_H

#include "oseHost.h"

namespace ose {

/// Calls the installed handler; the detail is printf-formatted.
void kernelError(const char* call, uint32_t code, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// Whether error()/error2() with this code go to the handler: a fatal code (bit 31),
/// or any code while a handler other than the default one is installed.
bool fatalUserError(uint32_t code);

/// Writes a non-fatal error()/error2() report to stderr; the caller goes on.
void reportUserError(const char* call, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/// Installs a handler (null: the default one) and returns the one before.
OseErrorHandler setErrorHandler(OseErrorHandler handler);

}  // namespace ose

#endif  // OSE_KERNEL_ERROR_H
