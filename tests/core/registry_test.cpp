// Registering nodes, building groups once, access tables and array ports.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "core/node_decl.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/runtime.h"
#include "test_nodes.h"

namespace tessaroc {
namespace {

using testing::RegisterTestNodes;

class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(RegisterTestNodes(registry_).ok()); }
  CoreNodeRegistry registry_;
};

TEST_F(RegistryTest, GroupIsBuiltOnceAndSharedAndUnknownOrDuplicateIdsFail) {
  const MicroNodeGroup* a = nullptr;
  const MicroNodeGroup* b = nullptr;
  const CoreNodeDefinition* def = registry_.Find(testing::kOrderNode);
  ASSERT_NE(def, nullptr);
  EXPECT_EQ(def->buildCount(), 0);  // registering builds nothing
  ASSERT_TRUE(registry_.GetGroup(testing::kOrderNode, a).ok());
  ASSERT_TRUE(registry_.GetGroup(testing::kOrderNode, b).ok());
  EXPECT_EQ(a, b);
  EXPECT_EQ(def->buildCount(), 1);
  EXPECT_TRUE(a->finalized());
  EXPECT_EQ(a->id(), Id(testing::kOrderNode));
  EXPECT_EQ(a->factory(), def);

  // Built once also when many threads ask first.
  std::vector<const MicroNodeGroup*> seen(8, nullptr);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] { ASSERT_TRUE(registry_.GetGroup(testing::kCallColorNode, seen[i]).ok()); });
  for (std::thread& t : threads) t.join();
  for (const MicroNodeGroup* g : seen) EXPECT_EQ(g, seen[0]);
  EXPECT_EQ(registry_.Find(testing::kCallColorNode)->buildCount(), 1);

  const MicroNodeGroup* g = nullptr;
  EXPECT_TRUE(registry_.GetGroup("test.nosuchnode", g).Is(errors::kUnresolved));
  EXPECT_EQ(g, nullptr);
  EXPECT_TRUE(testing::RegisterTestNodes(registry_).Is(errors::kIllegalState));
}

TEST_F(RegistryTest, PortsCarryKeysTypesAndFlags) {
  const MicroNodeGroup* g = nullptr;
  ASSERT_TRUE(registry_.GetGroup(testing::kCallColorNode, g).ok());
  const Port& ctx = g->ports()[g->FindPortIndex("context")];
  EXPECT_EQ(ctx.type, MicroNode::VIRTUAL_INPUT_PORT);
  EXPECT_EQ(ctx.key, PortKey("context", true));
  const Port& result = g->ports()[g->FindPortIndex("result")];
  EXPECT_EQ(result.type, MicroNode::VARIABLE);
  EXPECT_EQ(result.key, static_cast<int64_t>(RunningHash("result")));
  EXPECT_EQ(result.flags, 0u);
  const Port& cache = g->ports()[g->FindPortIndex("cache")];
  EXPECT_EQ(cache.flags, 0x28u);  // PERMANENT | DONT_WRAP
  EXPECT_EQ(cache.dataType, &kDataType);
}

TEST_F(RegistryTest, AccessOrderIsIndependentOfCreationOrder) {
  const MicroNodeGroup* g = nullptr;
  ASSERT_TRUE(registry_.GetGroup(testing::kOrderNode, g).ok());
  // Created: context, rayorigin, uvw, time, result; accessed: time before uvw.
  EXPECT_EQ(g->ports()[2].id, Id("uvw"));
  EXPECT_EQ(g->ports()[3].id, Id("time"));
  const std::vector<int>& access = g->microNodes()[0].portOfAccess;
  ASSERT_EQ(access.size(), 5u);
  EXPECT_EQ(g->ports()[access[2]].id, Id("time"));
  EXPECT_EQ(g->ports()[access[3]].id, Id("uvw"));

  std::unique_ptr<SingleNodeRunner> run;
  ASSERT_TRUE(SingleNodeRunner::Create(g, run).ok());
  ASSERT_TRUE(run->Set<double>("time", 3.0).ok());
  ASSERT_TRUE(run->Set<Vector>("uvw", {0.5, 0, 0}).ok());
  ASSERT_TRUE(run->Set<Vector>("rayorigin", {0.25, 0, 0}).ok());
  ASSERT_TRUE(run->Run().ok());
  EXPECT_EQ(run->Get<double>("result"), 3005.25);
}

