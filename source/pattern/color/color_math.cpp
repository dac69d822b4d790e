#include "pattern/color/color_math.h"

#include <algorithm>
#include <cmath>

namespace tessaroc::pattern {

Hsl RgbToHsl(double r, double g, double b) {
  const double hi = std::max(std::max(r, g), b);
  const double lo = std::min(std::min(r, g), b);
  const double sum = lo + hi;
  const double l = sum * 0.5;
  if (0.0 >= l) return {0.0, 0.0, l};
  const double d = hi - lo;
  if (0.0 >= d) return {0.0, 0.0, l};
  const double e = 0.5 >= l ? sum : 2.0 - hi - lo;
  const double s = e != 0.0 ? d / e : d;
  const double rr = (hi - r) / d;
  const double gg = (hi - g) / d;
  const double bb = (hi - b) / d;
  double u;
  if (r == hi) {
    u = g == lo ? 5.0 + bb : 1.0 - gg;
  } else if (g == hi) {
    u = b == lo ? 1.0 + rr : 3.0 - bb;
  } else {
    u = r == lo ? 3.0 + gg : 5.0 - rr;
  }
  const double w = u * 60.0;
  const double h = 0.0 > w ? (w + 360.0) / 360.0 : w / 360.0;
  return {h, s, l};
}

namespace {
double HslCurve(double m1, double m2, double q) {
  if (q > 1.0) {
    q = q - 1.0;
  } else if (0.0 > q) {
    q = q + 1.0;
  }
  if (0.16666666666666666 > q) return (m2 - m1) * q / 0.16666666666666666 + m1;
  if (0.5 > q) return m2;
  if (0.6666666666666666 > q) return (m2 - m1) * (0.6666666666666666 - q) / 0.16666666666666666 + m1;
  return m1;
}
}  // namespace

Color HslToRgb(double h, double s, double l) {
  if (s == 0.0 || h == -1.0) return {l, l, l};
  const double m2 = 0.5 >= l ? (1.0 + s) * l : s + l - s * l;
  const double m1 = l + l - m2;
  return {HslCurve(m1, m2, h + 0.3333333333333333), HslCurve(m1, m2, h), HslCurve(m1, m2, h - 0.3333333333333333)};
}

Xyz RgbToXyz(double r, double g, double b) {
  return {0.4124529957771301 * r + 0.3575800061225891 * g + 0.18042300641536713 * b,
          0.21267099678516388 * r + 0.7151600122451782 * g + 0.0721689984202385 * b,
          0.01933399960398674 * r + 0.11919300258159637 * g + 0.9502270221710205 * b};
}

Color XyzToRgb(double x, double y, double z) {
  return {3.240478992462158 * x - 1.5371500253677368 * y - 0.49853500723838806 * z,
          -0.9692559838294983 * x + 1.8759909868240356 * y + 0.04155600070953369 * z,
          0.05564799904823303 * x - 0.20404300093650818 * y + 1.0573110580444336 * z};
}

}  // namespace tessaroc::pattern
