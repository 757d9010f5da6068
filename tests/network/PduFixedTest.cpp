#include <gtest/gtest.h>

#include "network/DcPduAbort.h"
#include "network/DcPduAssoRj.h"
#include "network/DcPduRelease.h"
#include "tests/network/NetTestUtil.h"

namespace {

// Feeds a whole PDU to the library end and consumes its type bytes, as the
// state machine does before it builds the object that reads the body.
void arrive(SocketPair& pair, const Bytes& pdu)
{
    ASSERT_TRUE(pair.send(pdu));
    DcPdu bare(pair.lib, PDU_INVALID);
    PDU_TYPE type;
    ASSERT_EQ(0, bare.readType(type, PDU_WAIT));
}

DcPduInfo quick()
{
    DcPduInfo limits;
    limits.readTimeout = 1;
    limits.writeTimeout = 1;
    return limits;
}

}

// A reject carries result, source, reason; release bodies are all zero; an
// abort sends its reason only for a provider source.
TEST(FixedPduFrame, RejectReleaseAndAbortMatchTheWireLayout)
{
    SocketPair pair;
    DcPduAssoRj reject(pair.lib);
    DcPduInfoRj info = {1, 3, 7};
    ASSERT_EQ(0, reject.setInfo(&info));
    ASSERT_EQ(0, reject.write());
    EXPECT_EQ(10, reject.getLength());
    ASSERT_EQ(0, DcPduReleaseRq(pair.lib).write());
    ASSERT_EQ(0, DcPduReleaseRp(pair.lib).write());
    DcPduAbort provider(pair.lib);
    DcPduInfoAbort fromProvider = {2, 6};
    ASSERT_EQ(0, provider.setInfo(&fromProvider));
    ASSERT_EQ(0, provider.write());
    DcPduAbort user(pair.lib);
    DcPduInfoAbort fromUser = {0, 5};
    ASSERT_EQ(0, user.setInfo(&fromUser));
    ASSERT_EQ(0, user.write());
    EXPECT_EQ((Bytes{3, 0, 0, 0, 0, 4, 0, 1, 3, 7, 5, 0, 0, 0, 0, 4, 0, 0, 0, 0, 6, 0, 0, 0, 0, 4, 0, 0, 0, 0,
                     7, 0, 0, 0, 0, 4, 0, 0, 2, 6, 7, 0, 0, 0, 0, 4, 0, 0, 0, 0}),
              pair.received());
}

TEST(FixedPduFrame, MissingOrNullRecordIsRefusedAndNothingSent)
{
    SocketPair pair;
    LogCapture log;
    DcPduAbort abort(pair.lib);
    EXPECT_EQ(ABORT_ERR_DATA, abort.write());
    DcPduAssoRj reject(pair.lib);
    EXPECT_EQ(ASSO_RJ_ERR_DATA, reject.write());
    EXPECT_TRUE(pair.received(50).empty());
    ASSERT_EQ(2u, log.entries.size());
    EXPECT_EQ("Abort data does not exist", log.entries[0].message);
    EXPECT_EQ(LOG_CHANNEL_1, log.entries[0].channel);
    EXPECT_EQ("DcPduAbort::frameAsso", log.entries[0].function);
    EXPECT_EQ("RJ association data does not exist", log.entries[1].message);
    EXPECT_EQ(LOG_CHANNEL_2, log.entries[1].channel);

    EXPECT_EQ(ABORT_ERR_NULL_ARG, abort.setInfo(static_cast<DcPduInfoAbort*>(nullptr)));
    EXPECT_EQ(ASSO_RJ_ERR_NULL_ARG, reject.setInfo(static_cast<DcPduInfoRj*>(nullptr)));
    EXPECT_EQ(4u, log.entries.size());
    EXPECT_EQ("Null argument passed", log.entries[3].message);
}

// The abort reader takes the two reserved bytes, not the framed ones; a
// release body is accepted whatever it holds.
TEST(FixedPduRead, BodiesYieldTheirFields)
{
    SocketPair pair;
    arrive(pair, {3, 0, 0, 0, 0, 4, 0, 1, 3, 2});
    DcPduAssoRj reject(pair.lib);
    ASSERT_EQ(0, reject.read(PDU_WAIT));
    ASSERT_NE(nullptr, reject.getInfo());
    EXPECT_EQ(1u, reject.getInfo()->result);
    EXPECT_EQ(3u, reject.getInfo()->source);
    EXPECT_EQ(2u, reject.getInfo()->reason);

    arrive(pair, {7, 0, 0, 0, 0, 4, 0, 0, 2, 6});
    DcPduAbort abort(pair.lib);
    ASSERT_EQ(0, abort.read(PDU_WAIT));
    EXPECT_EQ(0u, abort.getInfo()->source);
    EXPECT_EQ(0u, abort.getInfo()->reason);
    arrive(pair, {7, 0, 0, 0, 0, 4, 2, 4, 0, 0});
    ASSERT_EQ(0, abort.read(PDU_WAIT));
    EXPECT_EQ(2u, abort.getInfo()->source);
    EXPECT_EQ(4u, abort.getInfo()->reason);

    arrive(pair, {5, 0, 0, 0, 0, 4, 1, 2, 3, 4});
    EXPECT_EQ(0, DcPduReleaseRq(pair.lib).read(PDU_WAIT));
}

TEST(FixedPduRead, ShortSilentOrClosedBodiesGiveEachClassItsCode)
{
    DcPduInfo limits = quick();
    SocketPair shortBodies;
    arrive(shortBodies, {3, 0, 0, 0, 0, 2, 0, 1});
    DcPduAssoRj reject(shortBodies.lib);
    EXPECT_EQ(ASSO_RJ_ERR_DATA, reject.read(PDU_WAIT));
    EXPECT_EQ(nullptr, reject.getInfo());
    arrive(shortBodies, {7, 0, 0, 0, 0, 1, 2});
    DcPduAbort abort(shortBodies.lib);
    EXPECT_EQ(ABORT_ERR_READ, abort.read(PDU_WAIT));
    EXPECT_EQ(nullptr, abort.getInfo());

    SocketPair silent;
    arrive(silent, {6, 0});
    DcPduReleaseRp waiting(silent.lib);
    waiting.setInfo(limits);
    EXPECT_EQ(RELEASE_ERR_READ, waiting.read(PDU_WAIT));

    SocketPair closed;
    closed.closePeer();
    DcPduAssoRj rejectClosed(closed.lib);
    DcPduReleaseRp release(closed.lib);
    DcPduAbort abortClosed(closed.lib);
    for (DcPdu* pdu : std::initializer_list<DcPdu*>{&rejectClosed, &release, &abortClosed})
        pdu->setInfo(limits);
    EXPECT_EQ(ASSO_RJ_ERR_DATA, rejectClosed.read(PDU_WAIT));
    EXPECT_EQ(nullptr, rejectClosed.getInfo());
    EXPECT_EQ(RELEASE_ERR_READ, release.read(PDU_WAIT));
    EXPECT_EQ(ABORT_ERR_READ, abortClosed.read(PDU_WAIT));
}
