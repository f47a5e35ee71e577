// DrawTriangle2D against the flat solid filler, and the post-effect overlay.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/view.h"
#include "pipeline/draw2d.h"
#include "raster/pixel.h"
#include "support/line_model.h"

using namespace e3d;
using namespace e3dtest;

namespace {

constexpr uint16_t kPaper = 0x0C63;

// A caller's triangle with out-codes against the whole w x h buffer.
struct Triangle2D {
    E3DVertex v[3]{};
    E3DPolygon p{};
    E3DMaterial m{};
    Triangle2D(const float (&x)[3], const float (&y)[3], float w, float h, bool back) {
        for (int i = 0; i < 3; ++i) {
            v[i].screenX = x[i], v[i].screenY = y[i], v[i].invDepth = 0.5f;
            v[i].clipCode = (x[i] < 0 ? 0x40u : 0) | (x[i] > w ? 0x80u : 0) | (y[i] < 0 ? 0x100u : 0) | (y[i] > h ? 0x200u : 0);
            p.vertex[i] = 2 - i;  // indices need not be in order
        }
        p.flags = back ? 0x80u : 0u, p.color = 0x00FF8040, p.material = p.backMaterial = &m;
    }
};

}  // namespace

TEST(DrawTriangle2D, DrawsTheFlatSolidPixelsInsideTheScissor) {
    // Random triangles inside the buffer, and right triangles on whole
    // pixels with legs along the axes and hypotenuse slopes of 1/2, 1 or 2
    // across its edges (the clipped fan then covers exactly the clipped
    // coverage): the flat solid filler's pixels within the buffer, no more.
    std::mt19937 rng(52);
    std::uniform_real_distribution<float> x(0.0f, 64.0f), y(0.0f, 48.0f);
    std::uniform_int_distribution<int> corner(-30, 90), size(4, 60), pick(0, 7);
    int inside = 0, crossing = 0;
    for (int round = 0; round < 700; ++round) {
        const int ax = corner(rng), ay = corner(rng) - 10, k = size(rng), shape = pick(rng);
        const int kx = (shape & 1) ? 2 * k : k, ky = (shape & 2) ? 2 * k : k, sx = (shape & 4) ? -1 : 1;
        const bool random = round < 300;
        const float xs[3] = {random ? x(rng) : float(ax), random ? x(rng) : float(ax + sx * kx), random ? x(rng) : float(ax)};
        const float ys[3] = {random ? y(rng) : float(ay), random ? y(rng) : float(ay),
                             random ? y(rng) : float(ay + ((round & 1) ? -ky : ky))};
        Triangle2D t(xs, ys, 64, 48, round & 1);
        t.m.mode = (round & 2) ? 0x00F00007u : 0x00700001u;  // a textured Gouraud material changes nothing
        LineCanvas ref(64, 48, false, kPaper);
        FlatSolidTriangle(&t.p, t.v);
        const std::map<Pixel, uint16_t> expected = ref.Changed(kPaper);
        LineCanvas c(64, 48, false, kPaper), other(4, 4);  // the current viewport, to be restored
        DrawTriangle2D(&t.p, t.v, c.viewport);
        EXPECT_EQ(CurrentViewport(), other.viewport);
        ASSERT_TRUE(c.Changed(kPaper) == expected && c.GuardsIntact()) << round;
        (random ? inside : crossing) += !expected.empty() && (random || (t.v[0].clipCode | t.v[1].clipCode | t.v[2].clipCode));
    }
    EXPECT_TRUE(inside > 100 && crossing > 60) << inside << " " << crossing;
}

