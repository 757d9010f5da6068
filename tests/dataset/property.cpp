// Random data sets, framed and parsed back in each uncompressed syntax.
#include <gtest/gtest.h>

#include "DataSetModel.h"

namespace {

const DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT};
const int dataSetsPerRun = 40;
const int nesting = 3;

const char* syntaxName(DICT_UID xfer)
{
    return xfer == UID_LITTLE_ENDIAN_IMPLICIT ? "implicit LE" : xfer == UID_LITTLE_ENDIAN_EXPLICIT ? "explicit LE"
                                                                                                     : "explicit BE";
}

// Parses bytes in full into a fresh set.
void parseAll(DcElemList& into, Bytes& bytes, DICT_UID xfer)
{
    unsigned int left = static_cast<unsigned int>(bytes.size());
    EXPECT_EQ(into.parse(bytes.data(), left, xfer), 0);
    EXPECT_EQ(left, 0u);
}

class RandomDataSets : public ::testing::Test {
protected:
    void SetUp() override { registerModelPrivateTags(); }
};

}

TEST_F(RandomDataSets, ComeBackWithTheSameElementsAndValuesInEachSyntax)
{
    for (unsigned int seed = 1; seed <= dataSetsPerRun && !HasFailure(); ++seed) {
        ModelSet model = ModelGenerator(seed).dataSet(nesting);
        for (DICT_UID xfer : syntaxes) {
            SCOPED_TRACE(std::string("seed ") + std::to_string(seed) + ", " + syntaxName(xfer));
            DcElemList built;
            buildInto(built, model, xfer);
            int status = -1;
            Bytes bytes = encode(built, xfer, &status);
            EXPECT_EQ(status, 0);
            DcElemList back;
            parseAll(back, bytes, xfer);
            expectSameSet(back, model, "");
        }
    }
}

TEST_F(RandomDataSets, FrameToTheSameBytesAfterAParse)
{
    for (unsigned int seed = 1000; seed < 1000 + dataSetsPerRun && !HasFailure(); ++seed) {
        ModelSet model = ModelGenerator(seed).dataSet(nesting);
        for (DICT_UID xfer : syntaxes) {
            SCOPED_TRACE(std::string("seed ") + std::to_string(seed) + ", " + syntaxName(xfer));
            DcElemList built;
            buildInto(built, model, xfer);
            Bytes bytes = encode(built, xfer);
            DcElemList back;
            parseAll(back, bytes, xfer);
            EXPECT_EQ(encode(back, xfer), bytes);
        }
    }
}

TEST_F(RandomDataSets, CarryTheirValuesFromOneSyntaxToAnother)
{
    for (unsigned int seed = 2000; seed < 2000 + dataSetsPerRun / 2 && !HasFailure(); ++seed) {
        ModelSet model = ModelGenerator(seed).dataSet(nesting);
        for (DICT_UID from : syntaxes) {
            DcElemList built;
            buildInto(built, model, from);
            Bytes original = encode(built, from);
            for (DICT_UID to : syntaxes) {
                if (to == from)
                    continue;
                SCOPED_TRACE(std::string("seed ") + std::to_string(seed) + ", " + syntaxName(from) + " to " +
                             syntaxName(to));
                DcElemList first;
                parseAll(first, original, from);
                Bytes converted = encode(first, to);
                DcElemList second;
                parseAll(second, converted, to);
                expectSameSet(second, model, "");
            }
        }
    }
}

// getBufSize sizes the caller's buffer: framing must stay within it.
TEST_F(RandomDataSets, FrameWithinTheSizeThatGetBufSizeGives)
{
    for (unsigned int seed = 3000; seed < 3000 + dataSetsPerRun && !HasFailure(); ++seed) {
        ModelSet model = ModelGenerator(seed).dataSet(nesting);
        for (DICT_UID xfer : syntaxes) {
            SCOPED_TRACE(std::string("seed ") + std::to_string(seed) + ", " + syntaxName(xfer));
            DcElemList built;
            buildInto(built, model, xfer);
            unsigned int size = 0, len = 0;
            built.getBufSize(size);
            Bytes exact(size + 1);
            EXPECT_EQ(built.frame(exact.data(), len, xfer), 0);
            EXPECT_LE(len, size);
        }
    }
}

// Found by the random data sets: the date scanner was given the whole
// date-time and refused the '.' of the seconds' fraction.
TEST(DateTimeValues, WithAFractionOfASecondAreReadBackFromTheirText)
{
    DcElem elem(T_0008_002a_acquisitionDateTime, "20240131101530.250000+0100");
    DcElemValueDT value;
    ASSERT_EQ(elem.getValue(value), 0);
    EXPECT_EQ(value.year, 2024);
    EXPECT_EQ(value.hour, 10);
    EXPECT_DOUBLE_EQ(value.second, 30.25);
    EXPECT_EQ(value.offsetHour, 1);
    Bytes bytes = encode(elem, UID_LITTLE_ENDIAN_EXPLICIT);
    ASSERT_GT(bytes.size(), 8u);
    DcElem back(T_0008_002a_acquisitionDateTime, bytes.data() + 8, static_cast<unsigned int>(bytes.size() - 8),
                UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(text(back), "20240131101530.250000+0100");
}
