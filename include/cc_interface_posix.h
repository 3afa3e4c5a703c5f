/*
 * POSIX additions to CC_Interface: the worker timer without window messages, and the message box without a
 * desktop.
 */
#ifndef CC_INTERFACE_POSIX_H
#define CC_INTERFACE_POSIX_H

#include "cc_interface.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Result: a descriptor that polls readable when the worker is due, for the caller's own event loop; -1 while
   no arm is registered. It stays the library's: do not read or close it, and ask again after CC_INIT and
   CC_DONE. */
CC_API int CC_LOOP_FD(void);

/* Runs the worker once if it is due. Must be called on the thread whose CC_INIT opened the first arm; on any
   other thread nothing runs, nor does it from inside a waiting call or the notification callback. Ticks
   missed while the caller was busy count as one. Result: 1 if the worker ran, else 0. */
CC_API int CC_LOOP_DISPATCH(void);

/* Dispatches for that many milliseconds; waits without using the processor in between. Result: how often the
   worker ran; 0 after the same time where CC_LOOP_DISPATCH would run nothing. */
CC_API int CC_LOOP_RUN(int milliseconds);

/* Who shows the modal boxes from now on; null: standard error, where the call blocks until Enter if standard
   input is a terminal. `show` may be called on the caller's thread and on a port's thread; the library waits
   until it returns. No exception may leave it. */
CC_API void CC_SET_MESSAGE_BOX(void (*show)(const char *text, void *user), void *user);

#ifdef __cplusplus
}
#endif

#endif
