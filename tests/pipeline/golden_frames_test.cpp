// Golden frames of the standard scenes: frame and depth buffers of both
// passes must stay byte-for-byte what the reference renderer produced, so
// that no speed work can change a single pixel or depth value.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

#include "support/standard_scenes.h"

namespace {

using e3dscenes::Fnv1a, e3dscenes::SceneKind, e3dscenes::StandardScene;

// The small-triangle scene is a quarter of the benchmark's, for speed.
constexpr int kSmallCount = 25000;

struct Golden {
    const char *name;
    SceneKind kind;
    bool depthPass;
    uint64_t frame, depth;  // FNV-1a of the buffers; depth 0 without a buffer
    int minWritten;         // pixels that must differ from the clear value
    size_t minColours;      // distinct pixel values, clear value included
};

// Recorded from the scalar renderer (S4 from the first texture fillers); S2's
// depth buffer and S4 again when the engine took sine, cosine, tangent and
// power of its own, the same on every system. Every build agrees.
constexpr Golden kGolden[] = {
    {"S1 depth", SceneKind::FullScreenPair, true, 0xb39713153c212325, 0x6e62e33cfb342325, 640 * 480, 1},
    {"S1 painter", SceneKind::FullScreenPair, false, 0xb39713153c212325, 0, 640 * 480, 1},
    {"S2 depth", SceneKind::GouraudSphere, true, 0x60da957714aa9858, 0xf0cee49816fcc920, 40000, 200},
    {"S2 painter", SceneKind::GouraudSphere, false, 0x8427fe44fc05cb8c, 0, 40000, 200},
    {"S3 depth", SceneKind::SmallTriangles, true, 0x60884cb5622161ea, 0x0530e9a52d71ff34, 60000, 9},
    {"S3 painter", SceneKind::SmallTriangles, false, 0x06aea593a7b1d82d, 0, 60000, 9},
    {"S4 depth", SceneKind::CheckerFloor, true, 0xc2f31e57aef44f92, 0xf185ff439e6227cb, 640 * 230, 3},
    {"S4 painter", SceneKind::CheckerFloor, false, 0xc2f31e57aef44f92, 0, 640 * 230, 3},
};

void PrintTo(const Golden &g, std::ostream *os) { *os << g.name; }

class GoldenFrames : public ::testing::TestWithParam<Golden> {};

// Denormals flushed to zero, in results and (x86) operands, as 32-bit ARM's
// NEON computes and some hosts set for speed; false where the control is
// unknown.
class FlushDenormals {
public:
#if defined(__SSE__)
    FlushDenormals() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | 0x8040u); }  // FTZ | DAZ
    ~FlushDenormals() { _mm_setcsr(saved_); }
    static constexpr bool kActive = true;
#elif defined(__aarch64__)
    FlushDenormals() : saved_(unsigned(__builtin_aarch64_get_fpcr())) { __builtin_aarch64_set_fpcr(saved_ | (1u << 24)); }
    ~FlushDenormals() { __builtin_aarch64_set_fpcr(saved_); }
    static constexpr bool kActive = true;
#elif defined(__arm__) && defined(__ARM_FP)
    FlushDenormals() { asm volatile("vmrs %0, fpscr" : "=r"(saved_)); asm volatile("vmsr fpscr, %0" : : "r"(saved_ | (1u << 24))); }
    ~FlushDenormals() { asm volatile("vmsr fpscr, %0" : : "r"(saved_)); }
    static constexpr bool kActive = true;
#else
    static constexpr bool kActive = false;
#endif

private:
    [[maybe_unused]] unsigned saved_ = 0;
};

TEST_P(GoldenFrames, FrameAndDepthMatchTheRecordedHashes) {
    const Golden &g = GetParam();
    StandardScene s(g.kind, g.depthPass, 640, 480, kSmallCount);
    s.Render();
    int written = 0;
    for (uint16_t p : s.pixels) written += p != 0;
    EXPECT_GE(written, g.minWritten) << g.name;
    EXPECT_GE(std::set<uint16_t>(s.pixels.begin(), s.pixels.end()).size(), g.minColours) << g.name;
    // A second frame over the first comes out the same (the clears and
    // per-frame state leave nothing behind), and so does one with denormals
    // flushed: no frame may depend on them.
    for (int round = 0; round < (FlushDenormals::kActive ? 3 : 2); ++round) {
        std::optional<FlushDenormals> flush;
        if (round == 2) flush.emplace();
        if (round) s.Render();
        flush.reset();
        const uint64_t frame = Fnv1a(s.pixels.data(), s.pixels.size() * sizeof(uint16_t));
        const uint64_t depth = g.depthPass ? Fnv1a(s.DepthBuffer(), s.DepthCount() * sizeof(int32_t)) : 0;
        EXPECT_EQ(frame, g.frame) << g.name << " round " << round << std::hex << " frame 0x" << frame;
        EXPECT_EQ(depth, g.depth) << g.name << " round " << round << std::hex << " depth 0x" << depth;
    }
}

INSTANTIATE_TEST_SUITE_P(StandardScenes, GoldenFrames, ::testing::ValuesIn(kGolden),
                         [](const ::testing::TestParamInfo<Golden> &info) {
                             std::string n = info.param.name;
                             for (char &c : n) c = c == ' ' ? '_' : c;
                             return n;
                         });

}  // namespace
