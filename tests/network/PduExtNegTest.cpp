// SOP class extended negotiation sub-items (0x56) of the association PDUs:
// framed after the other user information, read back only when asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "network/DcPduAssoAcRq.h"
#include "tests/network/NetTestUtil.h"

namespace {

const char* const STUDY_FIND = "1.2.840.10008.5.1.4.1.2.2.1";
const char* const PATIENT_FIND = "1.2.840.10008.5.1.4.1.2.1.1";

DcPduExtNeg extNeg(const char* uid, const Bytes& info)
{
    DcPduExtNeg item;
    strcpy(item.sopClassUid, uid);
    item.infoLen = static_cast<unsigned int>(info.size());
    std::copy(info.begin(), info.end(), item.info);
    return item;
}

// A request for Study Root FIND framed by the library, with the sub-items given.
Bytes framedRequest(std::initializer_list<DcPduExtNeg> items)
{
    SocketPair pair;
    DcPduAssoRq pdu(pair.lib);
    DcPduInfoAcRq info;
    strcpy(info.calledAeTitle, "ARCHIVE");
    strcpy(info.callingAeTitle, "FINDER");
    strcpy(info.appCtxName, "1.2.840.10008.3.1.1.1");
    info.maxPduLen = 16384;
    strcpy(info.implVerName, "Brenik3 4.3.b");
    pdu.setInfo(info);
    DcPduPresCtxItem ctx;
    ctx.presCtxId = 1;
    ctx.abstractSyntax = UID_STUDY_ROOT_Q_R_FIND;
    ctx.xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
    pdu.presCtxItemAdd(ctx);
    for (const DcPduExtNeg& item : items)
        EXPECT_EQ(0, pdu.extNegAdd(item));
    EXPECT_EQ(0, pdu.write());
    return pair.received();
}

// Reads bytes as an A-ASSOCIATE-RQ, keeping the sub-items or not.
int readRequest(const Bytes& bytes, DcPduAssoRq& pdu, bool keep)
{
    SocketPair pair;
    std::thread sender([&] { pair.send(bytes); });
    DcPduInfo limits;
    limits.readTimeout = 2;
    DcPdu bare(pair.lib, PDU_INVALID);
    bare.setInfo(limits);
    PDU_TYPE type;
    int status = bare.readType(type, PDU_WAIT);
    if (status == 0) {
        pdu.attach(pair.lib);
        pdu.setInfo(limits);
        pdu.keepExtNeg(keep);
        status = pdu.read(PDU_WAIT);
    }
    sender.join();
    return status;
}

// The request bytes with one more sub-item at the end of the user information.
Bytes withSubItem(Bytes pdu, const Bytes& subItem)
{
    size_t at = 74;
    while (pdu[at] != 0x50)
        at += 4 + ((pdu[at + 2] << 8) | pdu[at + 3]);
    size_t length = (pdu[at + 2] << 8) | pdu[at + 3];
    pdu.insert(pdu.begin() + static_cast<long>(at + 4 + length), subItem.begin(), subItem.end());
    pdu[at + 2] = static_cast<unsigned char>((length + subItem.size()) >> 8);
    pdu[at + 3] = static_cast<unsigned char>(length + subItem.size());
    size_t body = pdu.size() - 6;
    for (int i = 0; i < 4; i++)
        pdu[2 + i] = static_cast<unsigned char>(body >> (24 - 8 * i));
    return pdu;
}

}

TEST(AssoExtNeg, SubItemsFollowTheVersionNameInTheOrderAdded)
{
    Bytes plain = framedRequest({});
    Bytes framed = framedRequest({extNeg(STUDY_FIND, {1, 1}), extNeg(PATIENT_FIND, {0, 1, 0, 0})});
    Bytes expected = withSubItem(plain, ByteWriter()
                                            .item(0x56, ByteWriter().u16(27).text(STUDY_FIND).u8(1).u8(1).bytes)
                                            .item(0x56, ByteWriter().u16(27).text(PATIENT_FIND).raw({0, 1, 0, 0}).bytes)
                                            .bytes);
    EXPECT_EQ(expected, framed);
}

TEST(AssoExtNeg, ReadBackAndFramedAgainGiveTheSameBytes)
{
    Bytes framed = framedRequest({extNeg(STUDY_FIND, {1, 1}), extNeg(PATIENT_FIND, {})});
    DcPduAssoRq received;
    ASSERT_EQ(0, readRequest(framed, received, true));
    ASSERT_EQ(2u, received.getExtNegs().size());
    const DcPduExtNeg& first = received.getExtNegs()[0];
    EXPECT_STREQ(STUDY_FIND, first.sopClassUid);
    EXPECT_EQ(Bytes({1, 1}), Bytes(first.info, first.info + first.infoLen));
    EXPECT_EQ(0u, received.getExtNegs()[1].infoLen);

    std::vector<DcPduExtNeg> items = received.getExtNegs();
    EXPECT_EQ(framed, framedRequest({items[0], items[1]}));
}

TEST(AssoExtNeg, SkippedUnlessAskedFor)
{
    DcPduAssoRq received;
    ASSERT_EQ(0, readRequest(framedRequest({extNeg(STUDY_FIND, {1, 1})}), received, false));
    EXPECT_TRUE(received.getExtNegs().empty());
}

TEST(AssoExtNeg, MalformedSubItemsFailTheReadOnlyWhenKept)
{
    Bytes plain = framedRequest({});
    Bytes uid = text(STUDY_FIND);
    struct Case {
        const char* name;
        Bytes subItem;
    } cases[] = {
        {"UID length past the item", ByteWriter().item(0x56, ByteWriter().u16(40).raw(uid).u8(1).bytes).bytes},
        {"no UID length", ByteWriter().item(0x56, Bytes{0}).bytes},
        {"empty UID", ByteWriter().item(0x56, Bytes{0, 0, 1}).bytes},
        {"blank UID", ByteWriter().item(0x56, ByteWriter().u16(2).text("  ").u8(1).bytes).bytes},
        {"UID of 65 characters", ByteWriter().item(0x56, ByteWriter().u16(65).fill(65, '1').bytes).bytes},
        {"65 information bytes", ByteWriter().item(0x56, ByteWriter().u16(27).raw(uid).fill(65, 1).bytes).bytes},
    };
    for (const Case& c : cases) {
        Bytes pdu = withSubItem(plain, c.subItem);
        DcPduAssoRq kept;
        EXPECT_EQ(ASSO_ERR_DATA, readRequest(pdu, kept, true)) << c.name;
        DcPduAssoRq skipped;
        EXPECT_EQ(0, readRequest(pdu, skipped, false)) << c.name;
    }
}

TEST(AssoExtNeg, AddRefusesWhatCannotBeFramedAndStopsAtTheLimit)
{
    DcPduAssoRq pdu;
    EXPECT_EQ(ASSO_ERR_DATA, pdu.extNegAdd(extNeg("", {1})));
    DcPduExtNeg tooLong = extNeg(STUDY_FIND, {});
    tooLong.infoLen = PDU_EXT_NEG_INFO_MAX + 1;
    EXPECT_EQ(ASSO_ERR_DATA, pdu.extNegAdd(tooLong));
    for (int i = 0; i < PDU_EXT_NEG_MAX; i++)
        ASSERT_EQ(0, pdu.extNegAdd(extNeg(STUDY_FIND, {1})));
    EXPECT_EQ(ASSO_ERR_FULL, pdu.extNegAdd(extNeg(STUDY_FIND, {1})));
}
