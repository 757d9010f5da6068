// Damaged encodings of a real data set: parsing must return, whatever it
// makes of them, and what it made must frame within its own size. Meant to
// run under the address and undefined-behaviour sanitizers.
#include <gtest/gtest.h>

#include <random>

#include "DataSetModel.h"
#include "foundation/util.h"

namespace {

const int mutantsPerSyntax = 2000;

const unsigned char itemTag[] = {0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF};
const unsigned char itemDelimiter[] = {0xFE, 0xFF, 0x0D, 0xE0, 0x00, 0x00, 0x00, 0x00};
const unsigned char sequenceDelimiter[] = {0xFE, 0xFF, 0xDD, 0xE0, 0x00, 0x00, 0x00, 0x00};

class Mutator {
public:
    explicit Mutator(unsigned int seed) : rng(seed) {}

    Bytes mutate(const Bytes& original)
    {
        Bytes bytes = original;
        int count = pick(1, 4);
        for (int i = 0; i < count && !bytes.empty(); ++i)
            mutateOnce(bytes);
        return bytes;
    }

private:
    std::mt19937 rng;

    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng); }
    size_t position(const Bytes& bytes) { return static_cast<size_t>(pick(0, static_cast<int>(bytes.size()) - 1)); }

    void put32(Bytes& bytes, size_t at, unsigned int value)
    {
        for (int k = 0; k < 4 && at + k < bytes.size(); ++k)
            bytes[at + k] = static_cast<unsigned char>(value >> (8 * k));
    }

    void insert(Bytes& bytes, const unsigned char* what, size_t n)
    {
        bytes.insert(bytes.begin() + position(bytes), what, what + n);
    }

    void mutateOnce(Bytes& bytes)
    {
        static const unsigned int hugeLengths[] = {0xFFFFFFFF, 0xFFFFFFFE, 0x7FFFFFFF, 0x80000000, 0x0000FFFF};
        switch (pick(0, 9)) {
        case 0:
            bytes[position(bytes)] ^= static_cast<unsigned char>(1 << pick(0, 7));
            break;
        case 1:
            bytes.resize(position(bytes));
            break;
        case 2: {
            size_t at = position(bytes);
            bytes.erase(bytes.begin() + at, bytes.begin() + std::min(bytes.size(), at + pick(1, 16)));
            break;
        }
        case 3: {
            Bytes noise(pick(1, 16));
            for (unsigned char& b : noise)
                b = static_cast<unsigned char>(rng());
            insert(bytes, noise.data(), noise.size());
            break;
        }
        case 4:
        case 5:
            put32(bytes, position(bytes) & ~size_t(1), hugeLengths[pick(0, 4)]);
            break;
        case 6:
            bytes[position(bytes) & ~size_t(1)] = 0xFF;
            break;
        case 7:
            insert(bytes, itemTag, sizeof itemTag);
            break;
        case 8:
            insert(bytes, itemDelimiter, sizeof itemDelimiter);
            break;
        default:
            insert(bytes, sequenceDelimiter, sizeof sequenceDelimiter);
            break;
        }
    }
};

class DamagedEncodings : public ::testing::Test {
protected:
    void SetUp() override
    {
        registerModelPrivateTags();
        for (LOG_MSG channel : {LOG_CHANNEL_0, LOG_CHANNEL_1, LOG_CHANNEL_2, LOG_CHANNEL_3})
            Log->activate(channel, LOG_OFF);
    }

    void TearDown() override
    {
        for (LOG_MSG channel : {LOG_CHANNEL_0, LOG_CHANNEL_1, LOG_CHANNEL_2, LOG_CHANNEL_3})
            Log->activate(channel, LOG_ON);
    }
};

// A generated data set with nested sequences, raw values and text of odd
// and even lengths, as the library frames it.
Bytes sample(DICT_UID xfer)
{
    DcElemList list;
    buildInto(list, ModelGenerator(22).dataSet(3), xfer);
    return encode(list, xfer);
}

}

const DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT};

TEST_F(DamagedEncodings, CutAnywhereStopWithADataErrorOrReadWhole)
{
    for (DICT_UID xfer : syntaxes) {
        Bytes whole = sample(xfer);
        for (size_t cut = 1; cut < whole.size(); ++cut) {
            Bytes part(whole.begin(), whole.begin() + cut);
            DcElemList list;
            unsigned int left = 0;
            int status = parse(list, part, xfer, &left);
            if (status == 0)
                EXPECT_EQ(left, 0u) << "cut at " << cut;
            else
                EXPECT_TRUE(status == ELEM_ERR_PAST_END || status == ELEM_ERR_BAD_VALUE || status == UTIL_ERR_LENGTH)
                    << status << " cut at " << cut << " in syntax " << xfer;
            ASSERT_LE(left, cut);
        }
    }
}

TEST_F(DamagedEncodings, AreParsedWithoutCrashingAndWhatIsReadFramesWithinItsSize)
{
    for (DICT_UID xfer : syntaxes) {
        Bytes original = sample(xfer);
        ASSERT_GT(original.size(), 500u);
        Mutator mutator(static_cast<unsigned int>(xfer));
        for (int i = 0; i < mutantsPerSyntax; ++i) {
            Bytes mutant = mutator.mutate(original);
            DcElemList list;
            unsigned int left = 0;
            parse(list, mutant, xfer, &left);
            EXPECT_LE(left, mutant.size());

            unsigned int size = 0, len = 0;
            list.getBufSize(size);
            Bytes framed(size);
            list.frame(framed.data(), len, xfer);
            ASSERT_LE(len, size) << "mutant " << i << " in syntax " << xfer;
        }
    }
}
