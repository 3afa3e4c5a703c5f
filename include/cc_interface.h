/*
 * CC_Interface: host-side interface library of a coordinate-measuring machine's controller.
 *
 * Usable from C99 and from C++. Every function is exported undecorated; on Windows all use the standard
 * calling convention but LEV2_MANSOM, which uses the C convention.
 *
 * CONVENTIONS
 *
 *   arm        1 selects arm 1, any other value arm 2. No function rejects an arm number.
 *   results    int16_t: 1 success, 0 failure, unless the function says otherwise. A command on an arm that
 *              is not open gives its failure result at once; so does a null pointer where a buffer is needed.
 *   lengths    in the caller's units. One controller count is `linearScale` units (CC_INIT); values are sent
 *              as value / linearScale, truncated toward zero to 32 bits; what is no finite number, as 0.
 *   angles     as lengths, with `wristScale`.
 *   feeds,     -32768 to 32767, in the controller's own unit: sent as they are, whatever the scales.
 *   speeds
 *   flags      "on" arguments: CC_OFF, any other value is on.
 *   waits      "completion" means: wait until the controller's answer has been decoded, for at most "timeout"
 *              seconds of the initialisation file.
 *              "link acknowledgement" means: at most 3 s until the controller has acknowledged a message;
 *              when none comes, the operator sees a box with the text " No ACK Received ". There is no such
 *              wait in simulation mode, nor with any other bit of CC_INIT's `flags` set.
 *
 * docs/protocol.md describes messages, replies and line, and lists what surprises.
 *
 * THREADS
 *
 *   | Function                            | May be called from                                          |
 *   | ----------------------------------- | ----------------------------------------------------------- |
 *   | CC_INIT, CC_DONE                    | as the commands; while the worker does not run, two arms    |
 *   |                                     | may be opened and closed on two threads at once             |
 *   | CC_START, commands, queries,        | the thread whose loop runs the worker, as both share the    |
 *   | motion, head, scanning              | arms' state without locks: the one that made the first      |
 *   |                                     | CC_INIT, or owns its window. While the worker does not run, |
 *   |                                     | each arm may have a thread of its own                       |
 *   | CC_GETSTATUS, CC_CANSEND,           | as the commands; also from inside the notification          |
 *   | CC_MOVING, CC_BUFFRESET, motion     | callback, as they wait for nothing                          |
 *   | (filing only)                       |                                                             |
 *   | CC_EMERGENCY                        | any thread once CC_INIT has returned, also while another    |
 *   |                                     | call waits, CC_DONE too; codes beyond 255 as the commands   |
 *   | LEV2_MANAGER                        | any thread; the multimedia timer calls it                   |
 *
 *   The notification callback runs on the thread that decodes replies: inside a waiting call or inside the
 *   worker. It must not call a waiting command of the same arm. It may file moves and reset the move buffer.
 *   The worker never runs while a call of its thread waits or while a reply is being decoded, also when the
 *   callback or a message box dispatches messages.
 *
 *   No exception may leave the callback: callers and library meet in C, and what one jumps over is lost, from
 *   the rest of the reply to the result of the call. The worker goes on with its next tick.
 */
#ifndef CC_INTERFACE_H
#define CC_INTERFACE_H

#include <stdint.h>

#if defined(_WIN32)
#define CC_CALL __stdcall
#define CC_CDECL __cdecl
#if defined(CC_INTERFACE_BUILD)
#define CC_API __declspec(dllexport)
#else
#define CC_API __declspec(dllimport)
#endif
#else
#define CC_CALL
#define CC_CDECL
#define CC_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- records */

/* One axis of the controller. */
typedef struct AxisInfo {
    uint16_t kind;  /* CC_AXIS_NONE, CC_AXIS_LINEAR, any other value: angular */
    uint16_t flags; /* bits 0 and 1: the controller's two flags of this axis */
    uint16_t spare;
} AxisInfo;

enum { CC_AXIS_NONE = 0, CC_AXIS_LINEAR = 1 };

/* What the controller told of itself: 24 words, 48 bytes. Before the first answer controllerType and
   optionCode are CC_NOT_TOLD and all other words 0. */
typedef struct ControllerInfo {
    uint16_t controllerType;
    uint16_t controllerLevel;
    uint16_t spare;
    AxisInfo axes[6];
    uint16_t optionCode; /* CC_OPTION_P10: P10 makes an older controller wait for the operator's start */
    uint16_t extra[2];   /* only from controllers of type 2, 4, 5 and 16, the newer ones */
} ControllerInfo;

enum { CC_NOT_TOLD = 65535, CC_OPTION_P10 = 4 };

