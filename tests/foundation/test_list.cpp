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

// Keys (or labels) front to back, after checking that the links agree in
// both directions and the ends are closed.
std::vector<int> keys(DcList& list, bool labels = false)
{
    std::vector<int> out;
    DcNode* previous = nullptr;
    for (DcNode* n = list.first(); n; previous = n, n = n->next()) {
        EXPECT_EQ(n->previous(), previous);
        out.push_back(labels ? static_cast<Item*>(n)->label : static_cast<Item*>(n)->key);
    }
    EXPECT_EQ(list.last(), previous);
    return out;
}

struct Counted : DcNode {
    explicit Counted(int& c) : destroyed(c) {}
    ~Counted() override { ++destroyed; }
    int& destroyed;
};

}

TEST(ListInsertion, UnorderedAppendsNullIsRefusedAndListedNodesStayPut)
{
    DcList plain;
    plain + new Item(3) + new Item(1) + new Item(2);
    EXPECT_EQ(keys(plain), (std::vector<int>{3, 1, 2}));

    DcList list(byKey);
    EXPECT_EQ(list.add(nullptr), nullptr);
    EXPECT_EQ(list.add(nullptr, nullptr), nullptr);
    Item* b = new Item(5);
    list + new Item(1) + b + new Item(9);
    b->key = 100;
    EXPECT_EQ(list.add(b), b);
    EXPECT_EQ(keys(list), (std::vector<int>{1, 100, 9}));
}

TEST(ListInsertion, OrderedAddKeepsTheListSortedWithLogarithmicComparisons)
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

    DcList big(byKey);
    for (int key = 0; key < 1024; ++key)
        big.add(new Item(key * 2));
    comparisons = 0;
    big.add(new Item(1001));
    EXPECT_LE(comparisons, 2 + 11);
}

// Equal keys: after the tail, in front of the head, or right after the
// probed (lower) middle node.
TEST(ListInsertion, PlacesEqualKeysWhereTheBinarySearchMeetsThem)
{
    const struct {
        std::vector<int> keys;
        int inserted;
        std::vector<int> labels;
    } cases[] = {
        {{1, 5, 5}, 5, {0, 1, 2, 99}},
        {{1, 5}, 1, {99, 0, 1}},
        {{0, 10, 20, 30, 40}, 20, {0, 1, 2, 99, 3, 4}},
        {{0, 10, 20, 30}, 10, {0, 1, 99, 2, 3}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.inserted);
        DcList list(byKey);
        for (size_t i = 0; i < c.keys.size(); ++i)
            list.add(new Item(c.keys[i], static_cast<int>(i)));
        list.add(new Item(c.inserted, 99));
        EXPECT_EQ(keys(list, true), c.labels);
    }
}

TEST(ListInsertion, PositionalAddGoesBeforeThePositionOrAtTheTail)
{
    DcList list(byKey);
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    Item* c = new Item(100);
    EXPECT_EQ(list.add(b, c), c);
    Item* d = new Item(200);
    EXPECT_EQ(list.add(a, d), d);
    list.add(nullptr, new Item(0));
    EXPECT_EQ(keys(list), (std::vector<int>{200, 1, 100, 2, 0}));
}

TEST(ListInsertion, PositionalAddWithForeignPositionOrListedNodeChangesNothing)
{
    DcList other;
    Item* foreign = new Item(7);
    other.add(foreign);
    DcList empty;
    Item* node = new Item(1);
    EXPECT_EQ(empty.add(foreign, node), node);  // an empty list takes it anyway
    EXPECT_EQ(empty.last(), node);

    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    Item loose(3);
    EXPECT_EQ(list.add(foreign, &loose), &loose);
    EXPECT_EQ(list.add(b, a), a);
    EXPECT_EQ(list.add(nullptr, a), a);
    EXPECT_EQ(keys(list), (std::vector<int>{1, 2}));
}

TEST(ListSubtraction, ReturnsTheFollowingNodeAndRefusesForeignOrLooseNodes)
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
    delete c;
    DcList other;
    other.add(b);  // a subtracted node can join another list
    EXPECT_EQ(list.subtract(b), nullptr);
    EXPECT_EQ(list.index(b), -1);
    Item loose(5);
    EXPECT_EQ(list.subtract(&loose), nullptr);
    EXPECT_EQ(list.subtract(nullptr), nullptr);
    EXPECT_EQ(list.count(), 1);
    EXPECT_EQ(other.index(b), 0);
    list - a;
    EXPECT_EQ(list.first(), nullptr);
    EXPECT_EQ(list.last(), nullptr);
    EXPECT_EQ(list.subtract(a), nullptr);
    delete a;
}

TEST(ListCursor, MovesOnlyToListedNodesAndIsLeftAloneBySubtractAndReverse)
{
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    EXPECT_EQ(list.getCursor(), nullptr);
    list.setCursor(b);
    Item loose(3);
    list.setCursor(&loose);
    EXPECT_EQ(list.getCursor(), b);
    list.reverse();
    list.subtract(b);
    EXPECT_EQ(list.getCursor(), b);
    list.resetCursor();
    EXPECT_EQ(list.getCursor(), a);
    delete b;
}

TEST(ListSort, UsesTheOwnOrderingOrAGivenOneOnceAndIsStable)
{
    DcList plain;
    plain + new Item(3, 1) + new Item(1) + new Item(3, 2);
    plain.sort();
    EXPECT_EQ(keys(plain), (std::vector<int>{3, 1, 3}));
    plain.sort(byKey);
    EXPECT_EQ(keys(plain, true), (std::vector<int>{0, 1, 2}));
    plain.reverse();
    EXPECT_EQ(keys(plain, true), (std::vector<int>{2, 1, 0}));

    DcList list(byKey);
    Item* a = new Item(5);
    list + a + new Item(1);
    a->key = 0;
    list.sort();
    EXPECT_EQ(keys(list), (std::vector<int>{0, 1}));
    list + new Item(4) + new Item(2);
    list.sort(byKeyDescending);
    EXPECT_EQ(keys(list), (std::vector<int>{4, 2, 1, 0}));
    // The own ascending ordering is back: 9 compares after the tail.
    list.add(new Item(9));
    EXPECT_EQ(keys(list).back(), 9);
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

// A copy sees the same nodes but never destroys them: the list it was
// copied from does, once. Assigning over a list destroys what it owned.
TEST(ListOwnership, ShallowCopiesLeaveTheNodesToTheirOriginal)
{
    int destroyed = 0;
    DcList* original = new DcList;
    *original + new Counted(destroyed) + new Counted(destroyed);
    {
        DcList copy(*original);
        EXPECT_EQ(copy.count(), 2);
        EXPECT_TRUE(copy.contains(original->first()));
        DcList assigned;
        assigned + new Counted(destroyed);
        assigned = *original;
        EXPECT_EQ(destroyed, 1);
        EXPECT_EQ(assigned.first(), original->first());
        copy.destroyAllNodes();
        EXPECT_EQ(copy.first(), nullptr);
    }
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(original->count(), 2);
    DcList late(*original);
    delete original;
    EXPECT_EQ(destroyed, 3);
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

TEST(NodeCopy, CopiedNodeIsNotTakenForAListedOne)
{
    DcList list;
    Item* a = new Item(1);
    Item* b = new Item(2);
    list + a + b;
    DcNode copy(*static_cast<DcNode*>(b));
    EXPECT_EQ(copy.previous(), a);
    EXPECT_EQ(list.index(&copy), -1);
    EXPECT_EQ(list.subtract(&copy), nullptr);
}
