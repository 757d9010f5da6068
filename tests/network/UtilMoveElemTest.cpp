#include <gtest/gtest.h>

#include "dictionary/DcDict.h"
#include "foundation/util.h"
#include "network/DcPduDataTf.h"
#include "network/utilMoveElem.h"
#include "tests/network/NetTestUtil.h"

TEST(UtilMoveElem, DataSetIntoPduAndBack)
{
    DcElemList set;
    set.add(new DcElem(T_0010_0020_patientId, "A"));
    set.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(8)));
    DcPduDataTf pdu;
    pdu.getElemList()->add(new DcElem(T_0010_0020_patientId, "OLD"));

    LogCapture log;
    ASSERT_EQ(0, utilMoveElem(&set, &pdu));
    EXPECT_EQ(nullptr, set.first());
    char id[65] = "";
    EXPECT_EQ(0, pdu.getValue(T_0010_0020_patientId, id, 64));
    EXPECT_STREQ("A", id);
    EXPECT_TRUE(log.has("Element (0010,0020) added again, previous instance deleted"));

    DcElemList back;
    ASSERT_EQ(0, utilMoveElem(&pdu, &back));
    EXPECT_EQ(nullptr, pdu.getElemList()->first());
    EXPECT_EQ(2, back.count());
}

TEST(UtilMoveElem, NullArgumentsAreReported)
{
    DcElemList set;
    DcPduDataTf pdu;
    LogCapture log;
    EXPECT_EQ(UTIL_ERR_NULL_ARG, utilMoveElem(static_cast<DcElemList*>(nullptr), &pdu));
    EXPECT_EQ(UTIL_ERR_NULL_ARG, utilMoveElem(&pdu, static_cast<DcElemList*>(nullptr)));
    EXPECT_EQ(UTIL_ERR_NULL_ARG, utilMoveElem(&set, static_cast<DcPduDataTf*>(nullptr)));
    ASSERT_EQ(3u, log.entries.size());
    EXPECT_EQ("utilMoveElem", log.entries[0].function);
    EXPECT_EQ("Null argument passed", log.entries[0].message);
}
