/* Float maths pinned for the web host and its native twin. The engine calls
 * sinf, cosf, tanf and powf (sincosf where the compiler pairs them), and the
 * C libraries of the browser build and of the native build round a few
 * percent of those results differently: one last-bit change in a sphere's
 * vertex moves an edge pixel. Linking these definitions into both programs
 * makes every call the same sequence of IEEE double operations, rounded once
 * to float, so the two builds draw identical frames. Accuracy is well under
 * one float unit in the last place.
 *
 * Built with -fno-builtin so the compiler neither folds these names back into
 * library calls nor assumes library behaviour. */
#include <math.h>
#include <stdint.h>
#include <string.h>

static const double kHalfPi = 1.5707963267948966;
static const double kPio2Hi = 1.5707963267341256;     /* first 33 bits of pi/2 */
static const double kPio2Lo = 6.0771005065061922e-11; /* pi/2 - kPio2Hi */
static const double kLn2Hi = 6.93147180369123816490e-01;
static const double kLn2Lo = 1.90821492927058770002e-10;

static int IsFinite(double x) { return x - x == 0.0; }

/* sin and cos of r, |r| <= pi/4, by their Taylor series. */
static double SinKernel(double r) {
    const double r2 = r * r;
    double s = 1.0 / 6227020800.0;                 /* 1/13! */
    s = s * r2 - 1.0 / 39916800.0;
    s = s * r2 + 1.0 / 362880.0;
    s = s * r2 - 1.0 / 5040.0;
    s = s * r2 + 1.0 / 120.0;
    s = s * r2 - 1.0 / 6.0;
    return r + r * r2 * s;
}

static double CosKernel(double r) {
    const double r2 = r * r;
    double c = 1.0 / 87178291200.0; /* 1/14! */
    c = c * r2 - 1.0 / 479001600.0;
    c = c * r2 + 1.0 / 3628800.0;
    c = c * r2 - 1.0 / 40320.0;
    c = c * r2 + 1.0 / 720.0;
    c = c * r2 - 1.0 / 24.0;
    c = c * r2 + 0.5;
    return 1.0 - r2 * c;
}

/* sin and cos of x in double; the quadrant comes from x / (pi/2). */
static void SinCos(double x, double *s, double *c) {
    if (!IsFinite(x)) {
        *s = *c = x - x; /* NaN */
        return;
    }
    /* Far arguments first lose whole turns exactly; the scene never has them. */
    if (fabs(x) > 1.0e9) x = fmod(x, 4.0 * kHalfPi);
    const double k = nearbyint(x / kHalfPi);
    const double r = (x - k * kPio2Hi) - k * kPio2Lo;
    const double sr = SinKernel(r), cr = CosKernel(r);
    switch ((int)fmod(k, 4.0) & 3) {
    case 0: *s = sr; *c = cr; break;
    case 1: *s = cr; *c = -sr; break;
    case 2: *s = -sr; *c = -cr; break;
    default: *s = -cr; *c = sr; break;
    }
}

float sinf(float x) {
    double s, c;
    SinCos(x, &s, &c);
    return (float)s;
}

float cosf(float x) {
    double s, c;
    SinCos(x, &s, &c);
    return (float)c;
}

void sincosf(float x, float *s, float *c) {
    double sd, cd;
    SinCos(x, &sd, &cd);
    *s = (float)sd;
    *c = (float)cd;
}

float tanf(float x) {
    double s, c;
    SinCos(x, &s, &c);
    return (float)(s / c);
}

/* log of a finite x > 0: x = m 2^e with m in [sqrt(1/2), sqrt(2)), then
 * log m = 2 atanh((m - 1) / (m + 1)). */
static double Log(double x) {
    int e;
    double m = frexp(x, &e);
    if (m < 0.70710678118654752) {
        m *= 2.0;
        --e;
    }
    const double s = (m - 1.0) / (m + 1.0), s2 = s * s;
    double t = 1.0 / 23.0;
    for (int k = 21; k >= 1; k -= 2) t = t * s2 + 1.0 / k;
    return (double)e * kLn2Hi + ((double)e * kLn2Lo + 2.0 * s * t);
}

/* e^z: z = k ln2 + r with |r| <= ln2 / 2, e^r by its Taylor series. */
static double Exp(double z) {
    if (z > 710.0) return HUGE_VAL;
    if (z < -760.0) return 0.0;
    const double k = nearbyint(z / (kLn2Hi + kLn2Lo));
    const double r = (z - k * kLn2Hi) - k * kLn2Lo;
    double t = 1.0;
    for (int n = 17; n >= 1; --n) t = t * r / n + 1.0;
    return ldexp(t, (int)k);
}

static int IsOddInteger(double y) { return fabs(y) < 9007199254740992.0 && y == nearbyint(y) && fmod(y, 2.0) != 0.0; }

float powf(float xf, float yf) {
    const double x = xf, y = yf;
    if (y == 0.0 || x == 1.0) return 1.0f;
    if (x != x || y != y) return (float)(x + y);
    const int odd = IsOddInteger(y);
    if (x == 0.0) {
        const double r = y > 0.0 ? 0.0 : HUGE_VAL;
        return (float)(odd && signbit(x) ? -r : r);
    }
    const double ax = fabs(x);
    if (!IsFinite(y)) {
        if (ax == 1.0) return 1.0f;
        return (float)((ax < 1.0) == (y < 0.0) ? HUGE_VAL : 0.0);
    }
    if (x < 0.0 && y != nearbyint(y)) return (float)((x - x) / (x - x)); /* NaN */
    const double r = IsFinite(ax) ? Exp(y * Log(ax)) : (y > 0.0 ? HUGE_VAL : 0.0);
    return (float)(x < 0.0 && odd ? -r : r);
}
