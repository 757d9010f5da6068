// Locating frames in encapsulated Pixel Data.
#include <gtest/gtest.h>

#include "Brenik3Codec.h"

namespace {

void item(std::vector<uint8_t>& out, const std::vector<uint8_t>& body, uint16_t element = 0xE000)
{
    uint8_t hdr[8] = {0xFE, 0xFF, uint8_t(element), uint8_t(element >> 8), uint8_t(body.size()),
                      uint8_t(body.size() >> 8), uint8_t(body.size() >> 16), uint8_t(body.size() >> 24)};
    out.insert(out.end(), hdr, hdr + 8);
    out.insert(out.end(), body.begin(), body.end());
}

std::vector<uint8_t> table(std::initializer_list<uint32_t> offsets)
{
    std::vector<uint8_t> out;
    for (uint32_t o : offsets)
        for (int i = 0; i < 4; i++)
            out.push_back(uint8_t(o >> (8 * i)));
    return out;
}

std::vector<std::vector<uint8_t>> split(const std::vector<uint8_t>& value, unsigned frames, int expect = 0)
{
    std::vector<std::vector<uint8_t>> out;
    EXPECT_EQ(expect, codecSplitFrames(value.data(), value.size(), frames, out));
    return out;
}

const std::vector<uint8_t> soi1 = {0xFF, 0xD8, 1, 1}, tail1 = {2, 2}, soi2 = {0xFF, 0xD8, 3, 3}, tail2 = {4, 4};

TEST(FrameLocation, FollowsTheOffsetTableAcrossSeveralFragmentsPerFrame)
{
    std::vector<uint8_t> value;
    item(value, table({0, 8 + 4 + 8 + 2}));
    item(value, soi1);
    item(value, tail1);
    item(value, soi2);
    item(value, tail2);
    auto frames = split(value, 2);
    ASSERT_EQ(2u, frames.size());
    EXPECT_EQ((std::vector<uint8_t>{0xFF, 0xD8, 1, 1, 2, 2}), frames[0]);
    EXPECT_EQ((std::vector<uint8_t>{0xFF, 0xD8, 3, 3, 4, 4}), frames[1]);
}

TEST(FrameLocation, WithoutOffsetTableUsesFragmentsThenCodestreamStarts)
{
    std::vector<uint8_t> oneEach;
    item(oneEach, {});
    item(oneEach, tail1);
    item(oneEach, tail2);
    auto frames = split(oneEach, 2);
    ASSERT_EQ(2u, frames.size());
    EXPECT_EQ(tail2, frames[1]);

    std::vector<uint8_t> byMarker;
    item(byMarker, {});
    item(byMarker, soi1);
    item(byMarker, tail1);
    item(byMarker, soi2);
    frames = split(byMarker, 2);
    ASSERT_EQ(2u, frames.size());
    EXPECT_EQ(6u, frames[0].size());
    EXPECT_EQ(soi2, frames[1]);

    // A single frame takes every fragment, whatever they begin with.
    frames = split(byMarker, 1);
    ASSERT_EQ(1u, frames.size());
    EXPECT_EQ(10u, frames[0].size());

    // Four frames cannot be told apart in three fragments.
    split(byMarker, 4, CODEC_ERR_BAD_OFFSETS);
}

TEST(FrameLocation, StopsAtTheSequenceDelimiter)
{
    std::vector<uint8_t> value;
    item(value, {});
    item(value, soi1);
    item(value, {}, 0xE0DD);
    value.push_back(0x55);  // beyond the delimiter: not looked at
    auto frames = split(value, 1);
    ASSERT_EQ(1u, frames.size());
    EXPECT_EQ(soi1, frames[0]);
}

TEST(FrameLocation, RefusesMalformedItems)
{
    std::vector<uint8_t> wrongTable;
    item(wrongTable, table({0, 3}));
    item(wrongTable, soi1);
    item(wrongTable, soi2);
    split(wrongTable, 2, CODEC_ERR_BAD_OFFSETS);  // 3 is inside the first fragment
    split(wrongTable, 3, CODEC_ERR_BAD_OFFSETS);  // table and frame count disagree

    std::vector<uint8_t> oddTable;
    item(oddTable, {1, 2, 3});
    item(oddTable, soi1);
    split(oddTable, 1, CODEC_ERR_BAD_OFFSETS);

    std::vector<uint8_t> truncated;
    item(truncated, {});
    item(truncated, soi1);
    truncated.resize(truncated.size() - 1);
    split(truncated, 1, CODEC_ERR_BAD_ITEMS);

    std::vector<uint8_t> notAnItem = {0x10, 0x00, 0x10, 0x00, 0, 0, 0, 0};
    split(notAnItem, 1, CODEC_ERR_BAD_ITEMS);

    std::vector<uint8_t> tableOnly;
    item(tableOnly, {});
    split(tableOnly, 1, CODEC_ERR_BAD_ITEMS);
}

TEST(FrameLocation, EncapsulationIsReadBack)
{
    std::vector<std::vector<uint8_t>> frames = {{1, 2, 3}, {4, 5}, {6}};
    std::vector<uint8_t> value = codecEncapsulate(frames);
    auto back = split(value, 3);
    ASSERT_EQ(3u, back.size());
    EXPECT_EQ((std::vector<uint8_t>{1, 2, 3, 0}), back[0]);  // padded to even length
    EXPECT_EQ(frames[1], back[1]);
}

}
