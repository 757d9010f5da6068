#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "network/DcPduRelease.h"
#include "tests/network/NetTestUtil.h"

namespace {

// A machine whose conversation is one end of a socket pair.
class Machine : public DcTsm {
public:
    explicit Machine(TSM_ROLE tsmRole = TSM_ROLE_REQUESTER) : DcTsm(tsmRole, 0, nullptr) {}
    using DcTsm::stateMachine;
    using DcTsm::artimOwned;

    void setState(TSM_STATE to) { state = to; }
    // The machine takes over the library end of the pair and closes it.
    void adopt(SocketPair& pair, int side)
    {
        int sock = pair.lib;
        pair.lib = -1;
        tcpInfo.sockConv = sock;
        connSide = side;
        delete pdu;
        pdu = new DcPdu();
        pdu->attach(sock);
        DcTsmTimeoutInfo quick;
        quick.readTimeout = 1;
        quick.writeTimeout = 1;
        setTimeoutInfo(quick);
    }
    bool conversationOpen() { return tcpInfo.sockConv != 0; }
    static DcTsm* artimMachine() { return _artimThis; }
};

// One test case: a machine in a state with a requester conversation.
struct Step {
    SocketPair pair;
    Machine machine;
    int result = 0;
    Bytes sent;

    Step(int stateNumber, int event, int side = TSM_CONN_REQUESTER, void* arg = nullptr)
    {
        machine.adopt(pair, side);
        machine.setState(static_cast<TSM_STATE>(stateNumber));
        result = machine.stateMachine(static_cast<TSM_EVENT>(event), arg);
        sent = pair.received(0);  // every send is done when the step returns
    }
};

int firstByte(const Bytes& bytes)
{
    return bytes.empty() ? -1 : bytes[0];
}

// What one cell of the table does, told by the action's effects: the state
// after the step, the PDU type sent (-1 none), the result, whether the
// conversation is still open. Every cell is driven with a null argument.
struct Effect {
    int state;
    int sent;
    int result;
    bool open;
};

Effect expected(const std::string& action, int before, int next)
{
    int after = next == 0 ? before : next;
    if (action == "-")
        return {before, -1, 0, true};
    if (action == "AA-1")
        return {after, PDU_ABORT, 0, true};
    if (action == "AA-2")
        return {TSM_STA2, -1, TSM_TRANSPORT_CLOSED, false};
    if (action == "AA-3")  // a requester conversation
        return {after, -1, TSM_ABORT_INDICATION_SCU, false};
    if (action == "AA-4")
        return {TSM_STA2, -1, TSM_ABORT_INDICATION, false};
    if (action == "AA-5" || action == "AR-5" || action == "none" || action == "AA-6")
        return {after, -1, 0, true};
    if (action == "AA-7")
        return {after, PDU_ABORT, 0, true};
    if (action == "AA-8")
        return {after, PDU_ABORT, TSM_ABORT_INDICATION, true};
    if (action == "AE-5")  // a conversation is open already: nothing to accept
        return {after, -1, 0, true};
    if (action == "AR-1")
        return {after, PDU_RELEASE_RQ, 0, true};
    if (action == "AR-2")
        return {after, -1, TSM_RELEASE_INDICATION, true};
    if (action == "AR-3")
        return {after, -1, TSM_RELEASE_CONFIRMATION, false};
    if (action == "AR-4" || action == "AR-9")
        return {after, PDU_RELEASE_RP, 0, true};
    if (action == "AR-6")
        return {after, -1, TSM_DATA_INDICATION, true};
    if (action == "AR-8")  // requester side
        return {TSM_STA9, -1, TSM_RELEASE_INDICATION, true};
    if (action == "AR-10")
        return {after, -1, TSM_RELEASE_CONFIRMATION, true};
    // AE-1, AE-2, AE-3, AE-4, AE-6, AE-7, AE-8, AR-7, DT-1, DT-2 take an argument.
    return {after, -1, TSM_ERR_NULL_ARG, true};
}

// The transition table as designed: "action,next" per state, "-" for no action.
const char* const table[19] = {
    "AE-1,4 AE-1,4 - - - - - - - - - - -",
    "- - - AE-2,5 - - - - - - - - -",
    "- AA-1,13 AA-8,13 - AE-3,6 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-6,13",
    "- AA-1,13 AA-8,13 - AE-4,1 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-6,13",
    "AE-5,2 - - - - - - - - - - - -",
    "- AE-6,3 AA-8,13 - AE-4,1 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-7,13",
    "- - AE-7,6 - - - - - - - - - -",
    "- - AE-8,13 - - - - - - - - - -",
    "- - - - - DT-1,6 - AR-7,8 - - - - -",
    "- AA-1,13 AA-8,13 - AA-8,13 DT-2,6 AR-6,7 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-6,13",
    "- - - - - AR-1,7 - - - - - - -",
    "- AA-1,13 AA-8,13 - AA-8,13 AR-2,8 AR-8,0 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-6,13",
    "- AA-1,13 AA-8,13 - AA-8,13 AA-8,13 AR-3,1 AA-8,13 AA-8,13 AR-10,12 AR-3,1 AA-8,13 AA-6,13",
    "- - - - - - - AR-4,13 AR-9,11 - - AR-4,13 -",
    "- - AA-1,13 AA-2,1 AA-1,13 AA-1,13 AA-1,13 AA-1,13 AA-1,13 AA-1,13 AA-1,13 AA-1,13 -",
    "- AA-2,1 AA-3,1 - AA-3,1 AA-3,1 AA-3,1 AA-3,1 AA-3,1 AA-3,1 AA-3,1 AA-3,1 AA-2,1",
    "AA-2,1 AA-5,1 AA-4,1 AA-4,1 AA-4,1 AA-4,1 AA-4,1 AA-4,1 AA-4,1 AA-4,1 AA-4,1 AA-4,1 AR-5,1",
    "AA-2,1 AA-2,1 - - - - none,1 - - - - - AA-2,1",
    "AA-2,1 AA-1,13 AA-8,13 - AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-8,13 AA-7,13",
};

}

