#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
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

DcPduPresCtxItem makeItem(unsigned int type, unsigned int id, std::initializer_list<DICT_UID> xfer,
                          unsigned int role = 0, DICT_UID abstract = UID_VERIFICATION)
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

Bytes fixedPart(const std::string& called16 = "CALLED          ", const std::string& calling16 = "CALLING         ",
                unsigned int version = 1)
{
    return ByteWriter().u16(version).u16(0).text(called16).text(calling16).fill(32, 0).bytes;
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

Bytes userInfoItem(unsigned int maxLen, const Bytes& more = {})
{
    return ByteWriter().item(0x50, ByteWriter().item(0x51, ByteWriter().u32(maxLen).bytes).raw(more).bytes).bytes;
}

Bytes requestPdu(const Bytes& items)
{
    return ByteWriter::pdu(1, concat({fixedPart(), items}));
}

Bytes validItems()
{
    return concat({appCtxItem(), rqCtxItem(1, VERIFICATION, {IMPLICIT_LE}), userInfoItem(32768)});
}

// Sends the bytes to the library end, reads the type and then the body into pdu.
int readAsso(const Bytes& bytes, DcPduAssoAcRq& pdu)
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
        status = pdu.read(PDU_WAIT);
    }
    sender.join();
    return status;
}

// The items a PDU holds, owned by the caller.
struct Items {
    explicit Items(DcPduAssoAcRq& pdu) { pdu.getPresCtxItems(item); }
    ~Items()
    {
        for (DcPduPresCtxItem* one : item)
            delete one;
    }
    int count() const { return int(std::count_if(item, item + PDU_PRES_CTX_MAX, [](auto* p) { return p; })); }
    DcPduPresCtxItem* item[PDU_PRES_CTX_MAX];
};

}

TEST(AssoFrame, RequestMatchesTheWireLayout)
{
    SocketPair pair;
    DcPduAssoRq pdu(pair.lib);
    DcPduInfoAcRq info = makeInfo("ANY-SCP", "BRENIK3");
    ASSERT_EQ(0, pdu.setInfo(info));
    DcPduPresCtxItem item = makeItem(PRES_CTX_TYPE_RQ, 1, {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT},
                                     PDU_ROLE_SCU | PDU_ROLE_SCP);
    ASSERT_EQ(0, pdu.presCtxItemAdd(item));
    ASSERT_EQ(0, pdu.write());

    ByteWriter ctx;
    ctx.u8(1).u8(0).u8(0).u8(0).item(0x30, VERIFICATION).item(0x40, IMPLICIT_LE).item(0x40, EXPLICIT_LE);
    ByteWriter user;
    user.item(0x51, ByteWriter().u32(16384).bytes)
        .item(0x52, "2.999.7321.4.3.2")
        .item(0x54, ByteWriter().u16(17).text(VERIFICATION).u8(1).u8(1).bytes)
        .item(0x55, "Brenik3 4.3.b");
    ByteWriter body;
    body.raw(fixedPart("ANY-SCP         ", "BRENIK3         ")).item(0x10, APP_CTX).item(0x20, ctx.bytes);
    Bytes expected = ByteWriter::pdu(1, body.item(0x50, user.bytes).bytes);
    EXPECT_EQ(expected, pair.received());
    EXPECT_EQ(expected.size(), pdu.getLength());
}

