#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "network/DcPduAssoAcRq.h"
#include "tests/network/NetTestUtil.h"

namespace {

const char* const VERIFICATION = "1.2.840.10008.1.1";
const char* const IMPLICIT_LE = "1.2.840.10008.1.2";
const char* const EXPLICIT_LE = "1.2.840.10008.1.2.1";
const char* const APP_CTX = "1.2.840.10008.3.1.1.1";
const char* const CT_IMAGE = "1.2.840.10008.5.1.4.1.1.2";

DcPduInfoAcRq makeInfo(const char* called, const char* calling)
{
    DcPduInfoAcRq info;
    strcpy(info.calledAeTitle, called);
    strcpy(info.callingAeTitle, calling);
    strcpy(info.appCtxName, APP_CTX);
    info.maxPduLen = 16384;
    strcpy(info.implClassUid, "2.999.7321.4.3.2");
    strcpy(info.implVerName, "Brenik3 4.3.b");
    return info;
}

DcPduPresCtxItem makeItem(unsigned int type, unsigned int id, DICT_UID abstract, std::initializer_list<DICT_UID> xfer,
                          unsigned int role = 0)
{
    DcPduPresCtxItem item;
    item.type = type;
    item.presCtxId = id;
    item.abstractSyntax = abstract;
    item.role = role;
    int i = 0;
    for (DICT_UID uid : xfer)
        item.xferSyn[i++] = uid;
    return item;
}

Bytes fixedPart(const std::string& called16, const std::string& calling16, unsigned int version = 1)
{
    ByteWriter w;
    w.u16(version).u16(0).text(called16).text(calling16).fill(32, 0);
    return w.bytes;
}

Bytes appCtxItem()
{
    return ByteWriter().item(0x10, APP_CTX).bytes;
}

Bytes rqCtxItem(unsigned int id, const std::string& abstract, std::initializer_list<std::string> xfer)
{
    ByteWriter content;
    content.u8(id).u8(0).u8(0).u8(0).item(0x30, abstract);
    for (const std::string& ts : xfer)
        content.item(0x40, ts);
    return ByteWriter().item(0x20, content.bytes).bytes;
}

Bytes userInfoItem(unsigned int maxLen)
{
    ByteWriter sub;
    sub.item(0x51, ByteWriter().u32(maxLen).bytes);
    return ByteWriter().item(0x50, sub.bytes).bytes;
}

Bytes requestPdu(const Bytes& items)
{
    ByteWriter body;
    body.raw(fixedPart("CALLED          ", "CALLING         ")).raw(items);
    return ByteWriter::pdu(1, body.bytes);
}

Bytes validItems()
{
    return ByteWriter().raw(appCtxItem()).raw(rqCtxItem(1, VERIFICATION, {IMPLICIT_LE})).raw(userInfoItem(32768)).bytes;
}

// Sends the bytes to the library end, reads the type and then the body into pdu.
int readAsso(SocketPair& pair, const Bytes& bytes, DcPduAssoAcRq& pdu)
{
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
        status = pdu.read(PDU_WAIT);
    }
    sender.join();
    return status;
}

int countItems(DcPduAssoAcRq& pdu)
{
    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX];
    pdu.getPresCtxItems(items);
    int count = 0;
    for (DcPduPresCtxItem* item : items) {
        count += item != nullptr;
        delete item;
    }
    return count;
}

}

TEST(AssoFrame, RequestMatchesTheWireLayout)
{
    SocketPair pair;
    DcPduAssoRq pdu(pair.lib);
    DcPduInfoAcRq info = makeInfo("ANY-SCP", "BRENIK3");
    ASSERT_EQ(0, pdu.setInfo(info));
    DcPduPresCtxItem item = makeItem(PRES_CTX_TYPE_RQ, 1, UID_VERIFICATION,
                                     {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT}, PDU_ROLE_SCU | PDU_ROLE_SCP);
    ASSERT_EQ(0, pdu.presCtxItemAdd(item));
    ASSERT_EQ(0, pdu.write());

    ByteWriter ctx;
    ctx.u8(1).u8(0).u8(0).u8(0).item(0x30, VERIFICATION).item(0x40, IMPLICIT_LE).item(0x40, EXPLICIT_LE);
    ByteWriter role;
    role.u16(17).text(VERIFICATION).u8(1).u8(1);
    ByteWriter user;
    user.item(0x51, ByteWriter().u32(16384).bytes)
        .item(0x52, "2.999.7321.4.3.2")
        .item(0x54, role.bytes)
        .item(0x55, "Brenik3 4.3.b");
    ByteWriter body;
    body.raw(fixedPart("ANY-SCP         ", "BRENIK3         "))
        .item(0x10, APP_CTX)
        .item(0x20, ctx.bytes)
        .item(0x50, user.bytes);
    Bytes expected = ByteWriter::pdu(1, body.bytes);
    EXPECT_EQ(expected, pair.received());
    EXPECT_EQ(expected.size(), pdu.getLength());
}

