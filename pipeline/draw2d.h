// 2D drawing state that outlives a call.
#pragma once

namespace e3d {

// The texture slot of the last overlay whose mode named slot 0 or 1; kept
// across DrawViewportPostFX calls on purpose.
extern int g_overlaySlot;

}  // namespace e3d