// Each accepted item carries its result and one transfer syntax, no abstract
// syntax; an item with two syntaxes is left out with a report.
TEST(AssoFrame, AcceptCarriesResultAndOneTransferSyntaxPerItem)
{
    SocketPair pair;
    LogCapture log;
    DcPduAssoAc pdu(pair.lib);
    DcPduInfoAcRq info = makeInfo("  ANY-SCP ", "BRENIK3");
    info.implClassUid[0] = '\0';
    info.implVerName[0] = '\0';
    ASSERT_EQ(0, pdu.setInfo(info));
    DcPduPresCtxItem accepted = makeItem(PRES_CTX_TYPE_AC, 3, {UID_LITTLE_ENDIAN_EXPLICIT});
    DcPduPresCtxItem refused = makeItem(PRES_CTX_TYPE_AC, 5, {UID_LITTLE_ENDIAN_IMPLICIT});
    refused.result = 4;
    DcPduPresCtxItem twoSyntaxes = makeItem(PRES_CTX_TYPE_AC, 7, {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT});
    ASSERT_EQ(0, pdu.presCtxItemAdd(accepted));
    ASSERT_EQ(0, pdu.presCtxItemAdd(refused));
    ASSERT_EQ(0, pdu.presCtxItemAdd(twoSyntaxes));
    ASSERT_EQ(0, pdu.write());
    EXPECT_TRUE(log.has("2 Transfer Syntaxes, must not exceed one"));

    ByteWriter body;
    body.raw(fixedPart("ANY-SCP         ", "BRENIK3         "))
        .item(0x10, APP_CTX)
        .item(0x21, ByteWriter().u8(3).u8(0).u8(0).u8(0).item(0x40, EXPLICIT_LE).bytes)
        .item(0x21, ByteWriter().u8(5).u8(0).u8(4).u8(0).item(0x40, IMPLICIT_LE).bytes)
        .item(0x50, ByteWriter().item(0x51, ByteWriter().u32(16384).bytes).bytes);
    EXPECT_EQ(ByteWriter::pdu(2, body.bytes), pair.received());
}

TEST(AssoFrame, RefusedFramesSendNothing)
{
    LogCapture log;
    SocketPair pair;
    DcPduInfoAcRq info = makeInfo("A", "B");
    DcPduPresCtxItem noSyntax = makeItem(PRES_CTX_TYPE_RQ, 1, {});
    DcPduPresCtxItem item = makeItem(PRES_CTX_TYPE_RQ, 1, {UID_LITTLE_ENDIAN_IMPLICIT});
    DcPduAssoRq empty(pair.lib), blank(pair.lib), tooBig(pair.lib), noRecord(pair.lib);
    empty.presCtxItemAdd(noSyntax);
    empty.setInfo(info);
    EXPECT_EQ(ASSO_ERR_DATA, empty.write());
    blank.presCtxItemAdd(item);
    for (DcPduInfoAcRq titles : {makeInfo("    ", "B"), makeInfo("A", "\t ")}) {
        blank.setInfo(titles);
        EXPECT_EQ(ASSO_ERR_DATA, blank.write());
    }
    DcPduInfo small;
    small.maxPduLen = 120;
    tooBig.setInfo(small);
    tooBig.setInfo(info);
    tooBig.presCtxItemAdd(item);
    EXPECT_EQ(ASSO_ERR_DATA, tooBig.write());
    EXPECT_EQ(ASSO_ERR_DATA, noRecord.write());
    DcPduInfoAcRq out;
    EXPECT_EQ(ASSO_ERR_DATA, noRecord.getInfo(out));
    EXPECT_EQ(ASSO_ERR_PDU_TYPE, DcPduAssoAcRq(PDU_ABORT).write());
    for (const char* message : {"No Transfer Syntax present", "No presentation context items", "Invalid calledAeTitle",
                                "Invalid callingAeTitle", "AC/RQ association data does not exist",
                                "AC/RQ data does not exist", "Invalid PDU type"})
        EXPECT_TRUE(log.has(message)) << message;
    EXPECT_TRUE(pair.received(50).empty());
}

TEST(AssoFrame, TextsAreCutToTheirWidths)
{
    DcPduAssoRq pdu;
    DcPduInfoAcRq info = makeInfo("A", "B");
    memset(info.calledAeTitle, 'X', sizeof info.calledAeTitle);  // no terminator
    pdu.setInfo(info);
    DcPduInfoAcRq out;
    ASSERT_EQ(0, pdu.getInfo(out));
    EXPECT_EQ(std::string(16, 'X'), out.calledAeTitle);
    EXPECT_STREQ("B", out.callingAeTitle);
}

