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

TEST(FixedPduFrame, AssociateRejectCarriesResultSourceReason)
{
    SocketPair pair;
    DcPduAssoRj pdu(pair.lib);
    DcPduInfoRj info = {1, 3, 7};
    ASSERT_EQ(0, pdu.setInfo(&info));
    ASSERT_EQ(0, pdu.write());
    EXPECT_EQ((Bytes{3, 0, 0, 0, 0, 4, 0, 1, 3, 7}), pair.received());
    EXPECT_EQ(10, pdu.getLength());
}

TEST(FixedPduFrame, ReleaseRequestAndResponseAreAllZeroBodies)
{
    SocketPair pair;
    DcPduReleaseRq request(pair.lib);
    DcPduReleaseRp response(pair.lib);
    ASSERT_EQ(0, request.write());
    ASSERT_EQ(0, response.write());
    EXPECT_EQ((Bytes{5, 0, 0, 0, 0, 4, 0, 0, 0, 0, 6, 0, 0, 0, 0, 4, 0, 0, 0, 0}), pair.received());
}

TEST(FixedPduFrame, AbortSendsTheReasonOnlyForAProviderSource)
{
    SocketPair pair;
    DcPduAbort provider(pair.lib);
    DcPduInfoAbort fromProvider = {2, 6};
    ASSERT_EQ(0, provider.setInfo(&fromProvider));
    ASSERT_EQ(0, provider.write());
    DcPduAbort user(pair.lib);
    DcPduInfoAbort fromUser = {0, 5};
    ASSERT_EQ(0, user.setInfo(&fromUser));
    ASSERT_EQ(0, user.write());
    EXPECT_EQ((Bytes{7, 0, 0, 0, 0, 4, 0, 0, 2, 6, 7, 0, 0, 0, 0, 4, 0, 0, 0, 0}), pair.received());
}

TEST(FixedPduFrame, WritingWithoutARecordFailsAndSendsNothing)
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
}

TEST(FixedPduSetInfo, NullRecordIsRefused)
{
    LogCapture log;
    DcPduAbort abort;
    EXPECT_EQ(ABORT_ERR_NULL_ARG, abort.setInfo(static_cast<DcPduInfoAbort*>(nullptr)));
    DcPduAssoRj reject;
    EXPECT_EQ(ASSO_RJ_ERR_NULL_ARG, reject.setInfo(static_cast<DcPduInfoRj*>(nullptr)));
    EXPECT_EQ(2u, log.entries.size());
    EXPECT_TRUE(log.has("Null argument passed"));
}

TEST(FixedPduRead, RejectYieldsItsThreeValues)
{
    SocketPair pair;
    arrive(pair, {3, 0, 0, 0, 0, 4, 0, 1, 3, 2});
    DcPduAssoRj pdu(pair.lib);
    ASSERT_EQ(0, pdu.read(PDU_WAIT));
    ASSERT_NE(nullptr, pdu.getInfo());
    EXPECT_EQ(1u, pdu.getInfo()->result);
    EXPECT_EQ(3u, pdu.getInfo()->source);
    EXPECT_EQ(2u, pdu.getInfo()->reason);
}

// The abort reader takes the two reserved bytes, not the framed ones.
TEST(FixedPduRead, AbortTakesSourceAndReasonFromTheReservedBytes)
{
    SocketPair pair;
    DcPduAbort sender(pair.peer);
    DcPduInfoAbort info = {2, 6};
    sender.setInfo(&info);
    ASSERT_EQ(0, sender.write());
    DcPdu bare(pair.lib, PDU_INVALID);
    PDU_TYPE type;
    ASSERT_EQ(0, bare.readType(type, PDU_WAIT));
    ASSERT_EQ(PDU_ABORT, type);
    DcPduAbort received(pair.lib);
    ASSERT_EQ(0, received.read(PDU_WAIT));
    EXPECT_EQ(0u, received.getInfo()->source);
    EXPECT_EQ(0u, received.getInfo()->reason);

    arrive(pair, {7, 0, 0, 0, 0, 4, 2, 4, 0, 0});
    ASSERT_EQ(0, received.read(PDU_WAIT));
    EXPECT_EQ(2u, received.getInfo()->source);
    EXPECT_EQ(4u, received.getInfo()->reason);
}

TEST(FixedPduRead, ReleaseBodyIsAcceptedWhateverItHolds)
{
    SocketPair pair;
    arrive(pair, {5, 0, 0, 0, 0, 4, 1, 2, 3, 4});
    DcPduReleaseRq pdu(pair.lib);
    EXPECT_EQ(0, pdu.read(PDU_WAIT));
}

TEST(FixedPduRead, UnreadableBodiesGiveEachClassItsCode)
{
    SocketPair pair;
    pair.closePeer();
    DcPduInfo limits = quick();
    DcPduAssoRj reject(pair.lib);
    reject.setInfo(limits);
    EXPECT_EQ(ASSO_RJ_ERR_DATA, reject.read(PDU_WAIT));
    EXPECT_EQ(nullptr, reject.getInfo());
    DcPduReleaseRp release(pair.lib);
    release.setInfo(limits);
    EXPECT_EQ(RELEASE_ERR_READ, release.read(PDU_WAIT));
    DcPduAbort abort(pair.lib);
    abort.setInfo(limits);
    EXPECT_EQ(ABORT_ERR_READ, abort.read(PDU_WAIT));
}

TEST(FixedPduRead, BodiesTooShortForTheirFieldsAreRefused)
{
    SocketPair pair;
    arrive(pair, {3, 0, 0, 0, 0, 2, 0, 1});
    DcPduAssoRj reject(pair.lib);
    EXPECT_EQ(ASSO_RJ_ERR_DATA, reject.read(PDU_WAIT));
    EXPECT_EQ(nullptr, reject.getInfo());
    arrive(pair, {7, 0, 0, 0, 0, 1, 2});
    DcPduAbort abort(pair.lib);
    EXPECT_EQ(ABORT_ERR_READ, abort.read(PDU_WAIT));
    EXPECT_EQ(nullptr, abort.getInfo());
}

TEST(FixedPduRead, SilentPeerTimesOut)
{
    SocketPair pair;
    arrive(pair, {6, 0});
    DcPduReleaseRp release(pair.lib);
    DcPduInfo limits = quick();
    release.setInfo(limits);
    EXPECT_EQ(RELEASE_ERR_READ, release.read(PDU_WAIT));
}
