// What the nodes declare to the runtime beyond what their results show:
// private state flags, record types and micro nodes. A host lays out and wires
// ports from these; access order is held by the behaviour tests and the
// catalogue test.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "../pattern_test_util.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/placement3d_node.h"
#include "pattern/generator/checkerboard_node.h"
#include "pattern/shading/bump_node.h"

namespace tessaroc::pattern {
namespace {

std::vector<std::string> AccessOrder(const MicroNodeGroup& g, size_t micro) {
  std::vector<std::string> out;
  for (int port : g.microNodes()[micro].portOfAccess) out.push_back(g.ports()[port].id.str());
  return out;
}

uint32_t FlagsOf(const MicroNodeGroup& g, const char* port) { return g.ports()[g.FindPortIndex(port, false)].flags; }

TEST(Declarations, PlacementsKeepTheirStateInPrivatePorts) {
  const MicroNodeGroup& p2 = *testutil::Group(kPlacement2dId);
  const MicroNodeGroup& p3 = *testutil::Group(kPlacement3dId);
  const std::pair<const MicroNodeGroup*, const char*> privates[] = {
      {&p2, "pdata"}, {&p2, "localOffsetCached"}, {&p2, "localRotationCached"}, {&p2, "localRepetitionsCached"},
      {&p3, "pdata"}, {&p3, "pivotCached"}};
  for (const auto& [group, port] : privates) EXPECT_EQ(FlagsOf(*group, port), 0x28u) << port;
  EXPECT_EQ(FlagsOf(p2, "result"), 0u);
  EXPECT_EQ(p2.ports()[p2.FindPortIndex("pdata", false)].dataType->id, Id("net.zovan.render.datatype.placement2ddata"));
  EXPECT_EQ(p3.ports()[p3.FindPortIndex("pdata", false)].dataType->id, Id("net.zovan.render.datatype.placement3ddata"));
  EXPECT_NE(FindDataType("net.zovan.render.datatype.placement2ddata"), nullptr);
}

TEST(Declarations, CheckerboardCachesArePrivateAndBumpHasTwoMicroNodes) {
  const MicroNodeGroup& board = *testutil::Group(kCheckerboardId);
  EXPECT_EQ(FlagsOf(board, "cache1"), 0x28u);
  EXPECT_EQ(FlagsOf(board, "cache2"), 0x28u);
  EXPECT_TRUE(board.ports()[board.FindPortIndex("color1", true)].dataType->IsFunction());

  const MicroNodeGroup& bump = *testutil::Group(kBumpId);
  ASSERT_EQ(bump.microNodes().size(), 2u);
  bool phong = false, main = false;
  for (size_t m = 0; m < 2; ++m) {
    const std::vector<std::string> order = AccessOrder(bump, m);
    if (bump.microNodes()[m].name == Id(kGetPhongNormalName)) {
      phong = true;
      EXPECT_EQ(order, (std::vector<std::string>{"context", "result"}));
    } else {
      main = true;
      EXPECT_EQ(order, (std::vector<std::string>{"context", "color", "strength", "epsilonuv", "epsilon3d", "result"}));
    }
  }
  EXPECT_TRUE(phong && main);
}

}  // namespace
}  // namespace tessaroc::pattern
