#ifndef BRENIK3_TESTS_LOGCAPTURE_H
#define BRENIK3_TESTS_LOGCAPTURE_H

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "foundation/DcLog.h"

// Installs itself as the process-wide log for its lifetime and keeps every
// report instead of printing it.
class LogCapture : public DcLog {
public:
    struct Entry {
        int channel;
        std::string function;
        std::string message;
    };

    LogCapture() : saved(Log) { Log = this; }
    ~LogCapture() override { Log = saved; }

    __attribute__((format(printf, 4, 5))) int report(LOG_MSG channel, char* function, char* format, ...) override
    {
        char text[4096];
        va_list args;
        va_start(args, format);
        vsnprintf(text, sizeof text, format, args);
        va_end(args);
        entries.push_back({channel, function ? function : "", text});
        return 0;
    }

    const Entry* find(const std::string& message, const std::string* function = nullptr) const
    {
        for (const Entry& entry : entries)
            if (entry.message == message && (function == nullptr || entry.function == *function))
                return &entry;
        return nullptr;
    }
    bool has(const std::string& message) const { return find(message) != nullptr; }
    bool has(const std::string& function, const std::string& message) const
    {
        return find(message, &function) != nullptr;
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
