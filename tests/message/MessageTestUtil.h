#ifndef BRENIK3_TESTS_MESSAGE_MESSAGETESTUTIL_H
#define BRENIK3_TESTS_MESSAGE_MESSAGETESTUTIL_H

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "foundation/DcLog.h"

// Installs a log that keeps every reported message while it lives.
class MessageLog : public DcLog {
public:
    struct Entry {
        int channel;
        std::string function;
        std::string message;
    };

    MessageLog() : saved(Log) { Log = this; }
    ~MessageLog() override { Log = saved; }

    int report(LOG_MSG channel, const char* function, const char* format, ...) override
        __attribute__((format(printf, 4, 5)))
    {
        char text[1024];
        va_list args;
        va_start(args, format);
        vsnprintf(text, sizeof text, format, args);
        va_end(args);
        entries.push_back({channel, function ? function : "", text});
        return 0;
    }

    std::vector<std::string> messages() const
    {
        std::vector<std::string> out;
        for (const Entry& entry : entries)
            out.push_back(entry.message);
        return out;
    }

    std::vector<Entry> entries;

private:
    DcLog* saved;
};

#endif
