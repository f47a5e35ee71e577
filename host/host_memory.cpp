// Host support library: malloc-backed blocks with a small header that keeps
// the requested size, so the library can account live blocks and bytes.
#include "e3dhost.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t kMagicLive = 0xE3D0A11Cu;
constexpr uint32_t kMagicFreed = 0xE3D0DEADu;

// 16 bytes keeps every block 16-byte aligned on both 32- and 64-bit hosts.
struct alignas(16) BlockHeader {
    uint32_t magic;
    uint32_t size;
};
static_assert(sizeof(BlockHeader) == 16);

HostMemoryStats g_stats{};
int32_t g_failCountdown = 0;

}  // namespace

extern "C" void *AllocateMemory(uint32_t size) {
    if (g_failCountdown > 0 && --g_failCountdown == 0) {
        ++g_stats.failedAllocations;
        return nullptr;
    }
    auto *header = static_cast<BlockHeader *>(std::malloc(sizeof(BlockHeader) + size_t(size)));
    if (!header) {
        ++g_stats.failedAllocations;
        return nullptr;
    }
    header->magic = kMagicLive;
    header->size = size;
    ++g_stats.liveBlocks;
    g_stats.liveBytes += size;
    ++g_stats.allocations;
    return header + 1;
}

extern "C" void FreeMemory(void *block) {
    if (!block) return;
    BlockHeader *header = static_cast<BlockHeader *>(block) - 1;
    // A foreign or twice-freed pointer is a host bug; stop before the heap is corrupted.
    if (header->magic != kMagicLive) std::abort();
    header->magic = kMagicFreed;
    --g_stats.liveBlocks;
    g_stats.liveBytes -= header->size;
    std::free(header);
}

extern "C" int32_t ProcessorGetType(void) {
#if defined(__i386__) || defined(__x86_64__)
    return __builtin_cpu_supports("sse2") ? 6 : 5;
#else
    return 0;
#endif
}

extern "C" void HostMemoryGetStats(HostMemoryStats *stats) {
    if (stats) *stats = g_stats;
}

extern "C" void HostMemoryFailNth(int32_t k) { g_failCountdown = k > 0 ? k : 0; }

extern "C" int32_t HostMemoryPendingFailure(void) { return g_failCountdown; }