/* A point as handed to the notification callback: 80 bytes, valid only during the call. There is one record
   an arm. An event fills what stands in its row; the rest is what earlier events left and means nothing, so
   `tag` is a point id with CC_POINT_BUFFERED only.

     | Event, info                | kind      | tag          | position    | approach        | second |
     | -------------------------- | --------- | ------------ | ----------- | --------------- | ------ |
     | point, CC_POINT_BUFFERED   | kind byte | point id (1) | point       | as filed        |        |
     | point, CC_POINT_PLAIN      |           |              | point       | direction (2)   |        |
     | point, CC_POINT_AND_SECOND |           |              | point       | direction (2)   | point  |
     | coordinates, machine       |           | 0            | point       |                 |        |
     | coordinates, wrist         |           | 1            | A, B (3)    |                 |        |
     | position, scan point       |           |              | point       |                 |        |

     (1) Of the oldest message not acknowledged. From 65504 on it is 65504 + CC_REPORT_... and no point id:
         the oldest message was no probing move, or its point had come before.
     (2) +1.0, -1.0 or 0.0 an axis, in the controller's axis order: KX_AXES_CONVENTION does not change it.
     (3) A in position[0], B in position[1], with KX_AXES_CONVENTION A in [1], B in [0], no sign changed; [2]
         is not filled. */
typedef struct PointRecord {
    int32_t kind;       /* the controller's kind byte, signed */
    uint32_t tag;       /* point id of the probing move, or CC_TAG_... */
    double position[3]; /* caller units */
    double approach[3]; /* elements 3 to 5 of the move's position array, or the direction */
    double second[3];   /* caller units */
} PointRecord;

/* tag of coordinates. */
enum { CC_TAG_MACHINE = 0, CC_TAG_WRIST = 1 };

/* ---------------------------------------------------------------- notification */

/* event  one of CC_EVENT_...
   info   16-bit info word, zero-extended
   data   by event; valid only during the call, null where the event has none */
typedef void(CC_CALL *CC_NOTIFY)(int32_t event, uint32_t info, void *data);

enum {
    CC_EVENT_LINK = 1,          /* info CC_LINK_LOST, CC_LINK_IN_ORDER. No data */
    CC_EVENT_REPORT_1 = 2,      /* a report, of reply 1 */
    CC_EVENT_EMERGENCY = 3,     /* a report, of reply 2 */
    CC_EVENT_REPORT_3 = 4,      /* a report, of reply 3 */
    CC_EVENT_POINT = 5,         /* touch point. info CC_POINT_... data: PointRecord */
    CC_EVENT_COORDINATES = 6,   /* info 0. data: PointRecord with CC_TAG_... */
    CC_EVENT_POSITION = 7,      /* info 0. data: PointRecord */
    CC_EVENT_MOVE_REJECTED = 8, /* the move buffer was reset. info: the controller's reason; CC_LINK_LOST on a
                                    prompt line that gave a message of the buffer up: what was sent before it
                                    is still awaited. No data */
    CC_EVENT_SCAN_POINT = 13,   /* info 0. data: PointRecord */
    CC_EVENT_SCAN_END = 15,     /* info 0. No data */
    CC_EVENT_MOVE_DONE = 16,    /* info: CC_REPORT_... of the message acknowledged. No data */
    CC_EVENT_17 = 17,           /* info 273. data: one word of reply 32 */
    CC_EVENT_HOLD = 18,         /* info 274. data: one word, the controller's or CC_WORD_... */
    CC_EVENT_RESUME = 19,       /* info 275. data: as CC_EVENT_HOLD */
    CC_EVENT_EMERGENCY_51 = 20, /* a report, of reply 51 */
    CC_EVENT_21 = 21,           /* info 277. data: one word of reply 52 */
    CC_EVENT_22 = 22,           /* info 22. No data (reply 53) */
    CC_EVENT_23 = 23,           /* info 23. No data (reply 54) */
    CC_EVENT_TEMPERATURES = 26, /* info: count byte. data: 32 words */
    CC_EVENT_CONTROLLER_ON = 27, /* info 27. No data; only when started with CC_START_CLIENT */
    CC_EVENT_ZEROING_DONE = 28   /* info 28. No data; only when started with CC_START_CLIENT */
};

/* data of a report: its payload, from byte 3 of the reply. info by the mode of CC_START:

     | Report              | CC_START_CLIENT                           | any other mode                    |
     | ------------------- | ----------------------------------------- | --------------------------------- |
     | 1                   | whole words in data x 256 + event         | whole words in data x 256 + event |
     | 3, both emergencies | second byte of data, signed, as 16 bits   | whole words in data x 256 + event |
*/

/* Info words of CC_EVENT_LINK. The loss is told instead of a reply that is taken while the link is down: a
   line that is dead tells nothing. CC_LINK_IN_ORDER is also the first event after CC_INIT. */