TEST(AssoFrame, AcceptCarriesResultAndOneTransferSyntaxWithoutAbstractSyntax)
{
    SocketPair pair;
    DcPduAssoAc pdu(pair.lib);
    DcPduInfoAcRq info = makeInfo("  ANY-SCP ", "BRENIK3");
    info.implClassUid[0] = '\0';
    info.implVerName[0] = '\0';
    ASSERT_EQ(0, pdu.setInfo(info));
    DcPduPresCtxItem accepted = makeItem(PRES_CTX_TYPE_AC, 3, UID_VERIFICATION, {UID_LITTLE_ENDIAN_EXPLICIT});
    DcPduPresCtxItem refused = makeItem(PRES_CTX_TYPE_AC, 5, UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT});
    refused.result = 4;
    ASSERT_EQ(0, pdu.presCtxItemAdd(accepted));
    ASSERT_EQ(0, pdu.presCtxItemAdd(refused));
    ASSERT_EQ(0, pdu.write());

    ByteWriter body;
    body.raw(fixedPart("ANY-SCP         ", "BRENIK3         "))
        .item(0x10, APP_CTX)
        .item(0x21, ByteWriter().u8(3).u8(0).u8(0).u8(0).item(0x40, EXPLICIT_LE).bytes)
        .item(0x21, ByteWriter().u8(5).u8(0).u8(4).u8(0).item(0x40, IMPLICIT_LE).bytes)
        .item(0x50, ByteWriter().item(0x51, ByteWriter().u32(16384).bytes).bytes);
    EXPECT_EQ(ByteWriter::pdu(2, body.bytes), pair.received());
}

TEST(AssoFrame, AcceptItemWithTwoTransferSyntaxesIsLeftOut)
{
    SocketPair pair;
    LogCapture log;
    DcPduAssoAc pdu(pair.lib);
    DcPduInfoAcRq info = makeInfo("A", "B");
    pdu.setInfo(info);
    DcPduPresCtxItem twoSyntaxes =
        makeItem(PRES_CTX_TYPE_AC, 1, UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT});
    DcPduPresCtxItem good = makeItem(PRES_CTX_TYPE_AC, 3, UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT});
    pdu.presCtxItemAdd(twoSyntaxes);
    pdu.presCtxItemAdd(good);
    ASSERT_EQ(0, pdu.write());
    EXPECT_TRUE(log.has("2 Transfer Syntaxes, must not exceed one"));

    SocketPair back;
    DcPduAssoAc parsed;
    ASSERT_EQ(0, readAsso(back, pair.received(), parsed));
    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX];
    parsed.getPresCtxItems(items);
    ASSERT_NE(nullptr, items[0]);
    EXPECT_EQ(3u, items[0]->presCtxId);
    EXPECT_EQ(nullptr, items[1]);
    delete items[0];
}

TEST(AssoFrame, NoFramableItemFailsTheWrite)
{
    SocketPair pair;
    LogCapture log;
    DcPduAssoRq pdu(pair.lib);
    DcPduInfoAcRq info = makeInfo("A", "B");
    pdu.setInfo(info);
    DcPduPresCtxItem noSyntax = makeItem(PRES_CTX_TYPE_RQ, 1, UID_VERIFICATION, {});
    pdu.presCtxItemAdd(noSyntax);
    EXPECT_EQ(ASSO_ERR_DATA, pdu.write());
    EXPECT_TRUE(log.has("No Transfer Syntax present"));
    EXPECT_TRUE(log.has("No presentation context items"));
    EXPECT_TRUE(pair.received(50).empty());
}

