// What the five shape nodes share: the ports around their own, the soft edge
// and the colouring. A shape only says how far a point is from its edge.
#pragma once

#include <cstdint>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/micronode.h"
#include "core/node_decl.h"
#include "tessaroc/core/value_types.h"
#include "pattern/math/numeric.h"

namespace tessaroc::pattern {

// The soft edge: t = 0 and mask 1 at or below lo, t = 1 and mask 0 at or
// above hi (or when the edge is hard), a smoothstep between.
struct EdgeValue {
  double t;
  double mask;
};

// The edge with its span and the distance into it given apart, for shapes
// that form them their own way.
inline EdgeValue SoftEdgeSpan(double d, double lo, double hi, double span, double into) {
  if (lo >= d) return {0.0, 1.0};
  if (span == 0.0 || d >= hi) return {1.0, 0.0};
  const double t = SmoothCurve(into / span);
  return {t, 1.0 - t};
}

inline EdgeValue SoftEdge(double d, double lo, double hi) { return SoftEdgeSpan(d, lo, hi, hi - lo, d - lo); }

// What a shape computes at (u, v): where the edge is taken and what goes to
// the `distance` output.
struct ShapeSample {
  EdgeValue edge;
  double distance;
};

// Centred coordinates of circle, ngon and star. The products with zero stay:
// an infinite coordinate gives NaN as it should.
struct Centred {
  double p, q;
};
inline Centred CentreUv(double u, double v) {
  const double a = u - 0.5, b = v - 0.5;
  return {a - b * 0.0, a * 0.0 + b};
}

// Access indices shared by every shape: its own ports stand between `fill`
// and `mask`.
enum ShapeAccess { kShapeContext, kShapeContextLocal, kShapeExterior, kShapeFill, kShapeFirstOwn };

inline constexpr PortDecl kShapeContextPort{"context", PortDir::kIn, &kShadingContextType};
inline constexpr PortDecl kShapeContextLocalPort{"contextLocal", PortDir::kIn, &kShadingContextType};
inline constexpr PortDecl kShapeExteriorPort{"exterior", PortDir::kIn, &kColorAType};
inline constexpr PortDecl kShapeFillPort{"fill", PortDir::kIn, &kColorAType};
inline constexpr PortDecl kShapeMaskPort{"mask", PortDir::kOut, &kFloat64Type};
inline constexpr PortDecl kShapeDistancePort{"distance", PortDir::kOut, &kFloat64Type};
inline constexpr PortDecl kShapeResultPort{"result", PortDir::kOut, &kColorAType};

// The kernel of a shape with `OwnCount` ports of its own. `Skip` says when a
// shape has nothing to draw and leaves every output as it was (too few sides).
template <ShapeSample (*Sample)(double u, double v, const PortAccess& ports), int OwnCount,
          bool (*Skip)(const PortAccess& ports) = nullptr>
void ShapeKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  if constexpr (Skip != nullptr) {
    if (Skip(ports)) return;
  }
  constexpr int kMask = kShapeFirstOwn + OwnCount, kDistance = kMask + 1, kResult = kMask + 2;
  const ShadingContext& local = ports.In<ShadingContext>(kShapeContextLocal);
  ColorA& out = ports.Out<ColorA>(kResult);
  if (local.uvwvalid == 0) {
    out = ColorA{0, 0, 0, 0};
    ports.Out<double>(kDistance) = 0.0;
    ports.Out<double>(kMask) = 0.0;
    return;
  }
  const ShapeSample s = Sample(local.uvw.x, local.uvw.y, ports);
  const ColorA& ex = ports.In<ColorA>(kShapeExterior);
  const ColorA& fill = ports.In<ColorA>(kShapeFill);
  const double t = s.edge.t;
  out = ColorA{(ex.r - fill.r) * t + fill.r, (ex.g - fill.g) * t + fill.g, (ex.b - fill.b) * t + fill.b,
               (ex.a - fill.a) * t + fill.a};
  ports.Out<double>(kMask) = s.edge.mask;
  ports.Out<double>(kDistance) = s.distance;
}

}  // namespace tessaroc::pattern