enum { CC_LINK_IN_ORDER = 1, CC_LINK_LOST = 257 };

/* Info words of CC_EVENT_POINT. */
enum {
    CC_POINT_PLAIN = 0,       /* unasked: not in measuring state, or no buffered message is unacknowledged */
    CC_POINT_BUFFERED = 1,    /* of buffered motion */
    CC_POINT_AND_SECOND = 256 /* as CC_POINT_PLAIN, with a second point */
};

/* Words of CC_EVENT_HOLD and CC_EVENT_RESUME that the library gives by itself. */
enum {
    CC_WORD_START = 80, /* hold: P10 was sent; resume: it was answered, or the first state after reply 55 */
    CC_WORD_RESET = 128 /* hold: the first controller information came in emergency state; resume: reply 55 */
};

/* Info words of CC_EVENT_MOVE_DONE. */
enum {
    CC_REPORT_MOVE = 0,         /* CC_MOVE but for CC_MOVE_PROBING, CC_MOVERT, CC_MOVEWRIST */
    CC_REPORT_PROBING_MOVE = 1, /* CC_MOVE, CC_MOVE_PROBING */
    CC_REPORT_FLY = 2,          /* CC_FLYONOFF */
    CC_REPORT_FLY_LENGTH = 3,   /* CC_FLYLEN */
    CC_REPORT_SPEED_0 = 4,      /* CC_SPEED, CC_SPEED_0 */
    CC_REPORT_SPEED_1 = 5,      /* CC_SPEED, CC_SPEED_1 */
    CC_REPORT_SPEED_2 = 6,      /* CC_SPEED, CC_SPEED_2 */
    CC_REPORT_INCREMENTAL = 7,  /* CC_MOVEINCR, CC_MOVEINCRRT, CC_MOVEWRISTINCR */
    CC_REPORT_TF_ON = 8,        /* CC_TFMODE on */
    CC_REPORT_TF_OFF = 9,       /* CC_TFMODE off */
    CC_REPORT_SCAN = 16         /* the scan start; reported as CC_EVENT_SCAN_END */
};

/* ---------------------------------------------------------------- arguments and results */

/* Results of CC_INIT. */
enum {
    CC_OK = 0,
    CC_LINK_START_FAILED = 515, /* the controller did not answer the start of the link */
    CC_TIMER_FAILED = 525,      /* the arm's multimedia timer could not be started */
    CC_BAD_PORT = 526,          /* portDef is no valid port definition */
    CC_PORT_NOT_OPENED = 527,   /* the controller's or the head's port could not be opened */
    CC_NO_ANSWER = 769,         /* the controller did not answer N00, retries included, or the callback closed
                                   the arm meanwhile */
    CC_TABLE_FAILED = 770,      /* the table of CC_STORE_COSDAT could not be downloaded */
    CC_WORKER_FAILED = 771,     /* the worker timer could not be created */
    CC_BAD_HEAD_PORT = 1038     /* headPortDef is no valid port definition */
};

/* Bits of CC_INIT's flags. */
enum { CC_SIMULATION = 1, CC_SIMULATED_HEAD = 2 };

/* Modes of CC_START: who orders status 0 after zeroing, stop and switching on. */
enum { CC_START_AUTOMATIC = 0, CC_START_CLIENT = 1 };

/* Modes of CC_DONE. */
enum { CC_SHUTDOWN_READY = 0, CC_SHUTDOWN_EMERGENCY = 1, CC_SHUTDOWN_P12 = 2 };

/* Results of CC_GETSTATUS. */
enum {
    CC_STATUS_UNKNOWN = -1, /* no state reported yet, a state without a status, or the arm is not open */
    CC_STATUS_READY = 0,
    CC_STATUS_MEASURING = 1,
    CC_STATUS_STOPPED = 2, /* emergency too */
    CC_STATUS_ZEROING = 3,
    CC_STATUS_STARTING = 4 /* states 6 and 10: the controller starts, or wants its table */
};

/* Orders of CC_SETSTATUS; stopped has another number here than as a status. */
enum { CC_ORDER_READY = 0, CC_ORDER_MEASURING = 1, CC_ORDER_STOPPED = 5 };

/* "on" arguments, and the mode of CC_ASKCOORD. */
enum { CC_OFF = 0, CC_ON = 1 };

/* Operations of CC_OPBUF: S25, S26, S27. */
enum { CC_OPBUF_RESET = 0, CC_OPBUF_1 = 1, CC_OPBUF_2 = 2 };

/* Modes of CC_MOVE: G01, G06, G05. */
enum { CC_MOVE_PLAIN = 0, CC_MOVE_G06 = 1, CC_MOVE_PROBING = 2 };

