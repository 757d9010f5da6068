// b3-dump and dcmtk's dcmdump agree on the values of the same files,
// sequences and every uncompressed transfer syntax included.
#include <fstream>
#include <sstream>

#include "ToolRun.h"

namespace {

// Numbers compare by value: the library gives times back in their full
// form ("235959.5" reads as "235959.500000").
bool sameText(const std::string& a, const std::string& b)
{
    if (a == b)
        return true;
    char* endA = nullptr;
    char* endB = nullptr;
    double x = strtod(a.c_str(), &endA);
    double y = strtod(b.c_str(), &endB);
    return !a.empty() && !b.empty() && *endA == '\0' && *endB == '\0' && x == y;
}

struct Value {
    std::string tag;
    std::string text;
    bool operator==(const Value& o) const { return tag == o.tag && sameText(text, o.text); }
};

std::ostream& operator<<(std::ostream& os, const Value& v)
{
    return os << v.tag << " [" << v.text << "]";
}

std::string trim(const std::string& s)
{
    size_t from = s.find_first_not_of(' ');
    size_t to = s.find_last_not_of(' ');
    return from == std::string::npos ? "" : s.substr(from, to - from + 1);
}

// Element values in file order, nested ones included; group 0002, pixel
// data, sequences and item lines left out.
bool keep(const std::string& tag)
{
    return tag.compare(1, 4, "0002") != 0 && tag != "(7fe0,0010)" && tag.compare(1, 4, "fffe") != 0;
}

std::vector<Value> fromDcmdump(const std::string& out)
{
    std::vector<Value> values;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        size_t at = line.find_first_not_of(' ');
        if (at == std::string::npos || line[at] != '(' || line.size() < at + 15)
            continue;
        std::string tag = line.substr(at, 11);
        std::string rest = line.substr(at + 15);
        if (!keep(tag) || rest[0] == '(')
            continue;
        size_t hash = rest.rfind('#');
        std::string value = trim(rest.substr(0, hash));
        if (!value.empty() && value[0] == '[')
            value = value.substr(1, value.rfind(']') - 1);
        else if (value == "(no value available)")
            value = "";
        values.push_back({tag, trim(value)});
    }
    return values;
}

std::vector<Value> fromB3dump(const std::string& out)
{
    std::vector<Value> values;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        size_t at = line.find_first_not_of(' ');
        if (at == std::string::npos || line[at] != '(')
            continue;
        std::string tag = line.substr(at, 11);
        if (!keep(tag) || line.compare(at + 12, 2, "SQ") == 0)
            continue;
        size_t valueAt = 12 + 3 + 37;  // tag, VR, name column, at the top level
        values.push_back({tag, line.size() > valueAt ? trim(line.substr(valueAt)) : ""});
    }
    return values;
}

const char* const SAMPLE_DUMP = R"((0008,0008) CS [DERIVED\SECONDARY]
(0008,0016) UI [1.2.840.10008.5.1.4.1.1.7]
(0008,0018) UI [1.2.3.4.5.6.7]
(0008,0020) DA [20240229]
(0008,0030) TM [235959.5]
(0008,0060) CS [OT]
(0008,1140) SQ (Sequence with undefined length #=2)
(fffe,e000) na (Item with undefined length #=2)
(0008,1150) UI [1.2.840.10008.5.1.4.1.1.2]
(0008,1155) UI [1.2.3.4.5.6.8]
(fffe,e00d) na (ItemDelimitationItem)
(fffe,e000) na (Item with undefined length #=1)
(0008,1155) UI [1.2.3.4.5.6.9]
(fffe,e00d) na (ItemDelimitationItem)
(fffe,e0dd) na (SequenceDelimitationItem)
(0010,0010) PN [Doe^Jane^^Dr]
(0010,0020) LO [ID 42]
(0010,1010) AS [045Y]
(0018,1310) US 0\128\128\0
(0020,0013) IS [7]
(0020,0032) DS [-12.5\0\100.25]
(0028,0010) US 2
(0028,0011) US 2
(0040,a30a) DS [3.25]
)";

void expectAgreement(const std::string& file)
{
    SCOPED_TRACE(file);
    RunResult theirs = run({"dcmdump", "-Un", "+L", file});
    ASSERT_EQ(theirs.status, 0) << theirs.err;
    RunResult ours = run({toolPath("b3-dump"), "-w", "0", file});
    ASSERT_EQ(ours.status, 0) << ours.err;
    std::vector<Value> expected = fromDcmdump(theirs.out);
    ASSERT_GT(expected.size(), 10u);
    EXPECT_EQ(fromB3dump(ours.out), expected);
}

class DumpAgreement : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-dump", "b3-mkimage"}, {"dcmdump", "dump2dcm"});
    }
};

}

// Files written by dcmtk in each syntax and as a bare data set, and files
// written by b3-mkimage in each syntax.
TEST_F(DumpAgreement, OnFilesOfDcmtkAndB3MkimageInEachSyntax)
{
    std::string dump = dir + "/sample.txt";
    std::ofstream(dump) << SAMPLE_DUMP;
    for (const char* syntax : {"+ti", "+te", "+tb", "-F"}) {
        std::string file = dir + "/sample" + syntax + ".dcm";
        std::vector<std::string> argv = {"dump2dcm", syntax, dump, file};
        if (std::string(syntax) == "-F")
            argv.insert(argv.begin() + 2, "+ti");
        RunResult made = run(argv);
        ASSERT_EQ(made.status, 0) << made.err;
        expectAgreement(file);
    }
    for (const char* syntax : {"implicit", "explicit", "big"})
        expectAgreement(makeImage(std::string(syntax) + ".dcm", {"-t", syntax, "-s", "32"}));
}
