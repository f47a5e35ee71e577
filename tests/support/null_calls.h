// The tables tests/null_calls.cmake writes from the public header: one entry
// per export, with a call passing zero for every argument (null for every
// pointer), or no call when the export takes no pointer; and for exports with
// several pointers, one call per pointer left null while the others are live.
#pragma once

#include <cstdint>
#include <tuple>
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

// The objects the live pointers of a call point at, one of each pointer type
// the header takes: a new pointer type fails to compile until it is added.
using LiveObjects = std::tuple<E3DBVSphere *, E3DBone *, E3DCamera *, E3DLight *, E3DList *, E3DMaterial *, E3DMesh *,
                               E3DNode *, E3DPolygon *, E3DScene *, E3DSkeleton *, E3DTexture *, E3DVertex *,
                               E3DViewport *, char *, float *, int32_t *, uint32_t *, uint16_t *, void *>;
extern LiveObjects g_live;

struct Live {
    template <class T>
    operator T *() const {
        return std::get<std::remove_const_t<T> *>(g_live);
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
