#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "foundation/DcList.h"

namespace {

// A node with a sort key and a label that tells equal keys apart.
struct Item : DcNode {
    explicit Item(int k, int l = 0) : key(k), label(l) {}
    int key;
    int label;
};

int comparisons = 0;

int byKey(void* inList, void* inserted)
{
    ++comparisons;
    return static_cast<Item*>(inList)->key - static_cast<Item*>(inserted)->key;
}

int byKeyDescending(void* inList, void* inserted)
{
    return -byKey(inList, inserted);
}

std::vector<int> keys(DcList& list)
{
    std::vector<int> out;
    for (DcNode* n = list.first(); n; n = n->next())
        out.push_back(static_cast<Item*>(n)->key);
    return out;
}

std::vector<int> labels(DcList& list)
{
    std::vector<int> out;
    for (DcNode* n = list.first(); n; n = n->next())
        out.push_back(static_cast<Item*>(n)->label);
    return out;
}

// Links agree in both directions and the ends are closed.
void expectWellFormed(DcList& list)
{
    DcNode* previous = nullptr;
    for (DcNode* n = list.first(); n; n = n->next()) {
        EXPECT_EQ(n->previous(), previous);
        previous = n;
    }
    EXPECT_EQ(list.last(), previous);
}

struct Counted : DcNode {
    explicit Counted(int& c) : destroyed(c) {}
    ~Counted() override { ++destroyed; }
    int& destroyed;
};

}

TEST(ListInsertion, WithoutOrderingAppendsAtTheTail)
{
    DcList list;
    list.add(new Item(3));
    list.add(new Item(1));
    list.add(new Item(2));
    EXPECT_EQ(keys(list), (std::vector<int>{3, 1, 2}));
    expectWellFormed(list);
}

TEST(ListInsertion, NullNodeGivesNull)
{
    DcList list(byKey);
    EXPECT_EQ(list.add(nullptr), nullptr);
    EXPECT_EQ(list.add(nullptr, nullptr), nullptr);
    EXPECT_EQ(list.count(), 0);
}

TEST(ListInsertion, ListedNodeIsReturnedWithoutMovingEvenWhenOutOfOrder)
{
    DcList list(byKey);
    Item* a = new Item(1);
    Item* b = new Item(5);
    Item* c = new Item(9);
    list.add(a);
    list.add(b);
    list.add(c);
    b->key = 100;
    EXPECT_EQ(list.add(b), b);
    EXPECT_EQ(keys(list), (std::vector<int>{1, 100, 9}));
    expectWellFormed(list);
}