TEST(DrawTriangle2D, MaterialsCodesAndWildCorners) {
    // Without a material on the drawn side nothing is drawn; the back side
    // is drawn with the corners turned the other way round.
    const float xs[2][2][3] = {{{5, 50, 20}, {20, 50, 5}}, {{-20, 50, 20}, {20, 50, -20}}};
    const float ys[2][2][3] = {{{5, 10, 40}, {40, 10, 5}}, {{5, 10, 60}, {60, 10, 5}}};
    for (int crossing : {0, 1})
        for (int back : {0, 1})
            for (bool drawnSideMissing : {true, false}) {
                Triangle2D t(xs[crossing][back], ys[crossing][back], 64, 48, back);
                (back == drawnSideMissing ? t.p.backMaterial : t.p.material) = nullptr;
                LineCanvas c(64, 48, false, kPaper);
                DrawTriangle2D(&t.p, t.v, c.viewport);
                EXPECT_EQ(c.Changed(kPaper).empty(), drawnSideMissing) << crossing << back;
            }
    // Codes are the caller's word: a corner marked inside is not clipped,
    // even beyond the scissor; a marked one is clipped at the scissor.
    LineCanvas c(40, 30, false, kPaper);
    c.Scissor(2, 38, 3, 27);
    const float px[3] = {10, 39.5f, 10}, py[3] = {10, 10, 25};
    Triangle2D plain(px, py, 40, 30, false);
    EXPECT_NE((DrawTriangle2D(&plain.p, plain.v, c.viewport), c.At(38, 10)), kPaper);
    c.Clear(kPaper);
    plain.v[1].clipCode = 0x80;
    DrawTriangle2D(&plain.p, plain.v, c.viewport);
    EXPECT_TRUE(c.At(38, 10) == kPaper && c.At(37, 10) != kPaper);
    const float wild[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, -5.0f, 20.0f, 45.0f, 1e9f};
    std::mt19937 rng(53);
    std::uniform_int_distribution<int> pick(0, int(std::size(wild)) - 1);
    c.Clear(kPaper);
    for (int round = 0; round < 2000; ++round) {
        const float wx[3] = {wild[pick(rng)], wild[pick(rng)], wild[pick(rng)]};
        const float wy[3] = {wild[pick(rng)], wild[pick(rng)], wild[pick(rng)]};
        Triangle2D w(wx, wy, 40, 30, round & 1);
        for (auto &v : w.v) v.clipCode = (round & 2) ? 0x3C0u : v.clipCode;  // codes may lie, too
        DrawTriangle2D(&w.p, w.v, c.viewport);
    }
    EXPECT_TRUE(c.GuardsIntact() && !c.Changed(kPaper).empty());
}

TEST(PostEffects, OverlayCoversTheScissorOnceAndTheSlotChoiceIsSticky) {
    LineCanvas c(48, 32, true, kPaper);
    c.Scissor(4, 40, 6, 26);
    EXPECT_TRUE((DrawViewportPostFX(c.viewport), c.Changed(kPaper).empty())) << "no material: untouched";
    E3DMaterial m{};
    m.mode = 0x00700001u;
    SetMaterialColor(&m, 0, 255.0f, 128.0f, 200.0f), SetViewportMaterial(c.viewport, &m);  // 5-5-5: 31, 16, 25
    for (int i = 0; i < 48 * 32; ++i) c.viewport->depthBuffer[i] = 0x7FFFFFFF;  // the sorted column ignores it
    LineCanvas other(4, 4);  // the current viewport, to be restored
    EXPECT_EQ((DrawViewportPostFX(c.viewport), CurrentViewport()), other.viewport);
    for (int i = 0; i < 48 * 32; ++i)
        ASSERT_EQ(c.At(i % 48, i / 48), (i % 48 >= 4 && i % 48 < 40 && i / 48 >= 6 && i / 48 < 26) ? 0x7E19 : kPaper) << i;
    EXPECT_EQ(c.DepthAt(10, 10), 0x7FFFFFFF);
    // Through the additive operator each pixel shows one write: the two
    // triangles share their diagonal without overlap.
    c.Clear(kPaper);
    m.alphaMode = 1;
    SetMaterialColor(&m, 0, 300.0f, -4.0f, 8.9f), DrawViewportPostFX(c.viewport);  // held to 0..255, truncated: (255, 0, 8)
    const auto changed = c.Changed(kPaper);
    EXPECT_EQ(changed.size(), 36u * 20u);
    for (const auto &[pixel, value] : changed) ASSERT_EQ(value, AddPixels(0x7C01, kPaper)) << pixel.first << "," << pixel.second;
    const uint32_t steps[][2] = {{0x1000000, 1}, {0x2000000, 1}, {0, 1}, {0x800000, 0}, {0x4000000, 0}, {0x1000000, 1}};
    for (const auto &step : steps) {
        m.mode = 0x00700001u | step[0];
        DrawViewportPostFX(c.viewport);
        EXPECT_EQ(uint32_t(g_overlaySlot), step[1]) << std::hex << step[0];
    }
    SetViewportMaterial(c.viewport, nullptr), DrawViewportPostFX(c.viewport);
    EXPECT_EQ(g_overlaySlot, 1) << "without a material the choice stays";
}