/* Kinds of CC_SPEED: G30, G37, G36. */
enum { CC_SPEED_0 = 0, CC_SPEED_1 = 1, CC_SPEED_2 = 2 };

/* Kinds of CC_FREEFRAME; 8 is the same as CC_FRAME_AWAITED. */
enum { CC_FRAME_BUFFERED = 4, CC_FRAME_QUEUED = 5, CC_FRAME_AWAITED = 6 };

/* CC_IO's `read`. */
enum { CC_IO_WRITE = 0, CC_IO_READ = 1 };

/* Results of CC_PHCurrentMode. */
enum { CC_HEAD_AUTOMATIC = 0, CC_HEAD_MANUAL = 1 };

/* ---------------------------------------------------------------- lifecycle */

/* Opens an arm: settings, connection, head, worker timer, start-up exchange with the controller. An arm that
   is open is closed first.
     window          window that owns the worker timer, or null (Windows); ignored elsewhere
     notifyCallback  receives all events of the arm; null: none
     portDef         controller's port: COM and a number from 1 to 256, with or without settings, "COM3" or
                     "COM3:9600,e,8,1"; the line always runs at 9600 baud, even parity, 8 data bits, 1 stop
                     bit. Ignored in simulation mode
     headPortDef     port of the probe head, as portDef (4800 baud, no parity, 8 data bits, 2 stop bits);
                     null: no head. Ignored with CC_SIMULATED_HEAD
     extendedStart   not 0: extended start exchanges. 0: the controller's answer counts only in state 2
     linearScale     length of one controller count, caller units
     wristScale      angle of one wrist count, caller units
     flags           CC_SIMULATION, CC_SIMULATED_HEAD; any bit switches off the waits for acknowledgements
     iniFile         initialisation file; null or missing: every setting has its default
   Result: CC_OK or one of the codes above. On failure nothing stays open: port, head, timers, trace file and
   acknowledgement event are released.
   Waits for the link (about 6 s at most), 12 times "PH9 timeout" for a head that is silent, and for
   completion of each start-up exchange, which is tried six times at most, the last time after a restart of
   the link. */
CC_API uint16_t CC_CALL CC_INIT(void *window, int16_t arm, CC_NOTIFY notifyCallback, const char *portDef,
                                const char *headPortDef, int16_t extendedStart, double linearScale,
                                double wristScale, uint16_t flags, const char *iniFile);

/* Classifies the controller, fixes the rate of automatic coordinate requests and starts the controller.
     statusOut  48 bytes: the ControllerInfo after the exchange
     startMode  CC_START_AUTOMATIC: the worker orders status 0 by itself. CC_START_CLIENT: the client does,
                gets CC_EVENT_CONTROLLER_ON and CC_EVENT_ZEROING_DONE, and reports carry another info. Any
                other value: as CC_START_AUTOMATIC, but the controller is started (H00) and polled as with
                CC_START_CLIENT
   Result: 0 when H00 was refused or not acknowledged; it goes to controllers of class 3, with extendedStart.
   Waits for link acknowledgement and completion, once or twice. */
CC_API int16_t CC_CALL CC_START(int16_t arm, void *statusOut, int16_t startMode);

/* Brings the controller to a safe state and closes the arm. Waits "timeout" seconds so that the last message
   can be delivered; events that come meanwhile are not given. Nothing happens on an arm that is not open.
     shutdownMode  CC_SHUTDOWN_READY: status 0; CC_SHUTDOWN_EMERGENCY: emergency code 0; any other value:
                   shutdown command P12 */
CC_API void CC_CALL CC_DONE(int16_t arm, int16_t shutdownMode);

/* ---------------------------------------------------------------- tick counters of arm 1 */

/* Takes one of three counters of multimedia ticks ("Lo Period" ms) and sets it to 0. Result: 0, 1 or 2; -1
   when none is free. Waiting calls need one or two of the three: give a counter back before you call them. */
CC_API int16_t CC_CALL CreateCounter(void);

/* Gives a counter back. Result: 1, or 0 for a number outside 0 to 2. */
CC_API int16_t CC_CALL DeleteCounter(int16_t slot);

/* Result: ticks counted, 16 bits, wrapping; 0 for a counter that is not in use. */
CC_API int16_t CC_CALL GetCounter(int16_t slot);

/* ---------------------------------------------------------------- timer callbacks */

/* Worker of both arms, as a window-timer procedure. Arguments are ignored. */
CC_API void CC_CALL L2HI_WORKER(void *window, uint32_t message, uintptr_t timerId, uint32_t time);

/* Does nothing. Result: 1. */
CC_API int16_t CC_CALL L2HI_WORKER_TEMP(void);

