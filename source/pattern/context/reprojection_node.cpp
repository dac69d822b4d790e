#include "pattern/context/reprojection_node.h"

#include <algorithm>
#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kInvTwoPi = 0.15915494309189535;
constexpr double kTwoPow52 = 4503599627370496.0;

const InternedId& ModeAngular() { return Interned<"angular">(); }
const InternedId& ModeRadial() { return Interned<"radial">(); }
const InternedId& ModeCircular() { return Interned<"circular">(); }
const InternedId& ModeBox() { return Interned<"box">(); }
const InternedId& ModeStar() { return Interned<"star">(); }
const InternedId& ModeNAngle() { return Interned<"n_angle">(); }

// The angle of (a, b) around the centre in turns, 0 to 1.
double Turns(double a, double b) {
  double phi = std::atan2(a, b);
  if (phi < 0.0) phi += kTwoPi;
  return phi * kInvTwoPi;
}

// The radial stretch that turns a circle into an n-cornered polygon: 1 at the
// corners' directions, growing towards the middle of each side.
double PolygonStretch(double turns, double n) {
  const double g = turns * n;
  double h = std::fabs(g) >= kTwoPow52 ? 0.0 : g - std::floor(g);
  if (h > 0.5) h = 1.0 - h;
  const double e = 1.0 - 2.0 * h;
  if (2.0 * n == 0.0) return std::cos(0.0);
  const double w = kTwoPi * (1.0 / (2.0 * n));
  const double cw = std::cos(w);
  if (cw == 0.0) return 0.0;
  return std::cos(e * w) / cw;
}

struct Projected {
  double x, y;
};

// Rotation about the square's centre, then the projection of the mode.
Projected Project(double u, double v, const ReprojectionSettings& s, double c, double sn) {
  const double p = u - 0.5;
  const double q = v - 0.5;
  const double a = p * c + q * (-sn);
  const double b = p * sn + q * c;
  switch (s.mode) {
    case ReprojectionMode::kAngular: return {b + 0.5, a + 0.5};
    case ReprojectionMode::kRadial: return {Turns(a, b), std::sqrt(a * a + b * b)};
    case ReprojectionMode::kCircular: return {2.0 * std::sqrt(a * a + b * b), 0.0};
    case ReprojectionMode::kBox: return {2.0 * std::max(std::fabs(a), std::fabs(b)), 0.0};
    case ReprojectionMode::kStar: {
      const double da = std::fabs(a) - 0.5;
      const double db = std::fabs(b) - 0.5;
      return {2.0 * std::sqrt(db * db + da * da), 0.0};
    }
    case ReprojectionMode::kNAngle: {
      const double t = Turns(a, b);
      const double m = PolygonStretch(t, static_cast<double>(s.corners));
      return {2.0 * std::sqrt(a * a + b * b) * m, t};
    }
    case ReprojectionMode::kLinear: break;
  }
  return {b, a};
}

// Mirror, flip and the angular swap, shared by the sample and its neighbours.
Vector Finish(double x, double y, const ReprojectionSettings& s, bool flip) {
  if (s.mirror) {
    x = 2.0 * x;
    if (x > 1.0) x = 2.0 - x;
  }
  if (flip) x = 1.0 - x;
  if (s.mode == ReprojectionMode::kAngular) std::swap(x, y);
  return {x, y, 0.0};
}

}  // namespace

ReprojectionMode ReprojectionModeOf(const InternedId& mode) {
  if (mode == ModeAngular()) return ReprojectionMode::kAngular;
  if (mode == ModeRadial()) return ReprojectionMode::kRadial;
  if (mode == ModeCircular()) return ReprojectionMode::kCircular;
  if (mode == ModeBox()) return ReprojectionMode::kBox;
  if (mode == ModeStar()) return ReprojectionMode::kStar;
  if (mode == ModeNAngle()) return ReprojectionMode::kNAngle;
  return ReprojectionMode::kLinear;
}

ShadingContext Reproject(const ShadingContext& in, const ReprojectionSettings& s) {
  ShadingContext out = in;
  const double c = std::cos(-s.rotation);
  const double sn = std::sin(-s.rotation);
  // The star is measured from the corners, so its ramp runs the other way round.
  const bool flip = s.mode == ReprojectionMode::kStar ? !s.reverse : s.reverse;

  Projected m = Project(in.uvw.x, in.uvw.y, s, c, sn);
  double f = 0.0;
  if (s.tile) {
    const double t = m.x * s.repetitions;
    f = std::fabs(t) >= kTwoPow52 ? t : std::floor(t);
    m.x = t - f;
  }
  out.uvw = Finish(m.x, m.y, s, flip);

  if (!(in.uvwdx == out.uvw && in.uvwdy == out.uvw)) {
    // Neighbours keep the tile index of the sample, so a footprint that spans
    // a tile edge stays continuous instead of jumping back by one.
    auto neighbour = [&](const Vector& d) {
      Projected p = Project(d.x, d.y, s, c, sn);
      if (s.tile) p.x = p.x * s.repetitions - f;
      return Finish(p.x, p.y, s, flip);
    };
    out.uvwdx = neighbour(in.uvwdx);
    out.uvwdy = neighbour(in.uvwdy);
  }
  out.uvwvalid = 1;
  out.wrapmodeu = kWrapExtend;
  out.wrapmodev = s.mirror ? kWrapMirror : (s.tile ? kWrapRepeat : kWrapExtend);
  return out;
}

namespace {

enum Access { kContext, kRotation, kMode, kTile, kMirror, kReverse, kCorners, kRepetitions, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ReprojectionSettings s;
  s.rotation = ports.In<double>(kRotation);
  s.mode = ReprojectionModeOf(ports.In<InternedId>(kMode));
  s.tile = ReadBool(ports, kTile);
  s.mirror = ReadBool(ports, kMirror);
  s.reverse = ReadBool(ports, kReverse);
  s.corners = ports.In<int64_t>(kCorners);
  s.repetitions = ports.In<double>(kRepetitions);
  ports.Out<ShadingContext>(kResult) = Reproject(ports.In<ShadingContext>(kContext), s);
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"rotation", PortDir::kIn, &kFloat64Type},
    {"mode", PortDir::kIn, &kInternedIdType},
    {"tile", PortDir::kIn, &kBoolType},
    {"mirror", PortDir::kIn, &kBoolType},
    {"reverse", PortDir::kIn, &kBoolType},
    {"corners", PortDir::kIn, &kInt64Type},
    {"repetitions", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kShadingContextType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"}, {kRotation, "rotation"},       {kMode, "mode"},
    {kTile, "tile"},       {kMirror, "mirror"},           {kReverse, "reverse"},
    {kCorners, "corners"}, {kRepetitions, "repetitions"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kGradientPlacementId, "source/pattern/context/reprojection_node", false, kPorts, kMicro};

}  // namespace

Result RegisterGradientPlacementNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
