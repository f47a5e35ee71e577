// Shared by the scene tests: headers, random records, frames and deletion.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

namespace e3dtest {

// Random bytes, so that a stray write shows.
template <class T>
T Noise(std::mt19937 &rng) {
    T r;
    auto *bytes = reinterpret_cast<unsigned char *>(&r);
    for (size_t i = 0; i < sizeof r; ++i) bytes[i] = static_cast<unsigned char>(rng());
    return r;
}

template <class T>
::testing::AssertionResult SameBytes(const T &a, const T &b) {
    for (size_t i = 0; i < sizeof a; ++i)
        if (reinterpret_cast<const unsigned char *>(&a)[i] != reinterpret_cast<const unsigned char *>(&b)[i])
            return ::testing::AssertionFailure() << "byte " << i << " differs";
    return ::testing::AssertionSuccess();
}

// Mostly ordinary levels, sometimes a signed zero, a clamp edge or a non-finite one.
inline float RandomLevel(std::mt19937 &rng) {
    const float special[] = {0.0f, -0.0f, 255.0f, 255.5f, -1e-30f, NAN, INFINITY, -INFINITY};
    return rng() % 3 ? std::ldexp(float(int32_t(rng())), -23) : special[rng() % 8];
}

// A fresh frame of the stage's scene; the guard rows must stay untouched.
inline std::vector<uint16_t> Frame(Stage &s) {
    std::fill(s.pixels.begin(), s.pixels.end(), kBackground);
    ClearViewportDepthBuffer(s.viewport, 0);
    DrawScene(s.scene);
    EXPECT_TRUE(s.GuardsIntact());
    return s.pixels;
}

inline void Delete(E3DMesh *m) { DeleteMesh(m); }
inline void Delete(E3DCamera *c) { DeleteCamera(c); }
inline void Delete(E3DScene *s) { DeleteScene(s); }
inline void Delete(E3DLight *l) { DeleteLight(l); }
template <class... T>
void DeleteAll(T *...objects) {
    (Delete(objects), ...);
}

}  // namespace e3dtest