TEST(AssoFrame, BlankAeTitlesAreRefused)
{
    SocketPair pair;
    LogCapture log;
    DcPduAssoRq pdu(pair.lib);
    DcPduPresCtxItem item = makeItem(PRES_CTX_TYPE_RQ, 1, UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT});
    pdu.presCtxItemAdd(item);
    DcPduInfoAcRq blankCalled = makeInfo("    ", "B");
    pdu.setInfo(blankCalled);
    EXPECT_EQ(ASSO_ERR_DATA, pdu.write());
    DcPduInfoAcRq blankCalling = makeInfo("A", "\t ");
    pdu.setInfo(blankCalling);
    EXPECT_EQ(ASSO_ERR_DATA, pdu.write());
    EXPECT_TRUE(log.has("Invalid calledAeTitle"));
    EXPECT_TRUE(log.has("Invalid callingAeTitle"));
    EXPECT_TRUE(pair.received(50).empty());
}

TEST(AssoFrame, MissingRecordOrWrongTypeIsRefused)
{
    LogCapture log;
    DcPduAssoRq noRecord;
    EXPECT_EQ(ASSO_ERR_DATA, noRecord.write());
    EXPECT_TRUE(log.has("AC/RQ association data does not exist"));
    DcPduInfoAcRq out;
    EXPECT_EQ(ASSO_ERR_DATA, noRecord.getInfo(out));
    EXPECT_TRUE(log.has("AC/RQ data does not exist"));
    DcPduAssoAcRq wrongType(PDU_ABORT);
    EXPECT_EQ(ASSO_ERR_PDU_TYPE, wrongType.write());
    EXPECT_TRUE(log.has("Invalid PDU type"));
}

TEST(AssoFrame, FrameLargerThanTheBufferIsRefused)
{
    SocketPair pair;
    LogCapture log;
    DcPduAssoRq pdu(pair.lib);
    DcPduInfo small;
    small.maxPduLen = 120;
    pdu.setInfo(small);
    DcPduInfoAcRq info = makeInfo("A", "B");
    pdu.setInfo(info);
    DcPduPresCtxItem item = makeItem(PRES_CTX_TYPE_RQ, 1, UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT});
    pdu.presCtxItemAdd(item);
    EXPECT_EQ(ASSO_ERR_DATA, pdu.write());
    EXPECT_TRUE(pair.received(50).empty());
}

TEST(AssoSetInfo, TextsAreCutToTheirWidths)
{
    DcPduAssoRq pdu;
    DcPduInfoAcRq info = makeInfo("A", "B");
    memset(info.calledAeTitle, 'X', sizeof info.calledAeTitle);  // no terminator
    pdu.setInfo(info);
    DcPduInfoAcRq out;
    ASSERT_EQ(0, pdu.getInfo(out));
    EXPECT_EQ(std::string(16, 'X'), out.calledAeTitle);
    EXPECT_STREQ("B", out.callingAeTitle);
    EXPECT_EQ(16384u, out.maxPduLen);
}

TEST(AssoPresCtxItemAdd, ChecksTypeDuplicateAndCapacity)
{
    LogCapture log;
    DcPduAssoRq request;
    DcPduPresCtxItem answerItem = makeItem(PRES_CTX_TYPE_AC, 1, UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT});
    EXPECT_EQ(ASSO_ERR_DATA, request.presCtxItemAdd(answerItem));
    EXPECT_TRUE(log.has("Invalid presCtxItem 0x0021, expecting PRES_CTX_TYPE_RQ"));
    DcPduAssoAc answer;
    DcPduPresCtxItem requestItem = makeItem(PRES_CTX_TYPE_RQ, 1, UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT});
    EXPECT_EQ(ASSO_ERR_DATA, answer.presCtxItemAdd(requestItem));
    EXPECT_TRUE(log.has("Invalid presCtxItem 0x0020, expecting PRES_CTX_TYPE_AC"));

    for (unsigned int id = 0; id < PDU_PRES_CTX_MAX; id++) {
        requestItem.presCtxId = id;
        ASSERT_EQ(0, request.presCtxItemAdd(requestItem));
    }
    requestItem.presCtxId = 5;
    EXPECT_EQ(ASSO_ERR_DUPLICATE, request.presCtxItemAdd(requestItem));
    EXPECT_TRUE(log.has("Presentation context already in list"));
    requestItem.presCtxId = 200;
    EXPECT_EQ(ASSO_ERR_FULL, request.presCtxItemAdd(requestItem));
    EXPECT_TRUE(log.has("Presentation context limit reached"));
}