TEST(TsmTransitions, EveryCellRunsItsActionAndReachesItsState)
{
    LogCapture log;
    for (int event = 0; event < 19; event++) {
        std::istringstream row(table[event]);
        for (int state = TSM_STA1; state <= TSM_STA13; state++) {
            std::string cell;
            row >> cell;
            std::string action = cell.substr(0, cell.find(','));
            int next = cell == "-" ? 0 : std::stoi(cell.substr(cell.find(',') + 1));
            Effect want = expected(action, state, next);
            Step step(state, event);
            SCOPED_TRACE("event " + std::to_string(event) + ", Sta" + std::to_string(state) + ": " + cell);
            EXPECT_EQ(want.state, step.machine.getState());
            EXPECT_EQ(want.sent, firstByte(step.sent));
            EXPECT_EQ(want.result, step.result);
            EXPECT_EQ(want.open, step.machine.conversationOpen());
        }
    }
}

TEST(TsmTransitions, EventOutOfRangeIsLoggedAndChangesNothing)
{
    Machine machine;
    machine.setState(TSM_STA6);
    for (int event : {-1, 19}) {
        LogCapture log;
        EXPECT_EQ(TSM_ERR_EVENT_RANGE, machine.stateMachine(static_cast<TSM_EVENT>(event), nullptr));
        ASSERT_EQ(1u, log.entries.size());
        EXPECT_EQ("Event number " + std::to_string(event) + " out of range", log.entries[0].message);
        EXPECT_EQ("DcTsm::stateMachine", log.entries[0].function);
        EXPECT_EQ(TSM_STA6, machine.getState());
    }
}

// The table is driven on a requester conversation; these cells part ways
// on the acceptor side.
TEST(TsmTransitions, AcceptorSideDiffersOnAbortPduAndReleaseCollision)
{
    struct {
        int state, event, side, after, result;
    } cases[] = {
        {TSM_STA6, TSM_EVT16, TSM_CONN_ACCEPTOR, TSM_STA2, TSM_ABORT_INDICATION},
        {TSM_STA6, TSM_EVT16, TSM_CONN_REQUESTER, TSM_STA1, TSM_ABORT_INDICATION_SCU},
        {TSM_STA7, TSM_EVT12, TSM_CONN_ACCEPTOR, TSM_STA10, TSM_RELEASE_INDICATION},
        {TSM_STA7, TSM_EVT12, TSM_CONN_REQUESTER, TSM_STA9, TSM_RELEASE_INDICATION},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.state) + "/" + std::to_string(c.event) + "/" + std::to_string(c.side));
        Step step(c.state, c.event, c.side);
        EXPECT_EQ(c.after, step.machine.getState());
        EXPECT_EQ(c.result, step.result);
    }
}

