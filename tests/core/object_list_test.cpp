// Object lists: exact one-slot growth and the removal quirks callers rely on.
#include <gtest/gtest.h>

#include <vector>

#include "engine3d.h"
#include "support/memory_check.h"

TEST(ObjectList, GrowthRemovalQuirksAndFailedGrowth) {
    int objects[5];
    void *const A = &objects[0], *const B = &objects[1], *const C = &objects[2], *const D = &objects[3], *const E = &objects[4];
    using Items = std::vector<void *>;
    auto items = [](const E3DList &l) { return Items(l.items, l.items + l.count); };
    e3dtest::LeakCheck leaks;
    E3DList list{};
    EXPECT_EQ(GetListElementIndex(&list, A), -1);
    for (void *e : {A, B, A, C}) AddListElement(&list, e);  // duplicates are kept
    EXPECT_EQ(leaks.AllocationsSince(), 4) << "one reallocation per append";
    EXPECT_EQ(list.capacity, 4);
    EXPECT_TRUE(GetListElementIndex(&list, A) == 0 && GetListElementIndex(&list, C) == 3 && GetListElementIndex(&list, D) == -1);
    // Both copies compacted out, the count down by one: the last slot is stale.
    RemoveListElement(&list, A);
    EXPECT_EQ(items(list), (Items{B, C, A}));
    AddListElement(&list, D);  // a free slot: no allocation
    EXPECT_EQ(leaks.AllocationsSince(), 4);
    EXPECT_EQ(items(list), (Items{B, C, A, D}));
    RemoveListElement(&list, E);  // absent: the last entry still goes
    EXPECT_EQ(items(list), (Items{B, C, A}));
    RemoveListElement(&list, A);
    EXPECT_EQ(items(list), (Items{B, C}));
    EXPECT_EQ(list.capacity, 4);
    RemoveListElement(&list, B);
    RemoveListElement(&list, E);  // a single entry goes whatever is named
    EXPECT_TRUE(list.count == 0 && list.capacity == 0 && list.items == nullptr);
    // A growth that cannot be had leaves the list as it was.
    AddListElement(&list, C);
    HostMemoryFailNth(1);
    AddListElement(&list, B);
    HostMemoryFailNth(0);
    EXPECT_TRUE(items(list) == Items{C} && list.capacity == 1);
    RemoveListElement(&list, C);
    list.count = 5;
    InitList(&list);
    EXPECT_TRUE(list.count == 0 && list.capacity == 0 && !list.items);
    leaks.Check();
}