TEST(AssoRead, ReadsBackWhatWasFramed)
{
    SocketPair pair;
    DcPduAssoRq sent(pair.lib);
    DcPduInfoAcRq info = makeInfo("ANY-SCP", "BRENIK3");
    sent.setInfo(info);
    DcPduPresCtxItem echo = makeItem(PRES_CTX_TYPE_RQ, 1, UID_VERIFICATION,
                                     {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}, PDU_ROLE_SCP);
    DcPduPresCtxItem plain = makeItem(PRES_CTX_TYPE_RQ, 3, UID_BASIC_FILM_SESSION, {UID_LITTLE_ENDIAN_IMPLICIT});
    sent.presCtxItemAdd(echo);
    sent.presCtxItemAdd(plain);
    ASSERT_EQ(0, sent.write());

    SocketPair back;
    DcPduAssoRq received;
    ASSERT_EQ(0, readAsso(back, pair.received(), received));
    DcPduInfoAcRq got;
    ASSERT_EQ(0, received.getInfo(got));
    EXPECT_STREQ("ANY-SCP         ", got.calledAeTitle);
    EXPECT_STREQ("BRENIK3         ", got.callingAeTitle);
    EXPECT_STREQ(APP_CTX, got.appCtxName);
    EXPECT_EQ(16384u, got.maxPduLen);
    EXPECT_STREQ("2.999.7321.4.3.2", got.implClassUid);
    EXPECT_STREQ("Brenik3 4.3.b", got.implVerName);

    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX];
    received.getPresCtxItems(items);
    ASSERT_NE(nullptr, items[0]);
    ASSERT_NE(nullptr, items[1]);
    EXPECT_EQ(nullptr, items[2]);
    EXPECT_EQ(unsigned(PRES_CTX_TYPE_RQ), items[0]->type);
    EXPECT_EQ(1u, items[0]->presCtxId);
    EXPECT_EQ(UID_VERIFICATION, items[0]->abstractSyntax);
    EXPECT_EQ(UID_LITTLE_ENDIAN_EXPLICIT, items[0]->xferSyn[0]);
    EXPECT_EQ(UID_LITTLE_ENDIAN_IMPLICIT, items[0]->xferSyn[1]);
    EXPECT_EQ(UID_NONE, items[0]->xferSyn[2]);
    EXPECT_EQ(unsigned(PDU_ROLE_SCP), items[0]->role);
    EXPECT_EQ(UID_BASIC_FILM_SESSION, items[1]->abstractSyntax);
    EXPECT_EQ(0u, items[1]->role);
    for (DcPduPresCtxItem* item : items)
        delete item;

    DICT_UID sopClasses[PDU_PRES_CTX_MAX];
    unsigned int roles[PDU_PRES_CTX_MAX];
    received.getScpScuRoles(sopClasses, roles);
    EXPECT_EQ(UID_VERIFICATION, sopClasses[0]);
    EXPECT_EQ(unsigned(PDU_ROLE_SCP), roles[0]);
    EXPECT_EQ(UID_NONE, sopClasses[1]);
}

TEST(AssoRead, AeTitlesAreStrippedAndPaddedToSixteen)
{
    SocketPair pair;
    ByteWriter body;
    body.raw(fixedPart("   PACS  ONE    ", "\tMODALITY       ")).raw(validItems());
    DcPduAssoRq pdu;
    ASSERT_EQ(0, readAsso(pair, ByteWriter::pdu(1, body.bytes), pdu));
    DcPduInfoAcRq got;
    pdu.getInfo(got);
    EXPECT_STREQ("PACS  ONE       ", got.calledAeTitle);
    EXPECT_STREQ("MODALITY        ", got.callingAeTitle);
    EXPECT_EQ(32768u, got.maxPduLen);
}

