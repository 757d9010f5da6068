#ifndef BRENIK3_TOOLS_COMMANDLINE_H
#define BRENIK3_TOOLS_COMMANDLINE_H

#include <cstdio>
#include <string>
#include <vector>

namespace b3tool {

// Exit statuses shared by every tool.
enum { EXIT_OK = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

// The command line of one tool: its options, their help texts and the
// operands left after them. Every tool knows -h/--help and -v/--verbose.
// Constructing it also loads the current dictionary into the process's and
// makes lossless mode the default of every data set.
class CommandLine {
public:
    CommandLine(const char* program, const char* operands, const char* summary);

    void flag(const char* shortName, const char* longName, const char* help, bool& target);
    void text(const char* shortName, const char* longName, const char* valueName, const char* help,
              std::string& target);
    void number(const char* shortName, const char* longName, const char* valueName, const char* help, long& target,
                long min, long max);
    void real(const char* shortName, const char* longName, const char* valueName, const char* help, double& target);
    // An option that may be given several times; each value is appended.
    void list(const char* shortName, const char* longName, const char* valueName, const char* help,
              std::vector<std::string>& target);
    // A paragraph printed after the options in the help text.
    void note(const char* text);

    // Parses argv. Returns -1 when the tool should run, otherwise the status
    // to exit with (EXIT_OK after --help, EXIT_USAGE on a bad command line,
    // with the reason printed). minOperands and maxOperands bound the count
    // of operands (maxOperands -1: no limit).
    int parse(int argc, char** argv, int minOperands, int maxOperands);

    const std::vector<std::string>& operands() const { return args; }
    bool verbose() const { return isVerbose; }
    const char* program() const { return name; }
    void usage(FILE* stream) const;

private:
    enum Kind { FLAG, TEXT, NUMBER, REAL, LIST };
    struct Option {
        const char* shortName;
        const char* longName;
        const char* valueName;
        const char* help;
        Kind kind;
        void* target;
        long min;
        long max;
    };

    const char* name;
    const char* operandText;
    const char* summary;
    std::vector<Option> options;
    std::vector<const char*> notes;
    std::vector<std::string> args;
    bool wantHelp;
    bool isVerbose;

    const Option* find(const std::string& word) const;
    bool store(const Option& option, const std::string& value) const;
};

// Quiet by default: every log channel is switched off. Verbose: the log
// writes every channel to standard error, so that a tool's own output on
// standard output stays clean.
void setupLog(bool verbose);

// A status code as "0x%04x".
std::string hexStatus(int status);

// Reports a failure of the tool on standard error, prefixed by its name.
void fail(const char* program, const char* format, ...) __attribute__((format(printf, 2, 3)));

}

#endif
