// Helpers over the host library's counting, failure-injecting allocator.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "e3dhost.h"
#include "engine3d.h"

namespace e3dtest {

inline HostMemoryStats MemoryStats() {
    HostMemoryStats s{};
    HostMemoryGetStats(&s);
    return s;
}

// Records the live blocks and bytes at construction; Check() expects them
// unchanged. The sort's shared scratch array is engine state, not a leak: it
// is released on both sides of the comparison.
class LeakCheck {
public:
    LeakCheck() : start_((ReleaseRadixSort(), MemoryStats())) {}
    void Check() const {
        ReleaseRadixSort();
        const HostMemoryStats now = MemoryStats();
        EXPECT_EQ(now.liveBlocks, start_.liveBlocks) << "blocks leaked";
        EXPECT_EQ(now.liveBytes, start_.liveBytes) << "bytes leaked";
    }
    int64_t AllocationsSince() const { return MemoryStats().allocations - start_.allocations; }

private:
    HostMemoryStats start_;
};

// Runs `attempt` once with the k-th allocation failing, for k = 1, 2, ...
// until a run makes fewer than k allocations. `attempt` returns what it
// created (or null) and `release` frees a non-null result. After every run
// nothing may be left allocated; `nullOnFailure` also demands a null result
// (set it false where a failed allocation is allowed to be survived, like the
// sort's scratch array). Returns the number of failure points exercised.
template <class T>
int ForEachAllocationFailure(const std::function<T *()> &attempt, const std::function<void(T *)> &release,
                             bool nullOnFailure = true) {
    int k = 1;
    for (;; ++k) {
        LeakCheck leaks;
        HostMemoryFailNth(k);
        T *made = attempt();
        const bool failureUsed = HostMemoryPendingFailure() == 0;
        HostMemoryFailNth(0);
        if (made) release(made);
        leaks.Check();
        if (!failureUsed) break;
        if (nullOnFailure) {
            EXPECT_EQ(made, nullptr) << "allocation " << k << " failed but a result came back";
        }
        if (::testing::Test::HasFailure()) break;
    }
    return k - 1;
}

}  // namespace e3dtest
