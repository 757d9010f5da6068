#include <gtest/gtest.h>

#include "dictionary/DcDict.h"
#include "message/DcCmdCCancel.h"
#include "message/DcCmdCStore.h"
#include "message/DcIod.h"
#include "tests/foundation/LogCapture.h"

namespace {

// A message type found from elements that arrived over the network.
MSG_TYPE parsedType(DcElem* commandField, int& status)
{
    DcIod iod;
    iod.add(new DcElem(T_0010_0020_patientId, "P1"));
    if (commandField != nullptr)
        iod.add(commandField);
    status = iod.parseType();
    MSG_TYPE type;
    iod.getType(type);
    return type;
}

}

TEST(MsgParseType, CommandFieldNamesTheMessageAndItsAbsenceAnInformationObject)
{
    int status = -1;
    EXPECT_EQ(MSG_IOD, parsedType(nullptr, status));
    EXPECT_EQ(0, status);
    const unsigned short fields[] = {0x0001, 0x8001, 0x0010, 0x8010, 0x0020, 0x8020, 0x0021, 0x8021,
                                     0x0030, 0x8030, 0x0FFF, 0x0100, 0x8100, 0x0110, 0x8110, 0x0120,
                                     0x8120, 0x0130, 0x8130, 0x0140, 0x8140, 0x0150, 0x8150};
    for (unsigned short field : fields) {
        EXPECT_EQ(field, parsedType(new DcElem(T_0000_0100_command, field), status));
        EXPECT_EQ(0, status) << std::hex << field;
    }
    LogCapture log;
    EXPECT_EQ(MSG_NONE, parsedType(new DcElem(T_0000_0100_command, static_cast<unsigned short>(0x8031)), status));
    EXPECT_EQ(MSG_ERR_UNKNOWN_COMMAND, status);
    EXPECT_TRUE(log.entries.empty());
}

TEST(MsgDesc, InformationObjectAndCommandsDescribeThemselvesButCancelDoesNot)
{
    char desc[DICT_NAME_MAX + 1];
    DcIod iod;
    ASSERT_EQ(0, iod.getDesc(desc));
    EXPECT_STREQ("Generic IOD", desc);
    DcCmdCStoreRq store;
    store.getDesc(desc);
    EXPECT_STREQ("C-STORE Request", desc);
    DcCmdCCancelRq cancel;
    cancel.getDesc(desc);
    EXPECT_STREQ("Invalid command", desc);
}

TEST(IodFrame, NullBufferFramesNothing)
{
    LogCapture log;
    DcIod iod;
    unsigned int len = 77;
    EXPECT_EQ(IOD_ERR_NULL_ARG, iod.frame(nullptr, len, UID_LITTLE_ENDIAN_IMPLICIT));
    ASSERT_EQ(1u, log.entries.size());
    EXPECT_EQ("DcIod::frame", log.entries[0].function);
    EXPECT_EQ("Null argument passed", log.entries[0].message);
    EXPECT_EQ(LOG_CHANNEL_1, log.entries[0].channel);
}

TEST(IodFrame, WritesTheDataSetInTagOrder)
{
    DcIod iod;
    iod.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(8)));
    iod.add(new DcElem(T_0010_0020_patientId, "AB"));
    unsigned char buf[64];
    unsigned int len = 0;
    ASSERT_EQ(0, iod.frame(buf, len, UID_LITTLE_ENDIAN_IMPLICIT));
    const unsigned char expected[] = {0x10, 0x00, 0x20, 0x00, 2, 0, 0, 0, 'A', 'B',
                                      0x28, 0x00, 0x00, 0x01, 2, 0, 0, 0, 8, 0};
    ASSERT_EQ(sizeof expected, len);
    EXPECT_EQ(0, memcmp(expected, buf, len));
}
