#include "host/texture/box_filter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "tessaroc/core/shading_context.h"

namespace tessaroc::host::texture {

SummedAreaTable SummedAreaTable::Build(const float* pixels, int width, int height, int channels) {
  SummedAreaTable t{width, height, channels, {}};
  const size_t W = static_cast<size_t>(width), H = static_cast<size_t>(height), C = static_cast<size_t>(channels);
  std::vector<double>& sat = t.sums;
  sat.assign((W + 1) * (H + 1) * C, 0.0);
  for (size_t y = 0; y < H; ++y) {
    std::vector<double> row(C, 0.0);
    for (size_t x = 0; x < W; ++x) {
      for (size_t c = 0; c < C; ++c) {
        row[c] += pixels[(y * W + x) * C + c];
        sat[((y + 1) * (W + 1) + x + 1) * C + c] = sat[(y * (W + 1) + x + 1) * C + c] + row[c];
      }
    }
  }
  return t;
}

namespace {

// The integral over [0, x] of a line of n pixels extended by a wrap mode, as
// terms coef * G(at) of the integral G of the unwrapped line, 0 <= at <= n.
struct Term {
  double coef;
  double at;
};

int Decompose(double x, double n, uint8_t wrap, Term out[3]) {
  switch (wrap) {
    case kWrapClamp:  // nothing outside
      out[0] = {1, std::clamp(x, 0.0, n)};
      return 1;
    case kWrapRepeat: {
      const double k = std::floor(x / n);
      out[0] = {k, n};
      out[1] = {1, std::clamp(x - k * n, 0.0, n)};
      return 2;
    }
    case kWrapMirror: {  // period 2n, the second half reversed
      const double p = 2 * n;
      const double k = std::floor(x / p);
      const double r = std::clamp(x - k * p, 0.0, p);
      out[0] = {2 * k, n};
      if (r <= n) {
        out[1] = {1, r};
        return 2;
      }
      out[1] = {2, n};
      out[2] = {-1, p - r};
      return 3;
    }
    default:  // extend, and unknown codes: the edge pixels go on
      if (x < 0) {
        out[0] = {x, 1};
        return 1;
      }
      if (x <= n) {
        out[0] = {1, x};
        return 1;
      }
      out[0] = {1, n};
      out[1] = {x - n, n};
      out[2] = {n - x, n - 1};
      return 3;
  }
}

// The integral of channel c over [0, x] x [0, y] inside the image: bilinear
// in the table, since the image is constant over each pixel.
double TableIntegral(const SummedAreaTable& t, int c, double x, double y) {
  const std::vector<double>& sat = t.sums;
  const int W = t.width, H = t.height, C = t.channels;
  const int ix = std::min(static_cast<int>(x), W - 1);
  const int iy = std::min(static_cast<int>(y), H - 1);
  const double fx = x - ix, fy = y - iy;
  auto s = [&](int i, int j) { return sat[(static_cast<size_t>(j) * (W + 1) + i) * C + c]; };
  const double top = s(ix, iy) + (s(ix + 1, iy) - s(ix, iy)) * fx;
  const double bottom = s(ix, iy + 1) + (s(ix + 1, iy + 1) - s(ix, iy + 1)) * fx;
  return top + (bottom - top) * fy;
}

}  // namespace

void BoxFilter(const SummedAreaTable& t, double u, double v, double du, double dv, uint8_t wrapU, uint8_t wrapV,
               int count, float* result) {
  if (t.sums.empty() || !std::isfinite(u) || !std::isfinite(v) || !std::isfinite(du) || !std::isfinite(dv)) return;
  const double W = t.width, H = t.height;
  // Image rows run downwards; v runs upwards. Repeat and mirror move the box
  // into their first period, which changes nothing but keeps the bits of far
  // coordinates.
  auto near = [](double x, double n, uint8_t wrap) {
    const double p = wrap == kWrapRepeat ? n : wrap == kWrapMirror ? 2 * n : 0;
    return p > 0 ? x - std::floor(x / p) * p : x;
  };
  const double x = near(u * W, W, wrapU), y = near((1 - v) * H, H, wrapV);
  // At least one pixel wide: under magnification the box is a bilinear lookup.
  const double hx = std::max(std::fabs(du) * W, 1.0) * 0.5;
  const double hy = std::max(std::fabs(dv) * H, 1.0) * 0.5;
  // Coordinates finite in UV may not be in pixels (u * W overflows), and a
  // box beyond all periods has no edges to split.
  if (!std::isfinite(x - hx) || !std::isfinite(x + hx) || !std::isfinite(y - hy) || !std::isfinite(y + hy) ||
      !std::isfinite(2 * hx * 2 * hy))
    return;
  Term xs[2][3], ys[2][3];
  const int nx0 = Decompose(x - hx, W, wrapU, xs[0]), nx1 = Decompose(x + hx, W, wrapU, xs[1]);
  const int ny0 = Decompose(y - hy, H, wrapV, ys[0]), ny1 = Decompose(y + hy, H, wrapV, ys[1]);
  const int nx[2] = {nx0, nx1}, ny[2] = {ny0, ny1};
  const double area = (2 * hx) * (2 * hy);
  for (int c = 0; c < count; ++c) {
    double box = 0;
    for (int a = 0; a < 2; ++a) {
      for (int b = 0; b < 2; ++b) {
        double corner = 0;
        for (int i = 0; i < nx[a]; ++i)
          for (int j = 0; j < ny[b]; ++j) {
            const double x = xs[a][i].at, y = ys[b][j].at;
            corner += xs[a][i].coef * ys[b][j].coef * (c < t.channels ? TableIntegral(t, c, x, y) : x * y);
          }
        box += (a == b ? 1 : -1) * corner;
      }
    }
    result[c] = static_cast<float>(box / area);
  }
}

}  // namespace tessaroc::host::texture