/* Multimedia tick of the arm whose timer has this id; ids of neither arm change nothing. */
CC_API void CC_CALL LEV2_MANAGER(uint32_t timerId, uint32_t message, uintptr_t user, uintptr_t data1,
                                 uintptr_t data2);

/* One step of the controller simulator. armRecord: address of an arm's record; any other is ignored. */
CC_API void CC_CDECL LEV2_MANSOM(void *armRecord);

/* ---------------------------------------------------------------- modes and settings */

/* Numeric control on or off; only in measuring state. Priority message; waits for link acknowledgement.
   Result: 1 sent (also without acknowledgement), 0 wrong state, queue full or, on a prompt line, lost with the
   link, or never sent. */
CC_API int16_t CC_CALL CC_NCONOFF(int16_t arm, int16_t on);

/* Buffer operation n, CC_OPBUF_...; only in measuring state. CC_OPBUF_RESET also empties the move buffer,
   before anything is sent. Waits for link acknowledgement and completion. Result: 1 also without link
   acknowledgement, but 0 when a prompt line lost it with the link, or never sent it. */
CC_API int16_t CC_CALL CC_OPBUF(int16_t arm, int16_t n);

/* Orders controller status s, CC_ORDER_...; any other value is refused. Returns at once when the controller
   is there already. Waits for link acknowledgement and completion. Result: 1 also without link
   acknowledgement, so ask CC_GETSTATUS, but 0 when a prompt line lost it with the link, or never sent it. On a
   classic line CC_ORDER_READY first discards what lies unread in the port. */
CC_API int16_t CC_CALL CC_SETSTATUS(int16_t arm, int16_t s);

/* Emergency stop. code: its low byte is sent, by P01 when code / 256 is not 0 and the controller knows P01,
   else by P00. Priority message, no wait. With a code of 0 to 255 callable from any thread between CC_INIT and
   the end of CC_DONE, also while another call of the arm waits. Result: 1 queued, or not needed: in emergency
   already, with extendedStart; 0 when ten urgent messages wait already, as on a line that is dead. */
CC_API int16_t CC_CALL CC_EMERGENCY(int16_t arm, int16_t code);

/* Starts zeroing of the machine axes. Waits for completion of the first step; the end arrives later
   (CC_EVENT_ZEROING_DONE with CC_START_CLIENT, else status 0 ordered by the worker). Call no waiting command
   until then: the end would not be noticed. Result: 1 started. */
CC_API int16_t CC_CALL CC_ZEROES(int16_t arm);

/* As CC_ZEROES, for the wrist axes. */
CC_API int16_t CC_CALL CC_ZEROESAB(int16_t arm);

/* Numeric control with wait for the operator's start; only in measuring state. Priority message; waits up to
   10 s for link acknowledgement. Result: 1 sent, 0 wrong state, queue full or not acknowledged. */
CC_API int16_t CC_CALL CC_NCONWAITSTART(int16_t arm, int16_t on);

/* Feed override, sent as it is. Waits for link acknowledgement. Result: 1 sent, 0 queue full or not
   acknowledged. */
CC_API int16_t CC_CALL CC_FEED(int16_t arm, int16_t feed);

/* Enables or disables axes. bytes: n axis bytes. n outside 0 to 251: 0, nothing sent; a port takes 248 at
   most, one fewer for each byte that is stuffed. Brings controllers of class 3, but for type 0, to stopped
   status first. Waits for completion. */
CC_API int16_t CC_CALL CC_ENDIS_AXES(int16_t arm, int16_t on, int16_t n, const void *bytes);

/* Start and hold messages on or off; result 1 at once on controllers that lack them. Waits for completion. */
CC_API int16_t CC_CALL CC_ENDIS_STARTHOLD_MSG(int16_t arm, int16_t on);

/* The controller's TP200 mode on or off. Waits for link acknowledgement and completion. */
CC_API int16_t CC_CALL CC_ENDIS_TP200(int16_t arm, int16_t on);

/* Files the TF mode switch into the move buffer; its end is CC_EVENT_MOVE_DONE with info CC_REPORT_TF_ON or
   CC_REPORT_TF_OFF. Result: 1. */
CC_API int16_t CC_CALL CC_TFMODE(int16_t arm, int16_t on);

/* Stores 10 bytes (u32, u32, u16, little-endian, packed) in the controller. Waits for link acknowledgement
   and completion. */
CC_API int16_t CC_CALL CC_SETINFO(int16_t arm, const void *record);

/* Reads the 10 bytes back. Waits for link acknowledgement and completion; out is untouched on failure. */
CC_API int16_t CC_CALL CC_GETINFO(int16_t arm, void *out);

/* Keeps the table (128 entries of four words) that CC_INIT downloads when the controller asks for it. May be
   called before CC_INIT. */
CC_API void CC_CALL CC_STORE_COSDAT(int16_t arm, const uint32_t *table);

