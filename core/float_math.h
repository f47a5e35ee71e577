// Sine, cosine and tangent of radians, and power, for every build alike
// (core/float_math.cpp says why).
#pragma once

namespace e3d {

float Sin(float x);
float Cos(float x);
float Tan(float x);
float Pow(float x, float y);

}  // namespace e3d
