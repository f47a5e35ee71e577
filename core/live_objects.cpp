// Doubly linked chains through links that live in (or right behind) each record.
#include "core/live_objects.h"

#include "core/engine_state.h"

namespace e3d {

namespace {

LiveLinks *Links(LiveKind kind, const void *record) {
    auto *bytes = const_cast<char *>(static_cast<const char *>(record));
    switch (kind) {
    case kLiveMesh:
        return reinterpret_cast<LiveLinks *>(bytes + offsetof(E3DMesh, livePrev));
    case kLiveMaterial:
        return reinterpret_cast<LiveLinks *>(bytes + AlignedTo(sizeof(E3DMaterial), alignof(LiveLinks)));
    default:
        return reinterpret_cast<LiveLinks *>(bytes + AlignedTo(sizeof(E3DViewport), alignof(LiveLinks)));
    }
}

static_assert(offsetof(E3DMesh, liveNext) == offsetof(E3DMesh, livePrev) + sizeof(void *));

}  // namespace

void LinkLive(LiveKind kind, void *record) {
    LiveLinks *l = Links(kind, record);
    l->prev = nullptr;
    l->next = g_engine.liveHeads[kind];
    if (l->next) Links(kind, l->next)->prev = record;
    g_engine.liveHeads[kind] = record;
}

void UnlinkLive(LiveKind kind, void *record) {
    LiveLinks *l = Links(kind, record);
    if (l->prev) Links(kind, l->prev)->next = l->next;
    else if (g_engine.liveHeads[kind] == record) g_engine.liveHeads[kind] = l->next;
    else return;  // never linked
    if (l->next) Links(kind, l->next)->prev = l->prev;
    l->prev = l->next = nullptr;
}

bool IsLive(LiveKind kind, const void *record) {
    if (!record) return false;
    for (void *p = g_engine.liveHeads[kind]; p; p = Links(kind, p)->next) {
        if (p == record) return true;
    }
    return false;
}

void *FirstLive(LiveKind kind) { return g_engine.liveHeads[kind]; }
void *NextLive(LiveKind kind, const void *record) { return Links(kind, record)->next; }

}  // namespace e3d