TEST(AssoRead, BlankAeTitlesAreRefused)
{
    LogCapture log;
    {
        SocketPair pair;
        ByteWriter body;
        body.raw(fixedPart(std::string(16, ' '), "CALLING         ")).raw(validItems());
        DcPduAssoRq pdu;
        EXPECT_EQ(ASSO_ERR_DATA, readAsso(pair, ByteWriter::pdu(1, body.bytes), pdu));
    }
    {
        SocketPair pair;
        ByteWriter body;
        body.raw(fixedPart("CALLED          ", std::string(16, '\0'))).raw(validItems());
        DcPduAssoRq pdu;
        EXPECT_EQ(ASSO_ERR_DATA, readAsso(pair, ByteWriter::pdu(1, body.bytes), pdu));
    }
    EXPECT_TRUE(log.has("Empty Called AE title string"));
    EXPECT_TRUE(log.has("Empty Calling AE title string"));
}

TEST(AssoRead, ProtocolVersionMustMatch)
{
    SocketPair pair;
    LogCapture log;
    ByteWriter body;
    body.raw(fixedPart("CALLED          ", "CALLING         ", 2)).raw(validItems());
    DcPduAssoRq pdu;
    EXPECT_EQ(ASSO_ERR_DATA, readAsso(pair, ByteWriter::pdu(1, body.bytes), pdu));
    EXPECT_TRUE(log.has("Invalid protocol version - 0x0002"));
}

TEST(AssoRead, KeepsTheFirst128Of129Contexts)
{
    ByteWriter items;
    items.raw(appCtxItem());
    for (unsigned int i = 0; i < 129; i++)
        items.raw(rqCtxItem(i & 0xFF, VERIFICATION, {IMPLICIT_LE}));
    items.raw(userInfoItem(16384));
    SocketPair pair;
    DcPduAssoRq pdu;
    ASSERT_EQ(0, readAsso(pair, requestPdu(items.bytes), pdu));
    EXPECT_EQ(128, countItems(pdu));
    DcPduPresCtxItem* items128[PDU_PRES_CTX_MAX];
    pdu.getPresCtxItems(items128);
    EXPECT_EQ(127u, items128[127]->presCtxId);
    for (DcPduPresCtxItem* item : items128)
        delete item;
}

TEST(AssoRead, UidOf65CharactersIsRefused)
{
    SocketPair pair;
    LogCapture log;
    std::string longUid = "1.2." + std::string(61, '9');
    ASSERT_EQ(65u, longUid.size());
    Bytes items = ByteWriter().raw(appCtxItem()).raw(rqCtxItem(1, longUid, {IMPLICIT_LE})).raw(userInfoItem(1)).bytes;
    DcPduAssoRq pdu;
    EXPECT_EQ(ASSO_ERR_DATA, readAsso(pair, requestPdu(items), pdu));
    EXPECT_TRUE(log.has("Sub item length 0x0041 exceeds buffer length 0x0040 (64)"));
    EXPECT_TRUE(log.has("Invalid Presentation Context Item #0"));
}

TEST(AssoRead, UnknownAbstractSyntaxIsNotedButKept)
{
    SocketPair pair;
    LogCapture log;
    Bytes items =
        ByteWriter().raw(appCtxItem()).raw(rqCtxItem(1, "1.2.3.4", {IMPLICIT_LE, "1.2.3.5"})).raw(userInfoItem(1)).bytes;
    DcPduAssoRq pdu;
    ASSERT_EQ(0, readAsso(pair, requestPdu(items), pdu));
    const LogCapture::Entry* note = log.find("Unsupported/unknown UID '1.2.3.4'");
    ASSERT_NE(nullptr, note);
    EXPECT_EQ(LOG_CHANNEL_1, note->channel);
    DcPduPresCtxItem* got[PDU_PRES_CTX_MAX];
    pdu.getPresCtxItems(got);
    EXPECT_EQ(UID_NONE, got[0]->abstractSyntax);
    EXPECT_EQ(UID_LITTLE_ENDIAN_IMPLICIT, got[0]->xferSyn[0]);
    EXPECT_EQ(UID_NONE, got[0]->xferSyn[1]);
    for (DcPduPresCtxItem* item : got)
        delete item;
}

TEST(AssoRead, KeepsAtMost32TransferSyntaxes)
{
    ByteWriter content;
    content.u8(1).u8(0).u8(0).u8(0).item(0x30, VERIFICATION);
    for (int i = 0; i < 33; i++)
        content.item(0x40, i == 32 ? EXPLICIT_LE : IMPLICIT_LE);
    Bytes items =
        ByteWriter().raw(appCtxItem()).item(0x20, content.bytes).raw(userInfoItem(1)).bytes;
    SocketPair pair;
    DcPduAssoRq pdu;
    ASSERT_EQ(0, readAsso(pair, requestPdu(items), pdu));
    DcPduPresCtxItem* got[PDU_PRES_CTX_MAX];
    pdu.getPresCtxItems(got);
    EXPECT_EQ(UID_LITTLE_ENDIAN_IMPLICIT, got[0]->xferSyn[31]);
    EXPECT_EQ(UID_NONE, got[0]->xferSyn[32]);
    for (DcPduPresCtxItem* item : got)
        delete item;
}

