// SSE2 intrinsics on every processor: SIMDe maps them to SSE2 itself on x86,
// to NEON on ARM and to WebAssembly SIMD in the browser, so the span writers
// have one source. Without SIMDe (an x86 machine that lacks it) the
// compiler's own header serves.
#pragma once

#if defined(E3D_HAVE_SIMDE)
#define SIMDE_ENABLE_NATIVE_ALIASES
#if defined(__AVX2__)
#include <simde/x86/avx2.h>  // the native build's wider lanes
#else
#include <simde/x86/sse2.h>
#endif
#elif defined(__AVX2__)
#include <immintrin.h>
#else
#include <emmintrin.h>
#endif
