// 2D transform of a plain point: translate, rotate and scale about a pivot.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kTransform2dId = "net.zovan.pattern.corenode.effect.transform2d";

Vector2d Transform2d(const Vector2d& point, const Vector2d& translate, double rotate, const Vector2d& scale,
                     const Vector2d& pivot);

Result RegisterTransform2dNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