TEST(AssoFrame, ItemAddChecksTypeDuplicateAndCapacity)
{
    LogCapture log;
    DcPduAssoRq request;
    DcPduPresCtxItem answerItem = makeItem(PRES_CTX_TYPE_AC, 1, {UID_LITTLE_ENDIAN_IMPLICIT});
    EXPECT_EQ(ASSO_ERR_DATA, request.presCtxItemAdd(answerItem));
    EXPECT_TRUE(log.has("Invalid presCtxItem 0x0021, expecting PRES_CTX_TYPE_RQ"));
    DcPduAssoAc answer;
    DcPduPresCtxItem requestItem = makeItem(PRES_CTX_TYPE_RQ, 1, {UID_LITTLE_ENDIAN_IMPLICIT});
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
    DcPduPresCtxItem echo =
        makeItem(PRES_CTX_TYPE_RQ, 1, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}, PDU_ROLE_SCP);
    DcPduPresCtxItem plain = makeItem(PRES_CTX_TYPE_RQ, 3, {UID_LITTLE_ENDIAN_IMPLICIT}, 0, UID_BASIC_FILM_SESSION);
    sent.presCtxItemAdd(echo);
    sent.presCtxItemAdd(plain);
    ASSERT_EQ(0, sent.write());

    DcPduAssoRq received;
    ASSERT_EQ(0, readAsso(pair.received(), received));
    DcPduInfoAcRq got;
    ASSERT_EQ(0, received.getInfo(got));
    EXPECT_STREQ("ANY-SCP         ", got.calledAeTitle);
    EXPECT_STREQ("BRENIK3         ", got.callingAeTitle);
    EXPECT_STREQ(APP_CTX, got.appCtxName);
    EXPECT_EQ(16384u, got.maxPduLen);
    EXPECT_STREQ("2.999.7321.4.3.2", got.implClassUid);
    EXPECT_STREQ("Brenik3 4.3.b", got.implVerName);

    Items items(received);
    ASSERT_EQ(2, items.count());
    const DcPduPresCtxItem& first = *items.item[0];
    EXPECT_EQ((std::vector<long>{unsigned(PRES_CTX_TYPE_RQ), 1, UID_VERIFICATION, UID_LITTLE_ENDIAN_EXPLICIT,
                                     UID_LITTLE_ENDIAN_IMPLICIT, UID_NONE, unsigned(PDU_ROLE_SCP)}),
              (std::vector<long>{first.type, first.presCtxId, first.abstractSyntax, first.xferSyn[0],
                                     first.xferSyn[1], first.xferSyn[2], first.role}));
    EXPECT_EQ(UID_BASIC_FILM_SESSION, items.item[1]->abstractSyntax);
    EXPECT_EQ(0u, items.item[1]->role);

    DICT_UID sopClasses[PDU_PRES_CTX_MAX];
    unsigned int roles[PDU_PRES_CTX_MAX];
    received.getScpScuRoles(sopClasses, roles);
    EXPECT_EQ(UID_VERIFICATION, sopClasses[0]);
    EXPECT_EQ(unsigned(PDU_ROLE_SCP), roles[0]);
    EXPECT_EQ(UID_NONE, sopClasses[1]);
}

// Beyond 128 contexts and 32 transfer syntaxes per context the rest is dropped.
TEST(AssoRead, KeepsAtMost128ContextsAnd32TransferSyntaxes)
{
    ByteWriter crowded;
    crowded.u8(0).u8(0).u8(0).u8(0).item(0x30, VERIFICATION);
    for (int i = 0; i < 33; i++)
        crowded.item(0x40, i == 32 ? EXPLICIT_LE : IMPLICIT_LE);
    ByteWriter items;
    items.raw(appCtxItem()).item(0x20, crowded.bytes);
    for (unsigned int i = 1; i < 129; i++)
        items.raw(rqCtxItem(i & 0xFF, VERIFICATION, {IMPLICIT_LE}));
    DcPduAssoRq pdu;
    ASSERT_EQ(0, readAsso(requestPdu(items.raw(userInfoItem(16384)).bytes), pdu));
    Items got(pdu);
    EXPECT_EQ(128, got.count());
    EXPECT_EQ(127u, got.item[127]->presCtxId);
    EXPECT_EQ(UID_LITTLE_ENDIAN_IMPLICIT, got.item[0]->xferSyn[31]);
    EXPECT_EQ(UID_NONE, got.item[0]->xferSyn[32]);
}

