// 2D placement: moves, turns, scales and repeats the texture coordinate of a
// context and decides how it leaves the unit square (clamp, extend, repeat,
// mirror, or cut off as a decal).
#pragma once

#include <cstdint>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kPlacement2dId = "net.zovan.render.corenode.placement2d";

// The affine map of a placement: u' = offset.x + axisU.x * u + axisV.x * v,
// v' = offset.y + axisU.y * u + axisV.y * v.
struct Placement2dData {
  Vector2d offset;
  Vector2d axisU;
  Vector2d axisV;
  double inverseRepetitionsU = 0;  // 1 / repetitions, 0 where that is 0
  double inverseRepetitionsV = 0;
  bool built = false;
  uint8_t wrapU = kWrapExtend;  // the wrap modes, decoded once with the map
  uint8_t wrapV = kWrapExtend;
};
extern const DataType kPlacement2dDataType;

struct Placement2dParams {
  Vector2d offset;
  Vector2d length{1, 1};
  Vector2d pivot;
  double rotation = 0;  // radians
  Vector2d repetitions{1, 1};
};

Placement2dData BuildPlacement2d(const Placement2dParams& p);

// Writes the placed coordinate block (uvw, differentials, uvwvalid, wrap
// modes) of `in` into `out`; every other field of `out` is left alone.
void PlaceCoordinate(const Placement2dData& map, const ShadingContext& in, bool decalU, bool decalV, uint8_t wrapU,
                     uint8_t wrapV, const Vector2d& repetitions, ShadingContext& out);

Result RegisterPlacement2dNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