TEST_F(RegistryTest, ArrayPortsAreBuiltPerElementCount) {
  const int64_t three[] = {3};
  const int64_t none[] = {0};
  const MicroNodeGroup *g3 = nullptr, *g3again = nullptr, *g0 = nullptr;
  ASSERT_TRUE(registry_.GetGroup(testing::kArrayNode, three, g3).ok());
  ASSERT_TRUE(registry_.GetGroup(testing::kArrayNode, three, g3again).ok());
  ASSERT_TRUE(registry_.GetGroup(testing::kArrayNode, none, g0).ok());
  EXPECT_EQ(g3, g3again);
  EXPECT_NE(g3, g0);
  EXPECT_EQ(g3->FindPortIndex("values#2", true), 3);  // sum, values#0..2, count
  EXPECT_EQ(g3->microNodes()[0].impl->portCount, 5u);
  EXPECT_EQ(ArrayWords(*g3->microNodes()[0].impl, 0).firstIndex, 2);
  EXPECT_EQ(ArrayWords(*g3->microNodes()[0].impl, 0).count, 3);

  std::unique_ptr<SingleNodeRunner> run;
  ASSERT_TRUE(SingleNodeRunner::Create(g3, run).ok());
  ASSERT_TRUE(run->Set<double>("values#0", 1).ok());
  ASSERT_TRUE(run->Set<double>("values#1", 2).ok());
  ASSERT_TRUE(run->Set<double>("values#2", 3).ok());
  ASSERT_TRUE(run->Run().ok());
  EXPECT_EQ(run->Get<double>("sum"), 123.0);  // elements in order
  EXPECT_EQ(run->Get<int64_t>("count"), 3);

  ASSERT_TRUE(SingleNodeRunner::Create(g0, run).ok());  // no elements
  ASSERT_TRUE(run->Run().ok());
  EXPECT_EQ(run->Get<double>("sum"), 0.0);
  EXPECT_EQ(run->Get<int64_t>("count"), 0);
}

// A describe function that miscounts its ports must stop the group.
Result BadDescribe(const MicroNodeImpl&, PortAccessBuilder& b) {
  return b.PrivateDescribePortAccess(0, PortKey("x", true), 0);
}
void NoKernel(Result&, const MicroNodeImpl&, const PortAccess&) {}
Result BadFinaliser(const NodeArguments* args, GroupPtr& out) {
  GroupPtr g(MicroNodeGroup::Alloc({}));
  TESSAROC_RETURN_IF_FAILED(g->SetId(args->nodeId));
  TESSAROC_RETURN_IF_FAILED(
      g->PrivateCreatePort(PortKey("x", true), "x", MicroNode::VIRTUAL_INPUT_PORT, 0, &kFloat64Type, -1));
  TESSAROC_RETURN_IF_FAILED(g->PrivateCreatePort(PortKey("y", false), "y", MicroNode::VARIABLE, 0, &kFloat64Type, -1));
  auto* impl = new MicroNodeImpl();
  impl->dispose = [](MicroNodeImpl* p) { delete p; };
  impl->describe = &BadDescribe;
  impl->kernel = &NoKernel;
  impl->portCount = 2;
  TESSAROC_RETURN_IF_FAILED(g->AddMicroNode("", impl));
  TESSAROC_RETURN_IF_FAILED(g->PrivateFinalize());
  out = std::move(g);
  return Result::Ok();
}

TEST_F(RegistryTest, DescribeMustCoverPortCount) {
  ASSERT_TRUE(registry_.Register("test.bad", "tests", &BadFinaliser, true).ok());
  const MicroNodeGroup* g = nullptr;
  Result r = registry_.GetGroup("test.bad", g);
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_EQ(g, nullptr);
  // A failed build is not cached: asking again runs the finaliser again.
  EXPECT_TRUE(registry_.GetGroup("test.bad", g).failed());
}

}  // namespace
}  // namespace tessaroc