TEST(AssoRead, RefusedAnswerItemsSkipTheirTransferSyntax)
{
    ByteWriter body;
    body.raw(fixedPart())
        .raw(appCtxItem())
        .item(0x21, ByteWriter().u8(1).u8(0).u8(3).u8(0).item(0x40, IMPLICIT_LE).bytes)
        .item(0x21, ByteWriter().u8(3).u8(0).u8(0).u8(0).item(0x40, EXPLICIT_LE).bytes)
        .raw(userInfoItem(1));
    DcPduAssoAc pdu;
    ASSERT_EQ(0, readAsso(ByteWriter::pdu(2, body.bytes), pdu));
    Items got(pdu);
    EXPECT_EQ(3u, got.item[0]->result);
    EXPECT_EQ(UID_NONE, got.item[0]->xferSyn[0]);
    EXPECT_EQ(0u, got.item[1]->result);
    EXPECT_EQ(UID_LITTLE_ENDIAN_EXPLICIT, got.item[1]->xferSyn[0]);
}

// AE titles lose their surrounding blanks and are padded to sixteen; an
// unknown UID is noted but its item kept; a role for a SOP class no
// context proposes stays in the role table only.
TEST(AssoRead, TitlesAreStrippedUnknownUidsNotedAndForeignRolesKept)
{
    Bytes role = ByteWriter().u16(25).text(CT_IMAGE).u8(0).u8(1).bytes;
    Bytes more = ByteWriter().item(0x54, role).item(0x53, ByteWriter().u16(1).u16(1).bytes).bytes;
    LogCapture log;
    DcPduAssoRq pdu;
    ASSERT_EQ(0, readAsso(ByteWriter::pdu(1, concat({fixedPart("   PACS  ONE    ", "\tMODALITY       "), appCtxItem(),
                                                     rqCtxItem(1, "1.2.3.4", {IMPLICIT_LE, "1.2.3.5"}),
                                                     userInfoItem(32768, more)})),
                          pdu));
    DcPduInfoAcRq got;
    pdu.getInfo(got);
    EXPECT_STREQ("PACS  ONE       ", got.calledAeTitle);
    EXPECT_STREQ("MODALITY        ", got.callingAeTitle);
    EXPECT_EQ(32768u, got.maxPduLen);
    const LogCapture::Entry* note = log.find("Unsupported/unknown UID '1.2.3.4'");
    ASSERT_NE(nullptr, note);
    EXPECT_EQ(LOG_CHANNEL_1, note->channel);
    Items items(pdu);
    EXPECT_EQ(UID_NONE, items.item[0]->abstractSyntax);
    EXPECT_EQ(UID_LITTLE_ENDIAN_IMPLICIT, items.item[0]->xferSyn[0]);
    EXPECT_EQ(UID_NONE, items.item[0]->xferSyn[1]);
    EXPECT_EQ(0u, items.item[0]->role);
    DICT_UID sopClasses[PDU_PRES_CTX_MAX];
    unsigned int roles[PDU_PRES_CTX_MAX];
    pdu.getScpScuRoles(sopClasses, roles);
    EXPECT_EQ(UID_CT_IMAGE_STORAGE, sopClasses[0]);
    EXPECT_EQ(unsigned(PDU_ROLE_SCP), roles[0]);
}