TEST(ListInsertion, OrderedAddKeepsTheListSorted)
{
    std::mt19937 random(7);
    DcList list(byKey);
    std::vector<int> expected;
    for (int i = 0; i < 300; ++i) {
        int key = static_cast<int>(random() % 50);
        list.add(new Item(key));
        expected.push_back(key);
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(keys(list), expected);
    expectWellFormed(list);
}

TEST(ListInsertion, KeyEqualToTheTailGoesAfterTheTail)
{
    DcList list(byKey);
    list.add(new Item(1, 1));
    list.add(new Item(5, 2));
    list.add(new Item(5, 3));
    EXPECT_EQ(labels(list), (std::vector<int>{1, 2, 3}));
}

TEST(ListInsertion, KeyEqualToTheHeadButBeforeTheTailGoesInFrontOfTheHead)
{
    DcList list(byKey);
    list.add(new Item(1, 1));
    list.add(new Item(5, 2));
    list.add(new Item(1, 3));
    EXPECT_EQ(labels(list), (std::vector<int>{3, 1, 2}));
}

TEST(ListInsertion, KeyEqualToTheProbedMiddleGoesRightAfterIt)
{
    DcList list(byKey);
    for (int key = 0; key < 5; ++key)
        list.add(new Item(key * 10, key));
    // Five nodes: the first probe is the middle one (key 20).
    list.add(new Item(20, 99));
    EXPECT_EQ(labels(list), (std::vector<int>{0, 1, 2, 99, 3, 4}));
}

TEST(ListInsertion, EvenCountProbesTheLowerMiddle)
{
    DcList list(byKey);
    for (int key = 0; key < 4; ++key)
        list.add(new Item(key * 10, key));
    // Four nodes 0 10 20 30: the lower middle is 10, equal keys go right after it.
    list.add(new Item(10, 99));
    EXPECT_EQ(labels(list), (std::vector<int>{0, 1, 99, 2, 3}));
}

TEST(ListInsertion, SpendsLogarithmicallyManyComparisons)
{
    DcList list(byKey);
    for (int key = 0; key < 1024; ++key)
        list.add(new Item(key * 2));
    comparisons = 0;
    list.add(new Item(1001));
    EXPECT_LE(comparisons, 2 + 11);
    expectWellFormed(list);
}

TEST(ListPositionalInsertion, InsertsImmediatelyBeforeThePosition)
{
    DcList list(byKey);
    Item* a = new Item(1);
    Item* b = new Item(2);
    list.add(a);
    list.add(b);
    Item* c = new Item(100);
    EXPECT_EQ(list.add(b, c), c);
    Item* d = new Item(200);
    EXPECT_EQ(list.add(a, d), d);
    EXPECT_EQ(keys(list), (std::vector<int>{200, 1, 100, 2}));
    EXPECT_EQ(list.first(), d);
    expectWellFormed(list);
}

TEST(ListPositionalInsertion, NullPositionAppendsAtTheTail)
{
    DcList list(byKey);
    list.add(new Item(5));
    list.add(nullptr, new Item(1));
    EXPECT_EQ(keys(list), (std::vector<int>{5, 1}));
}

TEST(ListPositionalInsertion, EmptyListTakesTheNodeWhateverThePosition)
{
    DcList other;
    Item* foreign = new Item(7);
    other.add(foreign);
    DcList list;
    Item* node = new Item(1);
    EXPECT_EQ(list.add(foreign, node), node);
    EXPECT_EQ(list.first(), node);
    EXPECT_EQ(list.last(), node);
}

TEST(ListPositionalInsertion, ForeignPositionOrListedNodeChangesNothing)
{
    DcList other;
    Item* foreign = new Item(7);
    other.add(foreign);
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list.add(a);
    list.add(b);
    Item* loose = new Item(3);
    EXPECT_EQ(list.add(foreign, loose), loose);
    EXPECT_EQ(list.add(b, a), a);
    EXPECT_EQ(list.add(nullptr, a), a);
    EXPECT_EQ(keys(list), (std::vector<int>{1, 2}));
    expectWellFormed(list);
    delete loose;
}

TEST(ListSubtraction, ReturnsTheFollowingNode)
{
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    Item* c = new Item(3);
    list + a + b + c;
    EXPECT_EQ(list.subtract(b), c);
    EXPECT_EQ(b->next(), nullptr);
    EXPECT_EQ(b->previous(), nullptr);
    EXPECT_EQ(list.subtract(c), nullptr);
    EXPECT_EQ(list.last(), a);
    EXPECT_EQ(list.subtract(a), nullptr);
    EXPECT_EQ(list.first(), nullptr);
    EXPECT_EQ(list.last(), nullptr);
    delete a;
    delete b;
    delete c;
}

TEST(ListSubtraction, ForeignOrLooseNodeGivesNullAndChangesNothing)
{
    DcList other;
    Item* foreign = new Item(9);
    other.add(foreign);
    DcList list;
    Item* a = new Item(1);
    list.add(a);
    Item loose(5);
    EXPECT_EQ(list.subtract(foreign), nullptr);
    EXPECT_EQ(list.subtract(&loose), nullptr);
    EXPECT_EQ(list.subtract(nullptr), nullptr);
    EXPECT_EQ(list.count(), 1);
    EXPECT_EQ(other.count(), 1);
    DcList empty;
    EXPECT_EQ(empty.subtract(a), nullptr);
}

TEST(ListSubtraction, SubtractedNodeCanJoinAnotherList)
{
    DcList list;
    DcList other;
    Item* a = new Item(1);
    list.add(a);
    list - a;
    other.add(a);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(other.first(), a);
    EXPECT_EQ(other.index(a), 0);
}

TEST(ListQueries, CountAndIndex)
{
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    EXPECT_EQ(list.count(), 2);
    EXPECT_EQ(list.index(a), 0);
    EXPECT_EQ(list.index(b), 1);
    Item loose(3);
    EXPECT_EQ(list.index(&loose), -1);
    DcList empty;
    EXPECT_EQ(empty.index(a), -1);
}

TEST(ListCursor, StartsNullAndMovesOnlyToListedNodes)
{
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    EXPECT_EQ(list.getCursor(), nullptr);
    list.setCursor(b);
    EXPECT_EQ(list.getCursor(), b);
    Item loose(3);
    list.setCursor(&loose);
    EXPECT_EQ(list.getCursor(), b);
    list.resetCursor();
    EXPECT_EQ(list.getCursor(), a);
}

TEST(ListCursor, SubtractAndReverseLeaveItAlone)
{
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    list.setCursor(b);
    list.reverse();
    EXPECT_EQ(list.getCursor(), b);
    list.subtract(b);
    EXPECT_EQ(list.getCursor(), b);
    list.resetCursor();
    EXPECT_EQ(list.getCursor(), a);
    delete b;
}

TEST(ListSort, WithoutOrderingLeavesTheOrder)
{
    DcList list;
    list + new Item(3) + new Item(1) + new Item(2);
    list.sort();
    EXPECT_EQ(keys(list), (std::vector<int>{3, 1, 2}));
}

TEST(ListSort, ByOwnOrdering)
{
    DcList list(byKey);
    Item* a = new Item(5);
    Item* b = new Item(1);
    list.add(a);
    list.add(b);
    a->key = 0;
    list.sort();
    EXPECT_EQ(keys(list), (std::vector<int>{0, 1}));
    expectWellFormed(list);
}

TEST(ListSort, GivenOrderingIsUsedOnceThenTheOwnOneReturns)
{
    DcList list(byKey);
    for (int key : {4, 2, 8, 6})
        list.add(new Item(key));
    list.sort(byKeyDescending);
    EXPECT_EQ(keys(list), (std::vector<int>{8, 6, 4, 2}));
    // The own ascending ordering is back: 9 compares after the tail 2.
    list.add(new Item(9));
    EXPECT_EQ(keys(list).back(), 9);
    expectWellFormed(list);
}

TEST(ListSort, IsStableForEqualKeysAtTheEnds)
{
    DcList list;
    list + new Item(1, 1) + new Item(1, 2) + new Item(1, 3);
    list.sort(byKey);
    EXPECT_EQ(labels(list), (std::vector<int>{1, 2, 3}));
}

TEST(ListReverse, ReversesOrderAndEnds)
{
    DcList list;
    Item* a = new Item(1);
    list + a + new Item(2) + new Item(3);
    list.reverse();
    EXPECT_EQ(keys(list), (std::vector<int>{3, 2, 1}));
    EXPECT_EQ(list.last(), a);
    expectWellFormed(list);
}

TEST(ListOwnership, DestroysItsNodesThroughTheVirtualDestructor)
{
    int destroyed = 0;
    {
        DcList list;
        list + new Counted(destroyed) + new Counted(destroyed);
    }
    EXPECT_EQ(destroyed, 2);
    DcList list;
    list + new Counted(destroyed) + new Counted(destroyed);
    list.setCursor(list.first());
    list.destroyAllNodes();
    EXPECT_EQ(destroyed, 4);
    EXPECT_EQ(list.first(), nullptr);
    EXPECT_EQ(list.last(), nullptr);
    EXPECT_EQ(list.getCursor(), nullptr);
}

TEST(ListPrint, AddressesOfListAndNodes)
{
    DcList list;
    Item* a = new Item(1);
    list.add(a);
    list.printNodeList(nullptr);
    FILE* out = tmpfile();
    ASSERT_NE(out, nullptr);
    list.printNodeList(out);
    rewind(out);
    char text[256] = {};
    size_t n = fread(text, 1, sizeof text - 1, out);
    fclose(out);
    char expected[256];
    snprintf(expected, sizeof expected, "%p\n  %p\n", static_cast<void*>(&list), static_cast<void*>(a));
    EXPECT_EQ(std::string(text, n), expected);
}

TEST(NodeCopy, CopiesLinksAndInfoAsTheyAre)
{
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    DcNode copy(*static_cast<DcNode*>(b));
    EXPECT_EQ(copy.previous(), a);
    EXPECT_EQ(copy.getNodeInfo(), b->getNodeInfo());
    // Not listed: the list does not take it for one of its own.
    EXPECT_EQ(list.index(&copy), -1);
    EXPECT_EQ(list.subtract(&copy), nullptr);
}
