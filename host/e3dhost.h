/* Engine3D host support library: the memory and processor services the
 * engine imports, plus accounting hooks that test programs use to prove
 * that nothing leaks and that failed allocations are cleaned up. */
#ifndef E3DHOST_H
#define E3DHOST_H

#include <stdint.h>

#if defined(_WIN32) && defined(E3DHOST_BUILDING)
#define E3DHOST_API __declspec(dllexport)
#elif defined(_WIN32)
#define E3DHOST_API __declspec(dllimport)
#elif defined(E3DHOST_BUILDING)
#define E3DHOST_API __attribute__((visibility("default")))
#else
#define E3DHOST_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A block of `size` bytes (contents undefined), or NULL. Size 0 gives a
 * distinct, freeable block. */
E3DHOST_API void *AllocateMemory(uint32_t size);
/* Releases a block from AllocateMemory. NULL is ignored. */
E3DHOST_API void FreeMemory(void *block);
/* A processor type code: 6 for an SSE2-capable x86, 5 otherwise. */
E3DHOST_API int32_t ProcessorGetType(void);

/* ---- accounting, for tests -------------------------------------------- */
typedef struct HostMemoryStats {
    int64_t liveBlocks;       /* blocks allocated and not yet freed */
    int64_t liveBytes;        /* bytes in those blocks, as requested */
    int64_t allocations;      /* successful AllocateMemory calls so far */
    int64_t failedAllocations; /* calls answered with NULL so far */
} HostMemoryStats;

E3DHOST_API void HostMemoryGetStats(HostMemoryStats *stats);
/* Makes the k-th AllocateMemory call from now on (k >= 1) return NULL once;
 * k <= 0 cancels a pending failure. */
E3DHOST_API void HostMemoryFailNth(int32_t k);
/* Calls to AllocateMemory still to come before the pending failure, or 0
 * when none is pending (so a test can tell whether the failure was used). */
E3DHOST_API int32_t HostMemoryPendingFailure(void);

#ifdef __cplusplus
}
#endif

#endif
