// A small OpenColorIO config whose transforms are worked out by hand: its
// "mixed" space is M * rgb, then to the power 1/2, where M scales red by
// 0.5 and adds a quarter of green, and doubles blue; its "sRGB" is twice the
// linear value, to show that the config's names win over the built-in ones.
#pragma once

#include <array>
#include <cmath>

namespace tessaroc::testing {

inline constexpr const char* kOcioConfig = R"(ocio_profile_version: 2
roles:
  scene_linear: lin
  default: lin
displays:
  screen:
    - !<View> {name: half-gamma, colorspace: mixed}
    - !<View> {name: raw, colorspace: lin}
active_displays: [screen]
active_views: [half-gamma, raw]
colorspaces:
  - !<ColorSpace>
    name: lin
  - !<ColorSpace>
    name: mixed
    from_reference: !<GroupTransform>
      children:
        - !<MatrixTransform> {matrix: [0.5, 0.25, 0, 0, 0, 1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1]}
        - !<ExponentTransform> {value: [0.5, 0.5, 0.5, 1]}
  - !<ColorSpace>
    name: sRGB
    from_reference: !<MatrixTransform> {matrix: [2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1]}
)";

// "mixed" by hand.
inline std::array<double, 3> Mixed(double r, double g, double b) {
  return {std::sqrt(0.5 * r + 0.25 * g), std::sqrt(g), std::sqrt(2 * b)};
}

}  // namespace tessaroc::testing
