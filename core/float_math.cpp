// The engine's own sine, cosine, tangent and power. C libraries round a few
// results of their float functions differently from one another, which
// showed as different frames on different systems. These use nothing but
// IEEE double additions, multiplications, divisions, rint, fmod and ldexp,
// each exact or correctly rounded everywhere, so every build gets the same
// bits; the double arithmetic makes nearly every result the correctly
// rounded float.
#include "core/float_math.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace e3d {

namespace {

// pi/2 in three parts of 33, 33 and 53 bits: k times each of the first two
// is exact for the k that reach them.
constexpr double kHalfPi1 = 0x1.921fb54400000p+0;
constexpr double kHalfPi2 = 0x1.0b4611a600000p-34;
constexpr double kHalfPi3 = 0x1.3198a2e037073p-69;
constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;
constexpr double kTwoPi = 0x1.921fb54442d18p+2;

// x = k pi/2 + r with |r| <= about pi/4; beyond 2^19 the angle is first taken
// modulo (the double nearest) 2 pi, exactly.
double Reduce(double x, int &quadrant) {
    if (std::fabs(x) > 0x1p19) x = std::fmod(x, kTwoPi);
    const double k = std::rint(x * kTwoOverPi);
    quadrant = int(int64_t(k) & 3);
    return ((x - k * kHalfPi1) - k * kHalfPi2) - k * kHalfPi3;
}

// Taylor series on |r| <= pi/4, the last terms below double precision. The
// factorials are exact doubles, so each coefficient is one rounding away.
constexpr double kInvFact[19] = {1.0,
                                 1.0,
                                 1.0 / 2.0,
                                 1.0 / 6.0,
                                 1.0 / 24.0,
                                 1.0 / 120.0,
                                 1.0 / 720.0,
                                 1.0 / 5040.0,
                                 1.0 / 40320.0,
                                 1.0 / 362880.0,
                                 1.0 / 3628800.0,
                                 1.0 / 39916800.0,
                                 1.0 / 479001600.0,
                                 1.0 / 6227020800.0,
                                 1.0 / 87178291200.0,
                                 1.0 / 1307674368000.0,
                                 1.0 / 20922789888000.0,
                                 1.0 / 355687428096000.0,
                                 1.0 / 6402373705728000.0};

// r - r^3/3! + ... - r^17/17!
double SinPoly(double r) {
    const double r2 = r * r;
    double p = kInvFact[17];
    for (int n = 15; n >= 3; n -= 2) p = p * r2 + ((n & 2) ? -kInvFact[n] : kInvFact[n]);
    return r + r * r2 * p;
}

// 1 - r^2/2! + ... + r^18/18!
double CosPoly(double r) {
    const double r2 = r * r;
    double p = -kInvFact[18];
    for (int n = 16; n >= 2; n -= 2) p = p * r2 + ((n & 2) ? -kInvFact[n] : kInvFact[n]);
    return 1.0 + r2 * p;
}

double SinDouble(double x, bool cosine) {
    int q;
    const double r = Reduce(x, q);
    if (cosine) q = (q + 1) & 3;
    switch (q) {
        case 0: return SinPoly(r);
        case 1: return CosPoly(r);
        case 2: return -SinPoly(r);
        default: return -CosPoly(r);
    }
}

constexpr double kLn2Hi = 0x1.62e42ff000000p-1;
constexpr double kLn2Lo = -0x1.718432a1b0e26p-35;
constexpr double kLog2E = 0x1.71547652b82fep+0;
constexpr double kSqrtHalf = 0x1.6a09e667f3bcdp-1;

// Natural logarithm of a positive finite double: x = m 2^e with m in
// [sqrt 1/2, sqrt 2), ln m = 2 atanh s, s = (m - 1) / (m + 1), |s| < 0.172.
double LogDouble(double x) {
    int e;
    double m = std::frexp(x, &e);  // [0.5, 1)
    if (m < kSqrtHalf) {
        m *= 2.0;
        e -= 1;
    }
    const double s = (m - 1.0) / (m + 1.0), s2 = s * s;
    double p = 1.0 / 25.0;
    for (int n = 23; n >= 3; n -= 2) p = p * s2 + 1.0 / n;
    const double lnM = 2.0 * (s + s * s2 * p);
    return double(e) * kLn2Hi + (double(e) * kLn2Lo + lnM);
}

// e^t for |t| below about 110: t = k ln2 + r, |r| <= ln2 / 2.
double ExpDouble(double t) {
    const double k = std::rint(t * kLog2E);
    const double r = (t - k * kLn2Hi) - k * kLn2Lo;
    double p = kInvFact[13];
    for (int n = 12; n >= 0; --n) p = p * r + kInvFact[n];
    return std::ldexp(p, int(k));
}

bool IsOddInteger(float y) {
    if (!(std::fabs(y) < 0x1p24f)) return false;  // larger floats are even
    const float t = std::trunc(y);
    return t == y && std::fmod(t, 2.0f) != 0.0f;
}

bool IsInteger(float y) { return std::isfinite(y) && std::trunc(y) == y; }

}  // namespace

float Sin(float x) {
    if (!std::isfinite(x)) return std::numeric_limits<float>::quiet_NaN();
    if (x == 0.0f) return x;  // keeps the sign of zero
    return float(SinDouble(double(x), false));
}

float Cos(float x) {
    if (!std::isfinite(x)) return std::numeric_limits<float>::quiet_NaN();
    return float(SinDouble(double(x), true));
}

float Tan(float x) {
    if (!std::isfinite(x)) return std::numeric_limits<float>::quiet_NaN();
    if (x == 0.0f) return x;
    int q;
    const double r = Reduce(double(x), q);
    const double s = SinPoly(r), c = CosPoly(r);
    return float((q & 1) ? -c / s : s / c);
}

float Pow(float x, float y) {
    constexpr float kInf = std::numeric_limits<float>::infinity();
    if (y == 0.0f || x == 1.0f) return 1.0f;
    if (std::isnan(x) || std::isnan(y)) return std::numeric_limits<float>::quiet_NaN();
    const bool oddY = IsOddInteger(y);
    if (x == 0.0f) {
        if (y < 0.0f) return oddY ? std::copysign(kInf, x) : kInf;
        return oddY ? x : 0.0f;
    }
    if (std::isinf(y)) {
        const float a = std::fabs(x);
        if (a == 1.0f) return 1.0f;
        return (a < 1.0f) == (y < 0.0f) ? kInf : 0.0f;
    }
    if (std::isinf(x)) {
        const float magnitude = (y < 0.0f) ? 0.0f : kInf;
        return x < 0.0f && oddY ? -magnitude : magnitude;
    }
    if (x < 0.0f && !IsInteger(y)) return std::numeric_limits<float>::quiet_NaN();
    const double t = double(y) * LogDouble(std::fabs(double(x)));
    double r;
    if (t > 89.0) r = double(kInf);
    else if (t < -104.0) r = 0.0;
    else r = ExpDouble(t);
    const float result = float(r);
    return x < 0.0f && oddY ? -result : result;
}

}  // namespace e3d