TEST(AssoRead, RefusedAnswerItemsSkipTheirTransferSyntax)
{
    ByteWriter body;
    body.raw(fixedPart("CALLED          ", "CALLING         "))
        .raw(appCtxItem())
        .item(0x21, ByteWriter().u8(1).u8(0).u8(3).u8(0).item(0x40, IMPLICIT_LE).bytes)
        .item(0x21, ByteWriter().u8(3).u8(0).u8(0).u8(0).item(0x40, EXPLICIT_LE).bytes)
        .raw(userInfoItem(1));
    SocketPair pair;
    DcPduAssoAc pdu;
    ASSERT_EQ(0, readAsso(pair, ByteWriter::pdu(2, body.bytes), pdu));
    DcPduPresCtxItem* got[PDU_PRES_CTX_MAX];
    pdu.getPresCtxItems(got);
    EXPECT_EQ(3u, got[0]->result);
    EXPECT_EQ(UID_NONE, got[0]->xferSyn[0]);
    EXPECT_EQ(0u, got[1]->result);
    EXPECT_EQ(UID_LITTLE_ENDIAN_EXPLICIT, got[1]->xferSyn[0]);
    for (DcPduPresCtxItem* item : got)
        delete item;
}

TEST(AssoRead, RoleForAnUnproposedSopClassStaysInTheTableOnly)
{
    ByteWriter role;
    role.u16(25).text(CT_IMAGE).u8(0).u8(1);
    ByteWriter user;
    user.item(0x51, ByteWriter().u32(0).bytes).item(0x54, role.bytes).item(0x53, ByteWriter().u16(1).u16(1).bytes);
    Bytes items = ByteWriter().raw(appCtxItem()).raw(rqCtxItem(1, VERIFICATION, {IMPLICIT_LE})).item(0x50, user.bytes).bytes;
    SocketPair pair;
    DcPduAssoRq pdu;
    ASSERT_EQ(0, readAsso(pair, requestPdu(items), pdu));
    DICT_UID sopClasses[PDU_PRES_CTX_MAX];
    unsigned int roles[PDU_PRES_CTX_MAX];
    pdu.getScpScuRoles(sopClasses, roles);
    EXPECT_EQ(UID_CT_IMAGE_STORAGE, sopClasses[0]);
    EXPECT_EQ(unsigned(PDU_ROLE_SCP), roles[0]);
    DcPduPresCtxItem* got[PDU_PRES_CTX_MAX];
    pdu.getPresCtxItems(got);
    EXPECT_EQ(0u, got[0]->role);
    for (DcPduPresCtxItem* item : got)
        delete item;
}

TEST(AssoRead, RoleItemWithMismatchedUidLengthIsRefused)
{
    LogCapture log;
    ByteWriter role;
    role.u16(16).text(VERIFICATION).u8(1).u8(0);
    ByteWriter user;
    user.item(0x51, ByteWriter().u32(0).bytes).item(0x54, role.bytes);
    Bytes items = ByteWriter().raw(appCtxItem()).raw(rqCtxItem(1, VERIFICATION, {IMPLICIT_LE})).item(0x50, user.bytes).bytes;
    SocketPair pair;
    DcPduAssoRq pdu;
    EXPECT_EQ(ASSO_ERR_DATA, readAsso(pair, requestPdu(items), pdu));
    EXPECT_TRUE(log.has("Mismatch in item 0x0015 and UID string length 0x0010"));
}

struct MalformedCase {
    const char* name;
    Bytes items;
    const char* message;
};

