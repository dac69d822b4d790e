// 3D placement: applies the inverse of a full 3D transform (position,
// rotation in one of twelve orders, scale, pivot) to a context's uvw.
#pragma once

#include <cstdint>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kPlacement3dId = "net.zovan.render.corenode.placement3d";

// p' = offset + axisX * p.x + axisY * p.y + axisZ * p.z
struct Placement3dData {
  Vector offset;
  Vector axisX{1, 0, 0};
  Vector axisY{0, 1, 0};
  Vector axisZ{0, 0, 1};
  int32_t rotationOrder = 0;
  bool built = false;
};
extern const DataType kPlacement3dDataType;

// The code of a rotation order id; 0 ("yxzlocal") for an id not in the table.
int32_t RotationOrderCode(const Id& order);

// A 3x3 matrix by rows.
struct Matrix3 {
  double m[3][3];
};
// The rotation of an order code: Ra(-a) * Rb(-b) * Rc(-c) for the letters of
// the code's local name; the identity when all three angles are exactly 0.
Matrix3 RotationMatrix(const Vector& angles, int32_t code);

struct Placement3dParams {
  Vector position;
  Vector scale{1, 1, 1};
  Vector rotation;
  Id rotationOrder;
  Vector pivot;
};
Placement3dData BuildPlacement3d(const Placement3dParams& p);
Vector ApplyPlacement3d(const Placement3dData& d, const Vector& p);

Result RegisterPlacement3dNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