/* Sends a message that the caller composed, count and class bytes included.
     CC_FRAME_BUFFERED  files it into the move buffer (1 to 64 bytes) with the history entry below. Result: 1
     CC_FRAME_QUEUED    queues it and waits for completion of what is awaited already, at once if nothing is
     CC_FRAME_AWAITED   queues it and waits until the answer `value` has come: -1 any state reply, else as in
                        docs/protocol.md, "What ends a wait". 8 does the same
   Any other kind, a length that fits no slot or a full queue: 0.

     | value             | History entry | Its acknowledgement (reply 4)                                  |
     | ----------------- | ------------- | -------------------------------------------------------------- |
     | 0 to 15, 17 to 31 | report code   | CC_EVENT_MOVE_DONE with info value                             |
     | 16                | scan start    | CC_EVENT_SCAN_END, also for a scan that runs; points before it |
     |                   |               | are CC_EVENT_SCAN_POINT                                        |
     | 32 + id,          | point id      | counts as a rejection: the move buffer is reset and            |
     | negative ones     | (16 bits)     | CC_EVENT_MOVE_REJECTED given, unless the controller is         |
     |                   |               | stopped. A touch point before it is given this id and takes    |
     |                   |               | the entry; the acknowledgement then takes the next message's   | */
CC_API int16_t CC_CALL CC_FREEFRAME(int16_t arm, const void *bytes, int16_t length, int16_t kind,
                                    int16_t value);

/* ---------------------------------------------------------------- queries */

/* Automatic coordinates on or off, streamed by the controller or polled by the worker; they arrive as
   CC_EVENT_COORDINATES. Waits for nothing. */
CC_API void CC_CALL CC_ASKCOORD(int16_t arm, int16_t mode);

/* Controller information, 48 bytes (ControllerInfo). Refreshed first on controllers that change it: then
   waits for link acknowledgement and completion. */
CC_API int16_t CC_CALL CC_INFO(int16_t arm, void *out);

/* The controller's two I/O words. read CC_IO_WRITE: write them, result 1 without a wait; any other value:
   read them, waits for completion. */
CC_API int16_t CC_CALL CC_IO(int16_t arm, int16_t read, uint16_t *words);

/* Parameter set 1 to 7, converted per axis by the factors in docs/protocol.md. out: 5 doubles, one an axis;
   elements of axes that are not fitted keep their value. Waits for completion. */
CC_API int16_t CC_CALL CC_READ_PARAM(int16_t arm, int16_t set, double *out);

/* Asks for the temperatures; they arrive as CC_EVENT_TEMPERATURES. Waits for nothing. Result: 1 queued. */
CC_API int16_t CC_CALL CC_READTEMP(int16_t arm);

/* Asks for the machine coordinates; they arrive as CC_EVENT_COORDINATES during the call. Waits for link
   acknowledgement and for the report, "timeout" seconds at most. Result: 1 after the wait, whether the report
   came or not; 0 without a free tick counter or link acknowledgement. In states 7 and 8 nothing is sent and
   the whole time passes, unless a report comes by itself. */
CC_API int16_t CC_CALL CC_GETCOORD(int16_t arm);

/* As CC_GETCOORD, for the wrist angles. */
CC_API int16_t CC_CALL CC_GETWRISTCOORD(int16_t arm);

/* The same as CC_GETWRISTCOORD. */
CC_API int16_t CC_CALL CC_GETRTCOORD(int16_t arm);

/* Status of the controller by its last report, CC_STATUS_... Sends nothing. */
CC_API int16_t CC_CALL CC_GETSTATUS(int16_t arm);

/* ---------------------------------------------------------------- motion */

/* The motion commands file messages into the arm's move buffer; the worker sends them while the controller is
   in measuring state. None of them looks for room, of 64 messages and 128 history entries, of which a probing
   move takes two: ask CC_CANSEND first. Each ends with CC_EVENT_MOVE_DONE.
   position: six doubles; 0 to 2 the target, 3 to 5 approach values that come back with the touch point. */

/* Empties the move buffer. What was sent already runs on. */
CC_API void CC_CALL CC_BUFFRESET(int16_t arm);

/* Result: 1 when a message can be filed `ahead` places on (1: the next one) and no scan start is pending. */
CC_API int16_t CC_CALL CC_CANSEND(int16_t arm, int16_t ahead);

/* Linear move. mode: CC_MOVE_... The touch point of a probing move arrives as CC_EVENT_POINT with tag = low
   16 bits of pointId, which must be below 65504. Do not pass any other mode: it repeats the second digit of
   the last CC_MOVE, CC_MOVEINCR or CC_SPEED, whatever command that makes.
     classByte       sent with probing moves
     mValue, nValue  lengths or null; nValue counts with CC_MOVE_PROBING only and stays in force
     feed            0: none is sent */
