#include "common/CommandLine.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <Brenik3.h>

namespace b3tool {

CommandLine::CommandLine(const char* program, const char* operands, const char* summaryText)
    : name(program), operandText(operands), summary(summaryText), wantHelp(false), isVerbose(false)
{
    // Every tool knows today's attributes, UIDs and VRs, and loses nothing it reads.
    Dict.loadCurrent();
    DcElemList::setLosslessDefault(true);
    flag("-h", "--help", "print this help and exit", wantHelp);
    flag("-v", "--verbose", "log what the library does (to standard error)", isVerbose);
}

void CommandLine::flag(const char* shortName, const char* longName, const char* help, bool& target)
{
    options.push_back({shortName, longName, nullptr, help, FLAG, &target, 0, 0});
}

void CommandLine::text(const char* shortName, const char* longName, const char* valueName, const char* help,
                       std::string& target)
{
    options.push_back({shortName, longName, valueName, help, TEXT, &target, 0, 0});
}

void CommandLine::number(const char* shortName, const char* longName, const char* valueName, const char* help,
                         long& target, long min, long max)
{
    options.push_back({shortName, longName, valueName, help, NUMBER, &target, min, max});
}

void CommandLine::real(const char* shortName, const char* longName, const char* valueName, const char* help,
                       double& target)
{
    options.push_back({shortName, longName, valueName, help, REAL, &target, 0, 0});
}

void CommandLine::list(const char* shortName, const char* longName, const char* valueName, const char* help,
                       std::vector<std::string>& target)
{
    options.push_back({shortName, longName, valueName, help, LIST, &target, 0, 0});
}

void CommandLine::note(const char* text)
{
    notes.push_back(text);
}

const CommandLine::Option* CommandLine::find(const std::string& word) const
{
    for (const Option& option : options) {
        if ((option.shortName && word == option.shortName) || (option.longName && word == option.longName))
            return &option;
    }
    return nullptr;
}

bool CommandLine::store(const Option& option, const std::string& value) const
{
    switch (option.kind) {
    case FLAG:
        *static_cast<bool*>(option.target) = true;
        return true;
    case TEXT:
        *static_cast<std::string*>(option.target) = value;
        return true;
    case LIST:
        static_cast<std::vector<std::string>*>(option.target)->push_back(value);
        return true;
    case NUMBER: {
        char* end = nullptr;
        errno = 0;
        long parsed = strtol(value.c_str(), &end, 10);
        if (value.empty() || *end != '\0' || errno != 0 || parsed < option.min || parsed > option.max) {
            fprintf(stderr, "%s: %s needs a whole number from %ld to %ld, not '%s'\n", name, option.longName,
                    option.min, option.max, value.c_str());
            return false;
        }
        *static_cast<long*>(option.target) = parsed;
        return true;
    }
    case REAL: {
        char* end = nullptr;
        double parsed = strtod(value.c_str(), &end);
        if (value.empty() || *end != '\0') {
            fprintf(stderr, "%s: %s needs a number, not '%s'\n", name, option.longName, value.c_str());
            return false;
        }
        *static_cast<double*>(option.target) = parsed;
        return true;
    }
    }
    return false;
}

int CommandLine::parse(int argc, char** argv, int minOperands, int maxOperands)
{
    bool optionsEnded = false;
    for (int i = 1; i < argc; i++) {
        std::string word = argv[i];
        if (optionsEnded || word.size() < 2 || word[0] != '-') {
            args.push_back(word);
            continue;
        }
        if (word == "--") {
            optionsEnded = true;
            continue;
        }
        std::string value;
        bool inlineValue = false;
        size_t equals = word.find('=');
        if (word.compare(0, 2, "--") == 0 && equals != std::string::npos) {
            value = word.substr(equals + 1);
            word = word.substr(0, equals);
            inlineValue = true;
        }
        const Option* option = find(word);
        if (option == nullptr) {
            fprintf(stderr, "%s: unknown option '%s' (see %s --help)\n", name, word.c_str(), name);
            return EXIT_USAGE;
        }
        if (option->kind == FLAG) {
            if (inlineValue) {
                fprintf(stderr, "%s: %s takes no value\n", name, word.c_str());
                return EXIT_USAGE;
            }
        } else if (!inlineValue) {
            if (i + 1 >= argc) {
                fprintf(stderr, "%s: %s needs a value %s\n", name, word.c_str(), option->valueName);
                return EXIT_USAGE;
            }
            value = argv[++i];
        }
        if (!store(*option, value))
            return EXIT_USAGE;
    }
    if (wantHelp) {
        usage(stdout);
        return EXIT_OK;
    }
    int count = static_cast<int>(args.size());
    if (count < minOperands || (maxOperands >= 0 && count > maxOperands)) {
        fprintf(stderr, "usage: %s [options] %s\n(see %s --help)\n", name, operandText, name);
        return EXIT_USAGE;
    }
    setupLog(isVerbose);
    return -1;
}

void CommandLine::usage(FILE* stream) const
{
    fprintf(stream, "usage: %s [options] %s\n\n%s\n\noptions:\n", name, operandText, summary);
    for (const Option& option : options) {
        std::string names;
        if (option.shortName)
            names = option.shortName;
        if (option.longName)
            names += std::string(names.empty() ? "" : ", ") + option.longName;
        if (option.valueName)
            names += std::string(" ") + option.valueName;
        fprintf(stream, "  %-28s %s\n", names.c_str(), option.help);
    }
    for (const char* text : notes)
        fprintf(stream, "\n%s\n", text);
}

namespace {

// The library's log lines, in the library's form, on the tool's own standard
// error stream (a second descriptor opened on the same file would write over
// the tool's messages). Installed as the process-wide log while it lives.
class StderrLog : public DcLog {
public:
    StderrLog() : saved(Log) { Log = this; }
    ~StderrLog() override { Log = saved; }

    int report(LOG_MSG, char* function, char* format, ...) override
        __attribute__((format(printf, 4, 5)))
    {
        static const char* const months[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
        time_t now = time(nullptr);
        struct tm local;
        localtime_r(&now, &local);
        fprintf(stderr, "%s%02d %02d:%02d:%02d ", months[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min,
                local.tm_sec);
        if (function != nullptr)
            fprintf(stderr, "<%s> ", function);
        va_list args;
        va_start(args, format);
        vfprintf(stderr, format, args);
        va_end(args);
        fputc('\n', stderr);
        return 0;
    }

private:
    DcLog* saved;
};

}

void setupLog(bool verbose)
{
    if (verbose) {
        // Destroyed at exit before the library's own log, which it restores.
        static StderrLog log;
        return;
    }
    for (int channel = LOG_CHANNEL_0; channel <= LOG_CHANNEL_3; channel++)
        Log->activate(static_cast<LOG_MSG>(channel), LOG_OFF);
}

std::string hexStatus(int status)
{
    char text[16];
    snprintf(text, sizeof text, "0x%04x", status);
    return text;
}

void fail(const char* program, const char* format, ...)
{
    fprintf(stderr, "%s: ", program);
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
    fputc('\n', stderr);
}

}
