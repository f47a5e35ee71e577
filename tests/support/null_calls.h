// The tables tests/null_calls.cmake writes from the public header: one entry
// per export, with a call passing zero for every argument (null for every
// pointer), or no call when the export takes no pointer; and for exports with
// several pointers, one call per pointer left null while the others are live.
#pragma once

#include <cstdint>
#include <type_traits>

#include "engine3d.h"

namespace e3dtest {

struct NullResult {
    enum Kind { kVoid, kPointer, kNumber } kind;
    bool isNull;
    double number;
};

template <class F>
NullResult Observe(F call) {
    using R = decltype(call());
    if constexpr (std::is_void_v<R>) {
        call();
        return {NullResult::kVoid, false, 0};
    } else if constexpr (std::is_pointer_v<R>) {
        return {NullResult::kPointer, call() == nullptr, 0};
    } else {
        return {NullResult::kNumber, false, double(call())};
    }
}

struct NullCall {
    const char *name;
    NullResult (*call)();
};

extern const NullCall kNullCalls[];
extern const int kNullCallCount;

// Live objects by type, defined where the calls are made. A pointer type
// without one here fails to compile, so a new export cannot slip past.
template <class T>
struct Tag {};
E3DBVSphere *LiveObject(Tag<E3DBVSphere>);
E3DBone *LiveObject(Tag<E3DBone>);
E3DCamera *LiveObject(Tag<E3DCamera>);
E3DLight *LiveObject(Tag<E3DLight>);
E3DList *LiveObject(Tag<E3DList>);
E3DMaterial *LiveObject(Tag<E3DMaterial>);
E3DMesh *LiveObject(Tag<E3DMesh>);
E3DNode *LiveObject(Tag<E3DNode>);
E3DPolygon *LiveObject(Tag<E3DPolygon>);
E3DScene *LiveObject(Tag<E3DScene>);
E3DSkeleton *LiveObject(Tag<E3DSkeleton>);
E3DTexture *LiveObject(Tag<E3DTexture>);
E3DVertex *LiveObject(Tag<E3DVertex>);
E3DViewport *LiveObject(Tag<E3DViewport>);
char *LiveObject(Tag<char>);
float *LiveObject(Tag<float>);
int32_t *LiveObject(Tag<int32_t>);
uint32_t *LiveObject(Tag<uint32_t>);
uint16_t *LiveObject(Tag<uint16_t>);
void *LiveObject(Tag<void>);

struct Live {
    template <class T>
    operator T *() const {
        return LiveObject(Tag<std::remove_const_t<T>>{});
    }
};

struct MixedCall {
    const char *name;
    int nulled;  // the parameter left null
    NullResult (*call)();
};

extern const MixedCall kMixedCalls[];
extern const int kMixedCallCount;

}  // namespace e3dtest
