// Random data sets, framed and parsed back in each uncompressed syntax.
#include <gtest/gtest.h>

#include "DataSetModel.h"

namespace {

const DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT};
const char* const syntaxNames[] = {"implicit LE", "explicit LE", "explicit BE"};
const unsigned int dataSetsPerRun = 120;
const int nesting = 3;

}

// Each set is framed in one syntax within the size getBufSize gives, parsed
// back to the same elements and values, framed again to the same bytes, and
// carried over into the other two syntaxes with its values intact.
TEST(RandomDataSets, SurviveFramingParsingAndConversionUnchanged)
{
    registerModelPrivateTags();
    for (unsigned int seed = 1; seed <= dataSetsPerRun && !HasFailure(); ++seed) {
        ModelSet model = ModelGenerator(seed).dataSet(nesting);
        for (int from = 0; from < 3; ++from) {
            SCOPED_TRACE(std::string("seed ") + std::to_string(seed) + ", " + syntaxNames[from]);
            DcElemList built;
            buildInto(built, model, syntaxes[from]);
            unsigned int size = 0, len = 0;
            built.getBufSize(size);
            Bytes bytes(size + 1);
            EXPECT_EQ(built.frame(bytes.data(), len, syntaxes[from]), 0);
            ASSERT_LE(len, size);
            bytes.resize(len);

            DcElemList back;
            unsigned int left = 99;
            EXPECT_EQ(parse(back, bytes, syntaxes[from], &left), 0);
            EXPECT_EQ(left, 0u);
            expectSameSet(back, model, "");
            EXPECT_EQ(encode(back, syntaxes[from]), bytes);

            for (int to = 0; to < 3; ++to) {
                if (to == from)
                    continue;
                SCOPED_TRACE(std::string("to ") + syntaxNames[to]);
                Bytes converted = encode(back, syntaxes[to]);
                DcElemList second;
                EXPECT_EQ(parse(second, converted, syntaxes[to]), 0);
                expectSameSet(second, model, "");
            }
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
}