TEST(AssoRead, MalformedRequestsGiveTheirMessages)
{
    Bytes app = appCtxItem();
    Bytes ctx = rqCtxItem(1, VERIFICATION, {IMPLICIT_LE});
    Bytes user = userInfoItem(1);
    Bytes ctxLengthPastPdu = ctx;
    ctxLengthPastPdu[3] = 0xF0;
    Bytes ctxSubItemPastItem = ctx;
    ctxSubItemPastItem[8 + 3] = 0x30;  // abstract syntax length beyond its item
    Bytes ctxWithoutAbstract =
        ByteWriter().item(0x20, ByteWriter().u8(1).u8(0).u8(0).u8(0).item(0x40, IMPLICIT_LE).bytes).bytes;
    Bytes longUid = rqCtxItem(1, "1.2." + std::string(61, '9'), {IMPLICIT_LE});
    Bytes appCtxPastBody = ByteWriter().u8(0x10).u8(0).u16(0x400).text(APP_CTX).bytes;
    Bytes noMaxLen = ByteWriter().item(0x50, ByteWriter().item(0x52, "1.2.3").bytes).bytes;
    Bytes userInfoPastBody = ByteWriter().u8(0x50).u8(0).u16(200).item(0x51, ByteWriter().u32(1).bytes).bytes;
    Bytes badRole = ByteWriter().item(0x54, ByteWriter().u16(16).text(VERIFICATION).u8(1).u8(0).bytes).bytes;
    struct Case {
        const char* name;
        Bytes pdu;
        const char* message;
        const char* alsoReported = nullptr;
    } cases[] = {
        {"blank called title", ByteWriter::pdu(1, concat({fixedPart(std::string(16, ' ')), validItems()})),
         "Empty Called AE title string"},
        {"blank calling title",
         ByteWriter::pdu(1, concat({fixedPart("CALLED          ", std::string(16, '\0')), validItems()})),
         "Empty Calling AE title string"},
        {"protocol version 2", ByteWriter::pdu(1, concat({fixedPart("CALLED          ", "CALLING         ", 2),
                                                          validItems()})),
         "Invalid protocol version - 0x0002"},
        {"body shorter than its fields", ByteWriter::pdu(1, {0, 1, 0, 0, 'A'}),
         "Invalid buffer length past all sub items"},
        {"no items", requestPdu({}), "Invalid buffer length past all sub items"},
        {"first item not application context", requestPdu(concat({ctx, user})),
         "Invalid sub item type 0x0020, expecting PDU_ASSO_ITEM_APP_CTX"},
        {"application context past body", requestPdu(appCtxPastBody),
         "Insufficient buffer after PDU_ASSO_ITEM_APP_CTX"},
        {"no presentation context", requestPdu(concat({app, user})),
         "Invalid sub item type 0x0050, expecting PDU_ASSO_ITEM_PRES_AC/RQ"},
        {"context length past PDU", requestPdu(concat({app, ctxLengthPastPdu, user})),
         "Buffer length exceeded in sub item #0"},
        {"sub-item past its item", requestPdu(concat({app, ctx, ctxSubItemPastItem, user})),
         "Buffer length exceeded in sub item #1"},
        {"context without abstract syntax", requestPdu(concat({app, ctxWithoutAbstract, user})),
         "Invalid type 0x0040 in sub item #0, expecting PDU_ASSO_ITEM_ABST_SYN"},
        {"UID of 65 characters", requestPdu(concat({app, longUid, user})),
         "Sub item length 0x0041 exceeds buffer length 0x0040 (64)", "Invalid Presentation Context Item #0"},
        {"missing user information", requestPdu(concat({app, ctx})), "Invalid buffer length past all sub items"},
        {"wrong item after contexts", requestPdu(concat({app, ctx, app})),
         "Invalid sub item type 0x0010, expecting PDU_ASSO_ITEM_USER_INFO"},
        {"user information past body", requestPdu(concat({app, ctx, userInfoPastBody})),
         "Invalid buffer length past all sub items"},
        {"unknown user sub-item", requestPdu(concat({app, ctx, userInfoItem(1, ByteWriter().item(0x60, "x").bytes)})),
         "Invalid sub item type 0x0060 past PDU_ASSO_ITEM_USER_INFO"},
        {"no maximum length", requestPdu(concat({app, ctx, noMaxLen})), "maxPduLen missing"},
        {"role UID length mismatch", requestPdu(concat({app, ctx, userInfoItem(0, badRole)})),
         "Mismatch in item 0x0015 and UID string length 0x0010"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log;
        DcPduAssoRq pdu;
        EXPECT_EQ(ASSO_ERR_DATA, readAsso(c.pdu, pdu));
        EXPECT_TRUE(log.has(c.message)) << (log.entries.empty() ? "" : log.entries[0].message);
        EXPECT_TRUE(c.alsoReported == nullptr || log.has(c.alsoReported));
    }
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
