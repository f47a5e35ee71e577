/* The pinned float maths of the web host against the C library's double
 * functions rounded to float: at most one unit in the last place apart, and
 * almost always equal, over a sweep of arguments; C99 special cases of powf
 * exactly. Linked on its own: inside engine3d_tests these definitions would
 * replace the C library's for the engine too. */
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

void sincosf(float x, float *s, float *c);

static int failures = 0;

static int32_t Ordered(float f) {
    int32_t i;
    memcpy(&i, &f, sizeof i);
    return i < 0 ? INT32_MIN - i : i;
}

/* Tallies a result against its reference; more than one ulp is a failure. */
static void Compare(const char *what, float x, float y, float got, float want, long *unequal) {
    if (isnan(want) && isnan(got)) return;
    if (got == want && signbit(got) == signbit(want)) return;
    ++*unequal;
    const int64_t ulps = (int64_t)Ordered(got) - (int64_t)Ordered(want);
    if (isnan(got) || isnan(want) || ulps > 1 || ulps < -1) {
        if (++failures <= 10) printf("%s(%a, %a) = %a, expected %a\n", what, x, y, got, want);
    }
}

int main(void) {
    long sinOff = 0, cosOff = 0, tanOff = 0, powOff = 0, n = 0;
    /* Angles as the generators, the camera and the orbit use them, and far ones. */
    for (int32_t i = -3000000; i <= 3000000; ++i, ++n) {
        const float x = (float)i * 1.3e-5f * (i % 7 == 0 ? 300.0f : 1.0f);
        const float s = sinf(x), c = cosf(x);
        Compare("sinf", x, 0, s, (float)sin((double)x), &sinOff);
        Compare("cosf", x, 0, c, (float)cos((double)x), &cosOff);
        Compare("tanf", x, 0, tanf(x), (float)tan((double)x), &tanOff);
        float s2, c2;
        sincosf(x, &s2, &c2);
        if (s2 != s || c2 != c) ++failures;
    }
    /* Specular powers: bases in [0, 1] and beyond, shininess-like exponents,
     * negative bases with whole exponents. */
    for (int32_t i = 0; i <= 2000000; ++i) {
        const float x = (float)(i - 200000) * 2e-6f, y = (float)(i % 200) * 0.75f - 20.0f;
        Compare("powf", x, y, powf(x, y), (float)pow((double)x, (double)y), &powOff);
    }
    const float inf = INFINITY, nan = NAN;
    const float special[][2] = {{0.0f, 2.0f}, {-0.0f, 3.0f}, {-0.0f, -3.0f}, {0.0f, -2.0f}, {-2.0f, 3.0f},
                                {-2.0f, 0.5f}, {1.0f, nan}, {nan, 0.0f}, {nan, 2.0f}, {2.0f, inf},
                                {0.5f, inf},   {2.0f, -inf}, {-1.0f, inf}, {inf, 2.0f}, {inf, -2.0f},
                                {-inf, 3.0f},  {-inf, 2.0f}, {1e30f, 2.0f}, {1e-30f, 2.0f}, {3.0f, 200.0f}};
    for (size_t k = 0; k < sizeof special / sizeof special[0]; ++k) {
        const float x = special[k][0], y = special[k][1];
        const float got = powf(x, y), want = (float)pow((double)x, (double)y);
        if (!(isnan(got) && isnan(want)) && !(got == want && signbit(got) == signbit(want))) {
            ++failures;
            printf("powf(%a, %a) = %a, expected %a\n", x, y, got, want);
        }
    }
    if (!isnan(sinf(inf)) || !isnan(cosf(-inf)) || !isnan(tanf(nan))) ++failures;
    printf("%ld angles: sinf %ld, cosf %ld, tanf %ld off by one ulp; 2000001 powers: %ld\n", n, sinOff, cosOff,
           tanOff, powOff);
    /* Near-correct rounding: off-by-one results stay rare. */
    if (sinOff + cosOff + tanOff > n / 100000 || powOff > 2000000 / 100000) ++failures;
    return failures ? 1 : 0;
}
