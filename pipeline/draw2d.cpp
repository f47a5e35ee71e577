// Drawing straight into a viewport without a scene: lines, screen-space
// triangles and the post-effect overlay. Each borrows the current viewport
// and restores it.
#include "engine3d.h"

#include "pipeline/view.h"
#include "raster/raster.h"
#include "raster/wire.h"

namespace e3d {

namespace {

// The borrowed draw context, restored when the draw is done.
class BorrowedContext {
public:
    explicit BorrowedContext(E3DViewport *viewport) : viewport_(CurrentViewport()), camera_(CurrentCamera()) {
        SetRasterContext(viewport, nullptr);
    }
    ~BorrowedContext() { SetRasterContext(viewport_, camera_); }
    BorrowedContext(const BorrowedContext &) = delete;
    BorrowedContext &operator=(const BorrowedContext &) = delete;

private:
    E3DViewport *viewport_;
    E3DCamera *camera_;
};

}  // namespace

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API void DrawLine2D(E3DViewport *viewport, float x0, float y0, float x1, float y1, uint32_t colour) {
    if (!viewport) return;
    BorrowedContext borrowed(viewport);
    LoadClipBounds(viewport);
    DrawFlatLine(x0, y0, x1, y1, colour);
}