CC_API void CC_CALL CC_MOVE(int16_t arm, int16_t mode, const double *position, uint32_t pointId,
                            uint8_t classByte, const double *mValue, const double *nValue, int16_t feed);

/* Incremental linear move by position[0..2]; withM not 0 also sends the M value of the last CC_MOVE. */
CC_API void CC_CALL CC_MOVEINCR(int16_t arm, const double *position, uint32_t ignored, int16_t withM);

/* Rotary table move to position[0] (linearScale); feed 0: none is sent. */
CC_API void CC_CALL CC_MOVERT(int16_t arm, const double *position, uint32_t ignored, int16_t feed);

/* Incremental rotary table move. */
CC_API void CC_CALL CC_MOVEINCRRT(int16_t arm, const double *position, uint32_t ignored, int16_t feed);

/* Wrist move to the angles position[0], position[1] (wristScale); speed 0: none is sent. */
CC_API void CC_CALL CC_MOVEWRIST(int16_t arm, const double *position, uint32_t ignored, int16_t speed);

/* Incremental wrist move (linearScale). */
CC_API void CC_CALL CC_MOVEWRISTINCR(int16_t arm, const double *position, uint32_t ignored, int16_t speed);

/* Speed setting kind, CC_SPEED_..., of all three axes, sent as it is; other kinds do nothing. */
CC_API void CC_CALL CC_SPEED(int16_t arm, int16_t kind, int16_t value);

/* Result: 1 while buffered motion is pending, else 0; always 0 in simulation mode. */
CC_API int16_t CC_CALL CC_MOVING(int16_t arm);

/* Fly mode (moving through intermediate points without a stop) on or off. */
CC_API void CC_CALL CC_FLYONOFF(int16_t arm, int16_t on);

/* Fly length, a length; nothing is filed for less than one count. */
CC_API void CC_CALL CC_FLYLEN(int16_t arm, double flyLength);

/* ---------------------------------------------------------------- probe head */

/* CC_INIT forgets what was known of the arm's head. */

/* Last known angles; a null pointer: nothing is stored. -1.0 until the head has reported, 0.0 for a simulated
   head and without a head. */
CC_API void CC_CALL CC_PHGetPosition(int16_t arm, double *a, double *b);

/* Result: 1 when the head's last answer told that manual mode is available. */
CC_API int16_t CC_CALL CC_PHLevePresent(int16_t arm);

/* Result: CC_HEAD_MANUAL or CC_HEAD_AUTOMATIC. */
CC_API int16_t CC_CALL CC_PHCurrentMode(int16_t arm);

/* The commands below wait for the head's answer: 11 tries of "PH9 timeout" seconds each. A head that stays
   silent, or is not there, changes no result but that of CC_PHSetPosition. */

/* Asks the head for its position. Result: 1, or 0 when the command could not be sent. */
CC_API int16_t CC_CALL CC_PHUpdate(int16_t arm);

/* Manual mode. Result: 1 when the head is in manual mode, 0 when it has none or could not be told. */
CC_API int16_t CC_CALL CC_PHMANMODE(int16_t arm);

/* Automatic mode. Result: 1, or 0 when the command could not be sent. */
CC_API int16_t CC_CALL CC_PHAUTOMODE(int16_t arm);

/* Orders the angles, in the head's unit, sent with one decimal. force 0: nothing is sent when the head is
   there. Three commands, so up to 33 tries. Result: 1 when the head reports exactly these angles; 0
   otherwise, in manual mode, and at once for an angle whose text has more than 13 characters. */
CC_API int16_t CC_CALL CC_PHSetPosition(int16_t arm, double angleA, double angleB, int16_t force,
                                        uint32_t ignored);

/* Result: 1 while an angle is -1.0, as until the head's first report, else 0; it does not tell motion. Sends
   nothing. */
CC_API int16_t CC_CALL CC_PHMoving(int16_t arm);

/* ---------------------------------------------------------------- scanning, arm 1 */

/* The setters convert lengths to counts of arm 1 at once and send nothing; a null pointer: nothing is stored.
   Call them after CC_INIT of arm 1: before the first one linearScale is 0 and every length becomes 0 counts;
   a later one does not convert again. Values stay in force across scans and CC_DONE. */