TEST(AssoRead, MalformedItemsGiveTheirMessages)
{
    Bytes ctx = rqCtxItem(1, VERIFICATION, {IMPLICIT_LE});
    Bytes ctxLengthPastPdu = ctx;
    ctxLengthPastPdu[3] = 0xF0;
    Bytes ctxStartingWithTransferSyntax =
        ByteWriter().item(0x20, ByteWriter().u8(1).u8(0).u8(0).u8(0).item(0x40, IMPLICIT_LE).bytes).bytes;
    Bytes ctxSubItemPastItem = ctx;
    ctxSubItemPastItem[8 + 3] = 0x30;  // abstract syntax length beyond its item
    Bytes appCtxPastBody = ByteWriter().u8(0x10).u8(0).u16(0x400).text(APP_CTX).bytes;
    Bytes noMaxLen = ByteWriter().item(0x50, ByteWriter().item(0x52, "1.2.3").bytes).bytes;
    Bytes badUserSubItem = ByteWriter().item(0x50, ByteWriter().item(0x51, ByteWriter().u32(1).bytes).item(0x60, "x").bytes).bytes;
    Bytes userInfoPastBody = ByteWriter().u8(0x50).u8(0).u16(200).item(0x51, ByteWriter().u32(1).bytes).bytes;
    Bytes user = userInfoItem(1);
    Bytes app = appCtxItem();
    auto join = [](std::initializer_list<Bytes> parts) {
        ByteWriter w;
        for (const Bytes& part : parts)
            w.raw(part);
        return w.bytes;
    };
    std::vector<MalformedCase> cases = {
        {"no items", {}, "Invalid buffer length past all sub items"},
        {"first item not application context", join({ctx, user}),
         "Invalid sub item type 0x0020, expecting PDU_ASSO_ITEM_APP_CTX"},
        {"application context past body", appCtxPastBody, "Insufficient buffer after PDU_ASSO_ITEM_APP_CTX"},
        {"no presentation context", join({app, user}),
         "Invalid sub item type 0x0050, expecting PDU_ASSO_ITEM_PRES_AC/RQ"},
        {"context length past PDU", join({app, ctxLengthPastPdu, user}), "Buffer length exceeded in sub item #0"},
        {"sub-item past its item", join({app, ctx, ctxSubItemPastItem, user}), "Buffer length exceeded in sub item #1"},
        {"context without abstract syntax", join({app, ctxStartingWithTransferSyntax, user}),
         "Invalid type 0x0040 in sub item #0, expecting PDU_ASSO_ITEM_ABST_SYN"},
        {"missing user information", join({app, ctx}), "Invalid buffer length past all sub items"},
        {"wrong item after contexts", join({app, ctx, app}),
         "Invalid sub item type 0x0010, expecting PDU_ASSO_ITEM_USER_INFO"},
        {"user information past body", join({app, ctx, userInfoPastBody}), "Invalid buffer length past all sub items"},
        {"unknown user sub-item", join({app, ctx, badUserSubItem}),
         "Invalid sub item type 0x0060 past PDU_ASSO_ITEM_USER_INFO"},
        {"no maximum length", join({app, ctx, noMaxLen}), "maxPduLen missing"},
    };
    for (const MalformedCase& c : cases) {
        SCOPED_TRACE(c.name);
        SocketPair pair;
        LogCapture log;
        DcPduAssoRq pdu;
        EXPECT_EQ(ASSO_ERR_DATA, readAsso(pair, requestPdu(c.items), pdu));
        EXPECT_TRUE(log.has(c.message)) << (log.entries.empty() ? "" : log.entries[0].message);
    }
}

TEST(AssoRead, BodyShorterThanItsFixedFieldsIsRefused)
{
    SocketPair pair;
    LogCapture log;
    DcPduAssoRq pdu;
    EXPECT_EQ(ASSO_ERR_DATA, readAsso(pair, ByteWriter::pdu(1, {0, 1, 0, 0, 'A'}), pdu));
    EXPECT_EQ(1u, log.entries.size());
}

TEST(AssoRead, PeerClosingInsideTheBodyFails)
{
    SocketPair pair;
    Bytes whole = requestPdu(validItems());
    whole.resize(whole.size() - 10);
    std::thread sender([&] {
        pair.send(whole);
        pair.closePeer();
    });
    DcPdu bare(pair.lib, PDU_INVALID);
    PDU_TYPE type;
    ASSERT_EQ(0, bare.readType(type, PDU_WAIT));
    DcPduAssoRq pdu(pair.lib);
    EXPECT_EQ(ASSO_ERR_DATA, pdu.read(PDU_WAIT));
    sender.join();
}
