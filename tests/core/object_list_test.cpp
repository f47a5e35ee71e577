// Object lists: exact growth and both removal quirks.
#include <gtest/gtest.h>

#include "engine3d.h"
#include "support/memory_check.h"

namespace {

int a, b, c, d;
void *A = &a, *B = &b, *C = &c, *D = &d;

}  // namespace

TEST(ObjectList, ZeroedListIsEmpty) {
    e3dtest::LeakCheck leaks;
    E3DList list{};
    EXPECT_EQ(GetListElementIndex(&list, A), -1);
    RemoveListElement(&list, A);
    EXPECT_EQ(list.count, 0);
    EXPECT_EQ(list.capacity, 0);
    EXPECT_EQ(list.items, nullptr);
    list.count = 5;
    InitList(&list);
    EXPECT_EQ(list.count, 0);
    leaks.Check();
}

TEST(ObjectList, GrowsOneSlotPerAppendWithAReallocationEach) {
    e3dtest::LeakCheck leaks;
    E3DList list{};
    AddListElement(&list, A);
    AddListElement(&list, B);
    AddListElement(&list, C);
    EXPECT_EQ(leaks.AllocationsSince(), 3);
    EXPECT_EQ(list.count, 3);
    EXPECT_EQ(list.capacity, 3);
    EXPECT_EQ(GetListElementIndex(&list, C), 2);
    AddListElement(&list, A);  // duplicates are appended, not refused
    EXPECT_EQ(list.count, 4);
    EXPECT_EQ(GetListElementIndex(&list, A), 0);
    while (list.count) RemoveListElement(&list, list.items[list.count - 1]);
    EXPECT_EQ(list.items, nullptr);
    leaks.Check();
}

TEST(ObjectList, RemovalKeepsOrderAndCapacity) {
    e3dtest::LeakCheck leaks;
    E3DList list{};
    AddListElement(&list, A);
    AddListElement(&list, B);
    AddListElement(&list, C);
    RemoveListElement(&list, B);
    ASSERT_EQ(list.count, 2);
    EXPECT_EQ(list.capacity, 3);
    EXPECT_EQ(list.items[0], A);
    EXPECT_EQ(list.items[1], C);
    // Room left: the next append reuses the slot without allocating.
    const int64_t before = e3dtest::MemoryStats().allocations;
    AddListElement(&list, D);
    EXPECT_EQ(e3dtest::MemoryStats().allocations, before);
    EXPECT_EQ(list.items[2], D);
    RemoveListElement(&list, A);
    RemoveListElement(&list, A);  // count 2 -> absent element still drops one
    RemoveListElement(&list, A);  // count 1 -> emptied whatever the element
    EXPECT_EQ(list.count, 0);
    EXPECT_EQ(list.items, nullptr);
    leaks.Check();
}

TEST(ObjectList, RemovingAnAbsentElementDropsTheLastEntry) {
    e3dtest::LeakCheck leaks;
    E3DList list{};
    AddListElement(&list, A);
    AddListElement(&list, B);
    AddListElement(&list, C);
    RemoveListElement(&list, D);
    ASSERT_EQ(list.count, 2);
    EXPECT_EQ(list.items[0], A);
    EXPECT_EQ(list.items[1], B);
    RemoveListElement(&list, A);
    RemoveListElement(&list, B);
    leaks.Check();
}

TEST(ObjectList, RemovingADuplicatedElementDecrementsOnce) {
    e3dtest::LeakCheck leaks;
    E3DList list{};
    AddListElement(&list, A);
    AddListElement(&list, B);
    AddListElement(&list, A);
    AddListElement(&list, C);
    RemoveListElement(&list, A);
    // Both copies compacted out but count down by one only: the last slot
    // keeps its stale content, here the removed element itself.
    ASSERT_EQ(list.count, 3);
    EXPECT_EQ(list.items[0], B);
    EXPECT_EQ(list.items[1], C);
    EXPECT_EQ(list.items[2], A);
    RemoveListElement(&list, B);
    RemoveListElement(&list, C);
    RemoveListElement(&list, C);
    EXPECT_EQ(list.items, nullptr);
    leaks.Check();
}

TEST(ObjectList, EmptiedListAllocatesAFreshSlot) {
    e3dtest::LeakCheck leaks;
    E3DList list{};
    AddListElement(&list, A);
    RemoveListElement(&list, B);  // one entry: emptied without comparing
    EXPECT_EQ(list.count, 0);
    EXPECT_EQ(list.capacity, 0);
    EXPECT_EQ(list.items, nullptr);
    AddListElement(&list, C);
    EXPECT_EQ(list.capacity, 1);
    EXPECT_EQ(leaks.AllocationsSince(), 2);
    RemoveListElement(&list, C);
    leaks.Check();
}

TEST(ObjectList, FailedGrowthLeavesTheListUnchanged) {
    e3dtest::LeakCheck leaks;
    E3DList list{};
    AddListElement(&list, A);
    HostMemoryFailNth(1);
    AddListElement(&list, B);
    HostMemoryFailNth(0);
    EXPECT_EQ(list.count, 1);
    EXPECT_EQ(list.capacity, 1);
    EXPECT_EQ(list.items[0], A);
    RemoveListElement(&list, A);
    leaks.Check();
}
