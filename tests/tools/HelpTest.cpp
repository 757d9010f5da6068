// Every tool explains itself, and its help lists exactly what it accepts.
#include <cctype>
#include <sstream>

#include <gtest/gtest.h>

#include "ToolRun.h"

namespace {

const char* const TOOLS[] = {"b3-dump",     "b3-echo", "b3-send",    "b3-receive", "b3-find",
                             "b3-dicomdir", "b3-png",  "b3-mkimage", "b3-convert", "b3-archive",
                             "b3-move",     "b3-get"};

struct HelpOption {
    std::string name;
    bool takesValue;
    std::string sample;  // a value the option takes: the low end of "(N to M" in its help, else 16
};

std::string sampleValue(const std::string& line)
{
    size_t open = line.find('(');
    size_t to = open == std::string::npos ? open : line.find(" to ", open);
    if (to == std::string::npos)
        return "16";
    std::string low = line.substr(open + 1, to - open - 1);
    for (char c : low)
        if (!isdigit(static_cast<unsigned char>(c)))
            return "16";
    return low.empty() ? "16" : low;
}

// The option lines of a help text: "  -p, --port PORT      text".
std::vector<HelpOption> optionsOf(const std::string& help)
{
    std::vector<HelpOption> options;
    std::istringstream lines(help);
    std::string line;
    bool inOptions = false;
    while (std::getline(lines, line)) {
        if (line == "options:") {
            inOptions = true;
            continue;
        }
        if (!inOptions || line.compare(0, 3, "  -") != 0)
            continue;
        std::string names = line.substr(2, line.find("  ", 2) - 2);
        std::istringstream words(names);
        std::string word, first;
        bool value = false;
        while (words >> word) {
            if (word.back() == ',')
                word.pop_back();
            if (word[0] != '-')
                value = true;
            else if (first.empty())
                first = word;
        }
        options.push_back({first, value, sampleValue(line)});
    }
    return options;
}

}

class ToolHelp : public ToolTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({GetParam()});
    }
};

TEST_P(ToolHelp, ExplainsItselfAndAcceptsEveryOptionItListsAndNoOther)
{
    std::string tool = GetParam();
    RunResult unknown = run({toolPath(tool), "--no-such-option"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("unknown option '--no-such-option'"), std::string::npos) << unknown.err;
    EXPECT_TRUE(unknown.out.empty());
    RunResult help = run({toolPath(tool), "--help"});
    ASSERT_EQ(help.status, 0);
    EXPECT_EQ(help.out.compare(0, 7 + tool.size(), "usage: " + tool), 0) << help.out;
    std::vector<HelpOption> options = optionsOf(help.out);
    ASSERT_GE(options.size(), 2u) << "at least --help and --verbose";
    for (const HelpOption& option : options) {
        std::vector<std::string> argv = {toolPath(tool), option.name};
        if (option.takesValue)
            argv.push_back(option.sample);
        argv.push_back("--help");
        RunResult r = run(argv);
        EXPECT_EQ(r.status, 0) << tool << " refuses its own option " << option.name << ": " << r.err;
    }
}

INSTANTIATE_TEST_SUITE_P(AllTools, ToolHelp, ::testing::ValuesIn(TOOLS),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             std::string name = info.param;
                             name.erase(0, 3);
                             return name;
                         });
