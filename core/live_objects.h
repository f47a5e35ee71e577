// The engine's chains of live meshes, materials and viewports. A delete walks
// them to find every record that still names what goes away, so nothing is
// left pointing at freed memory. The links take no allocation of their own
// (a create that succeeds is never failed by the chain): a mesh keeps them in
// its record, a material or a viewport directly behind its record, in the
// same block.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine3d.h"

namespace e3d {

enum LiveKind { kLiveMesh, kLiveMaterial, kLiveViewport, kLiveKinds };

struct LiveLinks {
    void *prev;
    void *next;
};

constexpr size_t AlignedTo(size_t n, size_t a) { return (n + a - 1) / a * a; }

// Bytes of the block that holds a material or a viewport and its links; a
// viewport's block also remembers the frame buffer the engine allocated for
// it, so that only that buffer is ever freed with it.
constexpr size_t kMaterialBlockBytes = AlignedTo(sizeof(E3DMaterial), alignof(LiveLinks)) + sizeof(LiveLinks);
constexpr size_t kViewportBlockBytes =
    AlignedTo(sizeof(E3DViewport), alignof(LiveLinks)) + sizeof(LiveLinks) + sizeof(uint16_t *);

inline uint16_t *&OwnedFrameOf(E3DViewport *v) {
    char *behind = reinterpret_cast<char *>(v) + AlignedTo(sizeof(E3DViewport), alignof(LiveLinks)) + sizeof(LiveLinks);
    return *reinterpret_cast<uint16_t **>(behind);
}

void LinkLive(LiveKind kind, void *record);
void UnlinkLive(LiveKind kind, void *record);
// Whether `record` is on the chain (a walk: deletes use it, not draws).
bool IsLive(LiveKind kind, const void *record);
void *FirstLive(LiveKind kind);
void *NextLive(LiveKind kind, const void *record);

// Calls f on every live record of the kind; f may unlink the record it is given.
template <class T, class F>
void ForEachLive(LiveKind kind, F f) {
    for (void *p = FirstLive(kind); p;) {
        void *next = NextLive(kind, p);
        f(static_cast<T *>(p));
        p = next;
    }
}

}  // namespace e3d