// AA-7 (an association request while awaiting the close) aborts as the side
// that connected; AA-8 is a provider abort, AA-1 a user abort without reason.
TEST(TsmTransitions, AbortSourceFollowsTheSideThatConnected)
{
    const Bytes user = {7, 0, 0, 0, 0, 4, 0, 0, 0, 0}, provider = {7, 0, 0, 0, 0, 4, 0, 0, 2, 2};
    EXPECT_EQ(user, Step(TSM_STA13, TSM_EVT6, TSM_CONN_REQUESTER).sent);
    EXPECT_EQ(provider, Step(TSM_STA13, TSM_EVT6, TSM_CONN_ACCEPTOR).sent);
    EXPECT_EQ(provider, Step(TSM_STA6, TSM_EVT3, TSM_CONN_REQUESTER).sent);
    EXPECT_EQ(user, Step(TSM_STA6, TSM_EVT15, TSM_CONN_REQUESTER).sent);
}

TEST(TsmTransitions, ActionsWithoutConversationReportIt)
{
    Machine machine;
    DcPduReleaseRq pdu;
    for (TSM_EVENT event : {TSM_EVT11, TSM_EVT9, TSM_EVT15}) {  // AR-1, DT-1, AA-1
        machine.setState(TSM_STA6);
        EXPECT_EQ(TSM_ERR_NO_CONVERSATION, machine.stateMachine(event, event == TSM_EVT9 ? &pdu : nullptr)) << event;
        EXPECT_TRUE(event != TSM_EVT11 || machine.getState() == TSM_STA7) << "AR-1 moves to Sta7";
    }
    LogCapture log;
    int port = freePort();
    DcTsmConnectArg where = {"127.0.0.1", port};
    machine.setState(TSM_STA1);
    EXPECT_EQ(TSM_ERR_CONNECT, machine.stateMachine(TSM_EVT1, &where));
    EXPECT_EQ(TSM_STA1, machine.getState());
}

TEST(TsmTransitions, PduArgumentIsSentOnTheConversation)
{
    SocketPair pair;
    int sock = pair.lib;
    Machine machine;
    machine.adopt(pair, TSM_CONN_REQUESTER);
    machine.setState(TSM_STA6);
    DcPduReleaseRq pdu;
    EXPECT_EQ(0, machine.stateMachine(TSM_EVT9, &pdu));  // DT-1 sends what it is given
    EXPECT_EQ((Bytes{5, 0, 0, 0, 0, 4, 0, 0, 0, 0}), pair.received(50));
    EXPECT_EQ(sock, pdu.getSockConv());
}

TEST(TsmArtim, AbortRequestStartsTheTimerAndTransportCloseStopsIt)
{
    SocketPair pair;
    Machine machine;
    machine.adopt(pair, TSM_CONN_ACCEPTOR);
    machine.setState(TSM_STA6);
    machine.stateMachine(TSM_EVT15, nullptr);  // AA-1
    EXPECT_TRUE(machine.artimOwned());
    EXPECT_EQ(TSM_STA13, machine.getState());
    EXPECT_EQ(0, machine.stateMachine(TSM_EVT17, nullptr));  // AR-5
    EXPECT_FALSE(machine.artimOwned());
    EXPECT_FALSE(machine.conversationOpen());
    EXPECT_EQ(TSM_STA2, machine.getState());
}

TEST(TsmArtim, SecondMachineTakesTheTimerAndTheFirstStopLeavesIt)
{
    SocketPair firstPair, secondPair;
    Machine first, second;
    for (auto* m : {&first, &second}) {
        m->adopt(m == &first ? firstPair : secondPair, TSM_CONN_ACCEPTOR);
        m->setState(TSM_STA6);
        m->stateMachine(TSM_EVT15, nullptr);
    }
    EXPECT_FALSE(first.artimOwned());
    EXPECT_TRUE(second.artimOwned());
    first.stateMachine(TSM_EVT17, nullptr);  // AR-5 on the first: its timer is no longer tracked
    EXPECT_TRUE(first.conversationOpen());
    EXPECT_TRUE(second.artimOwned());
}

TEST(TsmArtim, DestroyedOwnerLeavesNoTimerBehind)
{
    SocketPair pair;
    {
        Machine machine;
        machine.adopt(pair, TSM_CONN_ACCEPTOR);
        machine.setState(TSM_STA6);
        machine.stateMachine(TSM_EVT15, nullptr);
        ASSERT_TRUE(machine.artimOwned());
    }
    EXPECT_EQ(nullptr, Machine::artimMachine());
}
