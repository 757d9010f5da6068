#include <gtest/gtest.h>

#include "TestSupport.h"
#include "dataset/DcElemSq.h"
#include "dictionary/DcDict.h"

TEST(Smoke, BuildsFramesAndParsesADataSet)
{
    DcElemList list;
    list.add(new DcElem(T_0010_0010_patientName, "Doe^John"));
    list.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(512)));
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    Bytes bytes = encode(list, UID_LITTLE_ENDIAN_EXPLICIT);
    DcElemList back(bytes.data(), bytes.size(), UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(back.count(), 3);
    char name[65];
    EXPECT_EQ(back.getValue(T_0010_0010_patientName, name, 64), 0);
    EXPECT_STREQ(name, "Doe^John");
    unsigned short rows = 0;
    EXPECT_EQ(back.getValue(T_0028_0010_rows, rows), 0);
    EXPECT_EQ(rows, 512);
    back.printNodeList(stdout);
    back.printNodeList(stdout, PRINT_NODE_TREE);
}
