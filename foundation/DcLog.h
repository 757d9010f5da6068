#ifndef BRENIK3_FOUNDATION_DCLOG_H
#define BRENIK3_FOUNDATION_DCLOG_H

#include <cstdarg>
#include "foundation/Export.h"

// Channels and switches are plain ints underneath: callers may pass any
// number, which the log answers with LOG_ERR_BAD_CHANNEL (or, for a switch,
// treats as on unless it is LOG_OFF).
enum LOG_MSG : int { LOG_CHANNEL_0 = 0, LOG_CHANNEL_1, LOG_CHANNEL_2, LOG_CHANNEL_3 };
enum LOG_ACTIVE : int { LOG_ON = 0, LOG_OFF = 1 };

// Log status codes (module 0x28).
enum {
    LOG_ERR_NO_LOG = 0x2801,
    LOG_ERR_CHANNEL_OFF = 0x2802,
    LOG_ERR_BAD_CHANNEL = 0x2803,
    LOG_ERR_NULL_FORMAT = 0x2804,
    LOG_ERR_OPEN_FILE = 0x2805
};

enum { LOG_CHANNELS = 4, MSG_BUF_SIZE = 529 };

// The log: four channels, each on or off and printing to standard output or
// to a file of its own (opened for appending per message). report is virtual
// so that an application can install its own log in Log.
class BRENIK3_API DcLog {
public:
    DcLog();
    virtual ~DcLog();
    DcLog(const DcLog&) = delete;
    DcLog& operator=(const DcLog&) = delete;

    int activate(LOG_MSG channel, LOG_ACTIVE state);
    int setFname(LOG_MSG channel, const char* name);
    // Writes one message: "<time stamp> <function> " and the formatted text.
    // Every message of the library arrives here (through logReport), so an
    // application log derives from DcLog and overrides this. function and
    // format are only read, never written.
    virtual int report(LOG_MSG channel, char* function, char* format, ...) __attribute__((format(printf, 4, 5)));
    // The same for constant texts: formats the message and hands it to the
    // virtual report above as "%s", so that an overriding log receives it too.
    int report(LOG_MSG channel, const char* function, const char* format, ...)
        __attribute__((format(printf, 4, 5)));

protected:
    // Writes one line: time stamp, function name, the formatted message.
    int writeLine(LOG_MSG channel, const char* function, const char* format, va_list args)
        __attribute__((format(printf, 4, 0)));

private:
    // Work buffer of the log; the time stamp of each line is built in it.
    char* workBuf;
    // Switches and file names are kept in the order channel 2, 0, 3, 1.
    LOG_ACTIVE active[LOG_CHANNELS];
    char* fileName[LOG_CHANNELS];
    static int slotOf(LOG_MSG channel);
};

extern BRENIK3_API DcLog* Log;
extern BRENIK3_API char MsgBuf[MSG_BUF_SIZE];

BRENIK3_API int logReport(LOG_MSG channel, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#endif
