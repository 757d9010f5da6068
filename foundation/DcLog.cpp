#include "foundation/DcLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

DcLog* Log = nullptr;
char MsgBuf[MSG_BUF_SIZE];

namespace {
const char* const monthNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The format under which already formatted text is passed on.
char textFormat[] = "%s";

bool validChannel(LOG_MSG channel)
{
    return static_cast<unsigned int>(channel) < LOG_CHANNELS;
}
}

DcLog::DcLog() : workBuf(new char[MSG_BUF_SIZE])
{
    for (int i = 0; i < LOG_CHANNELS; ++i) {
        active[i] = LOG_ON;
        fileName[i] = nullptr;
    }
}

DcLog::~DcLog()
{
    delete[] workBuf;
    for (int i = 0; i < LOG_CHANNELS; ++i)
        free(fileName[i]);
}

int DcLog::slotOf(LOG_MSG channel)
{
    static const int slots[LOG_CHANNELS] = {1, 3, 0, 2};
    return slots[channel];
}

int DcLog::activate(LOG_MSG channel, LOG_ACTIVE state)
{
    if (!validChannel(channel))
        return LOG_ERR_BAD_CHANNEL;
    active[slotOf(channel)] = state;
    return 0;
}

int DcLog::setFname(LOG_MSG channel, const char* name)
{
    if (!validChannel(channel))
        return LOG_ERR_BAD_CHANNEL;
    int slot = slotOf(channel);
    free(fileName[slot]);
    fileName[slot] = name ? strdup(name) : nullptr;
    return 0;
}

int DcLog::report(LOG_MSG channel, char* function, char* format, ...)
{
    if (format == nullptr)
        return LOG_ERR_NULL_FORMAT;
    va_list args;
    va_start(args, format);
    int status = writeLine(channel, function, format, args);
    va_end(args);
    return status;
}

int DcLog::report(LOG_MSG channel, const char* function, const char* format, ...)
{
    if (format == nullptr)
        return LOG_ERR_NULL_FORMAT;
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    int needed = vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(needed > 0 ? static_cast<size_t>(needed) : 0, '\0');
    if (needed > 0)
        vsnprintf(&text[0], text.size() + 1, format, again);
    va_end(again);
    return report(channel, const_cast<char*>(function), textFormat, text.c_str());
}

int DcLog::writeLine(LOG_MSG channel, const char* function, const char* format, va_list args)
{
    if (!validChannel(channel))
        return LOG_ERR_BAD_CHANNEL;
    int slot = slotOf(channel);
    if (active[slot] == LOG_OFF)
        return LOG_ERR_CHANNEL_OFF;
    FILE* out = stdout;
    if (fileName[slot] != nullptr) {
        out = fopen(fileName[slot], "a");
        if (out == nullptr)
            return LOG_ERR_OPEN_FILE;
    }
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    snprintf(workBuf, MSG_BUF_SIZE, "%s%02d %02d:%02d:%02d", monthNames[local.tm_mon], local.tm_mday,
             local.tm_hour, local.tm_min, local.tm_sec);
    if (function != nullptr)
        fprintf(out, "%s <%s> ", workBuf, function);
    else
        fprintf(out, "%s ", workBuf);
    vfprintf(out, format, args);
    fputc('\n', out);
    if (out != stdout)
        fclose(out);
    else
        fflush(out);
    return 0;
}

int logReport(LOG_MSG channel, const char* function, const char* format, ...)
{
    if (format == nullptr)
        return LOG_ERR_NULL_FORMAT;
    if (Log == nullptr)
        return LOG_ERR_NO_LOG;
    va_list args;
    va_start(args, format);
    vsnprintf(MsgBuf, MSG_BUF_SIZE, format, args);
    va_end(args);
    return Log->report(channel, const_cast<char*>(function), textFormat, MsgBuf);
}