/* Coordinate system of the scan: rotation matrix (9 doubles, row by row, dimensionless) and offset (3 doubles, lengths). */
CC_API void CC_CALL L2S_SetRotMatrix(const double *matrix, const double *offset);
/* Probe tip radius. */
CC_API void CC_CALL L2S_SetTipRad(const double *tipRadius);
/* Depths between which the scan is regulated. */
CC_API void CC_CALL L2S_SetRegDepth(const double *depth1, const double *depth2);
/* Target point in the coordinate system of the scan. */
CC_API void CC_CALL L2S_SetTargetPoint(const double *targetX, const double *targetY);
/* Largest and smallest step between points. */
CC_API void CC_CALL L2S_SetMaxMinStep(const double *maxStep, const double *minStep);
/* Threshold, a length. */
CC_API void CC_CALL L2S_SetTreshold(const double *threshold);

/* Sends the parameters (three completion waits) and starts the scan; what is still in the move buffer is sent
   before it. Points arrive as CC_EVENT_SCAN_POINT, the end as CC_EVENT_SCAN_END. Result: 1 started. */
CC_API int16_t CC_CALL L2S_StartScan(void);

/* Stops the scan. Priority message, no wait. Result: 1 queued; 0 without a scan or outside measuring
   state. */
CC_API int16_t CC_CALL L2S_StopScan(void);

/* ---------------------------------------------------------------- single-arm entry points: arm 1 */

/* Each is the CC_ function of the same meaning on arm 1, with the same arguments, result and waits. */

/* CC_INIT of arm 1 with wristScale 1.0 and the initialisation file "VELMAR.INI". */
CC_API uint16_t CC_CALL L2_INIT(void *window, CC_NOTIFY notifyCallback, const char *portDef,
                                const char *headPortDef, int16_t extendedStart, double linearScale,
                                uint16_t flags);
/* CC_START of arm 1 with startMode 0. */
CC_API int16_t CC_CALL L2_END_INIT(void *statusOut);
CC_API void CC_CALL L2_DONE(int16_t shutdownMode);
CC_API void CC_CALL L2_BUFFRESET(void);
CC_API int16_t CC_CALL L2_CanSend(int16_t ahead);
CC_API void CC_CALL L2_MOVE(int16_t mode, const double *position, uint32_t pointId, uint8_t classByte,
                            const double *mValue, const double *nValue, int16_t feed);
CC_API void CC_CALL L2_SPEED(int16_t kind, int16_t value);
CC_API int16_t CC_CALL L2_NCONOFF(int16_t on);
CC_API void CC_CALL L2_ASKCOORD(int16_t mode);
CC_API int16_t CC_CALL L2_OPBUF(int16_t n);
CC_API int16_t CC_CALL L2_SETSTATUS(int16_t s);
CC_API int16_t CC_CALL L2_EMERGENCY(int16_t code);
CC_API int16_t CC_CALL L2_ZEROES(void);
CC_API int16_t CC_CALL L2_MOVING(void);
CC_API int16_t CC_CALL L2_INFO(void *out);
CC_API int16_t CC_CALL L2_SETINFO(const void *record);
CC_API int16_t CC_CALL L2_GETINFO(void *out);
CC_API int16_t CC_CALL L2_NCONWAITSTART(int16_t on);
CC_API void CC_CALL L2_FLYONOFF(int16_t on);
CC_API void CC_CALL L2_FLYLEN(double flyLength);
CC_API int16_t CC_CALL L2_FEED(int16_t feed);
CC_API int16_t CC_CALL L2_ENDIS_AXES(int16_t on, int16_t n, const void *bytes);
CC_API int16_t CC_CALL L2_GETSTATUS(void);
CC_API void CC_CALL L2_STORE_COSDAT(const uint32_t *table);
CC_API int16_t CC_CALL L2_FREEFRAME(const void *bytes, int16_t length, int16_t kind, int16_t value);
CC_API int16_t CC_CALL L2_GETCOORD(void);
CC_API int16_t CC_CALL L2_ENDIS_STARTHOLD_MSG(int16_t on);
CC_API int16_t CC_CALL L2_ENDIS_TP200(int16_t on);
CC_API int16_t CC_CALL L2_IO(int16_t read, uint16_t *words);
CC_API int16_t CC_CALL L2_READ_PARAM(int16_t set, double *out);
/* Ignores its arguments. Result: 1. */
CC_API int16_t CC_CALL L2_SETDISTDEPTH(uint32_t ignored1, uint32_t ignored2);

CC_API void CC_CALL PH9_GetPosition(double *a, double *b);
CC_API int16_t CC_CALL PH9_LevePresent(void);
CC_API int16_t CC_CALL PH9_CurrentMode(void);
CC_API int16_t CC_CALL PH9_Update(void);
CC_API int16_t CC_CALL PH9_MANMODE(void);
CC_API int16_t CC_CALL PH9_AUTOMODE(void);
CC_API int16_t CC_CALL PH9_SetPosition(double angleA, double angleB, int16_t force, uint32_t ignored);
CC_API int16_t CC_CALL PH9_Moving(void);

#ifdef __cplusplus
}
#endif

#endif
