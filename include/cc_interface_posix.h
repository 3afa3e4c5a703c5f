/*
 * POSIX additions to CC_Interface: the worker timer without window messages, the message box without a
 * desktop, and a look at the link after a failure.
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

/* What went over an arm's line since its link was reset, which each CC_INIT on a real port does. A frame that
   the line did not take is not counted. */
typedef struct CC_LinkStatistics {
    uint32_t framesSent;     /* data frames, each for the first time */
    uint32_t framesRepeated; /* data frames sent once more */
    uint32_t framesGivenUp;  /* after four transmissions; the link is started anew then */
    uint32_t framesReceived; /* data frames that were right and new */
    uint32_t framesIgnored;  /* data frames that were received before */
    uint32_t acknowledgementsSent;
    uint32_t acknowledgementsReceived; /* of the frame that was under way; others are ignored */
    uint32_t lineErrorsSent;           /* answers to what was no good frame */
    uint32_t lineErrorsReceived;
    uint32_t startLinksSent;
    uint32_t startLinksReceived;
    uint32_t startAcksSent;
    uint32_t startAcksReceived;
} CC_LinkStatistics;

/* Copies the counts of an arm, open or closed. Callable from any thread; may wait for a write to a line that
   takes nothing, up to 6 s. Result: 1, or 0 for a null `out`. */
CC_API int16_t CC_LINK_STATISTICS(int16_t arm, CC_LinkStatistics *out);

/* Frames of the history, and the bytes that it keeps of each. */
#define CC_LINK_FRAMES 32
#define CC_LINK_FRAME_BYTES 14

typedef struct CC_LinkFrame {
    uint8_t sent;   /* 1: by the host, 0: by the controller */
    uint8_t length; /* bytes of the whole frame, terminator included; 255 for 255 and more */
    uint8_t bytes[CC_LINK_FRAME_BYTES]; /* its beginning, as it stood on the line; 0 behind its end */
} CC_LinkFrame;

/* Copies the last frames both ways of an arm, open or closed, the oldest first, at most `capacity` and at most
   CC_LINK_FRAMES. Callable from any thread; may wait like CC_LINK_STATISTICS. Result: how many; 0 for a null
   `out` or a capacity below 1. */
CC_API int16_t CC_LINK_HISTORY(int16_t arm, CC_LinkFrame *out, int16_t capacity);

#ifdef __cplusplus
}
#endif

#endif
