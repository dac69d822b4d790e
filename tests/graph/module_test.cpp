// Module start and teardown, and the description resources it registers.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tessaroc/core/registry.h"
#include "graph/material_setup.h"
#include "graph/passthrough_node.h"
#include "host/resources/description_database.h"
#include "host/resources/embedded_resources.h"
#include "tessaroc/host/host_services.h"
#include "pattern/catalogue.h"
#include "tessaroc/module/register.h"

namespace tessaroc {
namespace {

namespace fs = std::filesystem;

TEST(ModuleStart, LoadsInOrderAndUnloadsInReverse) {
  std::vector<std::string> loaded, unloaded;
  ASSERT_TRUE(module::LoadModule(&loaded).ok());
  ASSERT_GE(loaded.size(), 8u);
  EXPECT_EQ(std::vector<std::string>(loaded.begin(), loaded.begin() + 4),
            (std::vector<std::string>{"interface_registration", "reflection_registration", "register",
                                      "datadescription_tessarocs"}));
  // Then one unit per node source, in catalogue order.
  const auto units = pattern::CatalogueUnits();
  for (size_t i = 0; i < units.size(); ++i) EXPECT_EQ(loaded[4 + i], units[i].source);
  EXPECT_EQ(loaded[loaded.size() - 2], "source/shader");
  EXPECT_EQ(loaded.back(), "vocabulary");

  const module::ModuleRecord* record = module::GetModuleRecord();
  ASSERT_NE(record, nullptr);
  EXPECT_STREQ(record->id, "net.zovan.tessarocs");
  EXPECT_NE(graph::FindPublishedFunction("net.zovan.tessaroc.SetupMaterial@8a2aabf02a6d53f9"), nullptr);
  EXPECT_NE(CoreNodes().Find("net.zovan.pattern.corenode.effect.invertcolor"), nullptr);
  EXPECT_NE(FindDataType("net.zovan.render.datatype.searchpathstype"), nullptr);
  EXPECT_NE(graph::FindBuiltinNode(graph::kPassThroughId), nullptr);
  EXPECT_TRUE(module::LoadModule().Is(errors::kIllegalState));  // once only
  // Nodes are registered, not built, and built once on demand.
  const CoreNodeDefinition* def = CoreNodes().Find("net.zovan.pattern.corenode.effect.contrast");
  ASSERT_NE(def, nullptr);
  EXPECT_EQ(def->buildCount(), 0);
  const MicroNodeGroup *a = nullptr, *b = nullptr;
  ASSERT_TRUE(CoreNodes().GetGroup("net.zovan.pattern.corenode.effect.contrast", a).ok());
  ASSERT_TRUE(CoreNodes().GetGroup("net.zovan.pattern.corenode.effect.contrast", b).ok());
  EXPECT_EQ(a, b);
  EXPECT_EQ(def->buildCount(), 1);

  ASSERT_TRUE(module::UnloadModule(&unloaded).ok());
  std::reverse(unloaded.begin(), unloaded.end());
  EXPECT_EQ(unloaded, loaded);
  EXPECT_EQ(module::GetModuleRecord(), nullptr);
  EXPECT_EQ(graph::FindPublishedFunction(graph::kSetupMaterialId), nullptr);
  EXPECT_EQ(CoreNodes().Find("net.zovan.pattern.corenode.effect.invertcolor"), nullptr);
  EXPECT_EQ(FindDataType("net.zovan.render.datatype.searchpathstype"), nullptr);
}

TEST(ModuleStart, DescriptionHookRegistersTheFolderForBothIdsAndItsAssetsAgreeWithTheNodes) {
  ASSERT_TRUE(module::LoadModule().ok());
  const host::AssetDescription* a = nullptr;
  ASSERT_TRUE(host::Descriptions().Find("exposure", a).ok());
  ASSERT_NE(a, nullptr);
  const auto registered = host::Descriptions().Registered();
  ASSERT_EQ(registered.size(), 2u);
  EXPECT_EQ(registered[0].first, "net.zovan.tessarocs.module");
  EXPECT_EQ(registered[1].first, "net.zovan.patterns.module");
  EXPECT_EQ(registered[0].second, registered[1].second);
  const std::string location(registered[0].second.view());
  EXPECT_TRUE(location.ends_with("modules/tessarocs.module")) << location;
  // Every asset agrees with its core nodes.
  std::vector<std::string> problems;
  ASSERT_TRUE(host::Descriptions().Validate(CoreNodes(), problems).ok());
  for (const std::string& p : problems) ADD_FAILURE() << p;
  std::vector<const host::AssetDescription*> assets;
  ASSERT_TRUE(host::Descriptions().Assets(assets).ok());
  EXPECT_GE(assets.size(), 8u);
  ASSERT_TRUE(module::UnloadModule().ok());
}

// ---- where the descriptions are read from

TEST(ResourceLocation, TheCompiledInCopyIsTheResourceTree) {
  const fs::path tree = fs::path(TESSAROC_SOURCE_DIR) / "resources";
  size_t onDisk = 0;
  for (const auto& e : fs::recursive_directory_iterator(tree)) onDisk += e.path().extension() == ".json";
  EXPECT_EQ(host::EmbeddedResources().size(), onDisk);
  for (const host::EmbeddedFile& f : host::EmbeddedResources()) {
    std::ifstream in(tree / f.path);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(f.text, text) << f.path;
  }
}

// A call beats the environment, which beats the compiled-in copy; the module
// then reads the descriptions from the folder chosen.
TEST(ResourceLocation, ACallBeatsTheEnvironmentWhichBeatsTheCompiledInCopy) {
  const fs::path root = fs::temp_directory_path() / ("tessaroc_loc_" + std::to_string(::getpid()));
  const fs::path byEnv = root / "env", byCall = root / "call";
  // Each folder labels "invertcolor" with its own name.
  for (const fs::path& dir : {byEnv, byCall}) {
    std::string text = R"({"format": "tessaroc-resources", "version": 1, "assets": [
        {"id": "net.zovan.pattern.node.effect.invertcolor", "alias": "invertcolor", "group": "effect", "label": "NAME",
         "nodes": {"main": "net.zovan.pattern.corenode.effect.invertcolor"},
         "ports": [{"id": "color", "type": "colora", "default": [1, 1, 1, 1]}]}]})";
    text.replace(text.find("NAME"), 4, dir.filename().string());
    fs::create_directories(dir / "modules" / "tessarocs.module");
    std::ofstream(dir / "modules" / "tessarocs.module" / "effects.json") << text;
  }
  struct Case {
    const char* env;
    fs::path call;
    std::string folder;  // expected
    std::string label;   // of "invertcolor", read from there
  };
  const Case cases[] = {
      {nullptr, {}, std::string(host::kBuiltInResources), "Invert Color"},
      {byEnv.c_str(), {}, byEnv.string(), "env"},
      {byEnv.c_str(), byCall, byCall.string(), "call"},
      {nullptr, byCall, byCall.string(), "call"},
  };
  for (const Case& c : cases) {
    if (c.env) setenv("TESSAROC_RESOURCES", c.env, 1);
    else unsetenv("TESSAROC_RESOURCES");
    host::SetResourceFolder(c.call.string());
    EXPECT_EQ(host::ApplicationResources().str(), c.folder);
    ASSERT_TRUE(module::LoadModule().ok());
    const host::AssetDescription* a = nullptr;
    ASSERT_TRUE(host::Descriptions().Find("invertcolor", a).ok()) << c.folder;
    EXPECT_EQ(a->label, c.label) << c.folder;
    ASSERT_TRUE(module::UnloadModule().ok());
  }
  unsetenv("TESSAROC_RESOURCES");
  host::SetResourceFolder("");
  fs::remove_all(root);
}

// ---- resource files with mistakes

class ResourceFileTest : public ::testing::Test {
 protected:
  std::string Write(const std::string& text) {
    dir_ = fs::temp_directory_path() / ("tessaroc_res_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    const std::string path = (dir_ / "family.json").string();
    std::ofstream(path) << text;
    return path;
  }
  void TearDown() override { fs::remove_all(dir_); }
  Result Read(const std::string& text) {
    std::vector<host::AssetDescription> out;
    return host::DescriptionDatabase::ReadFile(Write(text), out);
  }
  fs::path dir_;
};

const char* kGood = R"({"format": "tessaroc-resources", "version": 1, "assets": [
  {"id": "net.zovan.pattern.node.effect.x", "alias": "x", "group": "effect", "label": "X",
   "nodes": {"main": "net.zovan.pattern.corenode.effect.invertcolor"},
   "ports": [{"id": "color", "type": "colora", "default": [1, 1, 1, 1]},
             {"id": "result", "direction": "out", "type": "colora"}]}]})";

TEST_F(ResourceFileTest, AGoodFileReads) {
  std::vector<host::AssetDescription> out;
  ASSERT_TRUE(host::DescriptionDatabase::ReadFile(Write(kGood), out).ok());
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].alias, "x");
  EXPECT_EQ(out[0].ports[0].targets[0].instance, "main");
  EXPECT_EQ((*static_cast<const ColorA*>(out[0].ports[0].defaultValue.get())), (ColorA{1, 1, 1, 1}));
}

TEST_F(ResourceFileTest, MistakesNameTheFileThePathAndTheReason) {
  struct Case {
    std::string from, to, message;
  };
  const Case cases[] = {
      {R"("type": "colora", "default": [1, 1, 1, 1])", R"("type": "colour", "default": [1, 1, 1, 1])",
       "/assets/0/ports/0/type: unknown type \"colour\""},
      {R"("default": [1, 1, 1, 1])", R"("default": [1, 1])",
       "/assets/0/ports/0/default: expected 3 or 4 numbers, got 2"},
      {R"("alias": "x", )", "", "/assets/0/alias: missing"},
      {R"("id": "color")", R"("id": "Color")", "/assets/0/ports/0/id: published ids are lower case"},
      {R"("direction": "out")", R"("direction": "sideways")", "/assets/0/ports/1/direction"},
      {R"({"id": "result")", R"({"id": "result", "to": ["main.color"])", "/assets/0/ports/1/to: outputs use"},
      {R"({"id": "color")", R"({"id": "color", "to": ["other.color"])", "/assets/0/ports/0: names instance \"other\""},
      {R"("version": 1)", R"("version": 2)", "/version: this build reads version 1"},
  };
  for (const Case& c : cases) {
    std::string text = kGood;
    const size_t at = text.find(c.from);
    ASSERT_NE(at, std::string::npos) << c.from;
    text.replace(at, c.from.size(), c.to);
    Result r = Read(text);
    ASSERT_TRUE(r.failed()) << c.message;
    EXPECT_NE(r.message().find("family.json: "), std::string_view::npos) << r.message();
    EXPECT_NE(r.message().find(c.message), std::string_view::npos) << r.message();
  }
}

TEST_F(ResourceFileTest, InvalidJsonGivesLineAndColumn) {
  Result r = Read("{\n  \"format\": \"tessaroc-resources\",\n  \"version\": 1,,\n}");
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("family.json: line 3, column"), std::string_view::npos) << r.message();
}

// An asset that leaves a core input unpublished and unwired leaves it at 0:
// the mask blend of an effect at 0 applies nothing. Validation says which.
TEST_F(ResourceFileTest, ValidationNamesCorePortsNoPortOrWireFeeds) {
  ASSERT_TRUE(module::LoadModule().ok());
  auto problemsWith = [&](const std::string& ports) {
    std::string text = kGood;
    text.insert(text.find(R"({"id": "result")"), ports);
    Write(text);
    host::DescriptionDatabase db;
    EXPECT_TRUE(db.RegisterDatabaseWithUrl(Url(dir_.string()), "test").ok());
    std::vector<std::string> problems;
    EXPECT_TRUE(db.Validate(CoreNodes(), problems).ok());
    return problems;
  };
  // Every mask port published; one hidden with its default is published too.
  const std::string all = R"({"id": "maskblend", "type": "float", "default": 1.0},
      {"id": "maskred", "type": "bool", "default": true, "hidden": true},
      {"id": "maskgreen", "type": "bool", "default": true}, {"id": "maskblue", "type": "bool", "default": true},
      {"id": "maskalpha", "type": "bool", "default": false}, )";
  EXPECT_EQ(problemsWith(all), std::vector<std::string>{});
  const auto problems = problemsWith(R"({"id": "maskred", "type": "bool", "default": true, "hidden": true}, )");
  ASSERT_EQ(problems.size(), 4u);
  EXPECT_NE(problems[0].find("family.json: net.zovan.pattern.node.effect.x: main.maskblend is neither published nor "
                             "wired, so it stays 0"),
            std::string::npos)
      << problems[0];
  EXPECT_NE(problems[1].find("main.maskgreen"), std::string::npos) << problems[1];
  EXPECT_NE(problems[3].find("main.maskalpha"), std::string::npos) << problems[3];
  ASSERT_TRUE(module::UnloadModule().ok());
}

TEST_F(ResourceFileTest, DatabaseReportsTheBadFileAtLookup) {
  Write(std::string(kGood).replace(std::string(kGood).find("colora"), 6, "nosuchtype"));
  host::DescriptionDatabase db;
  ASSERT_TRUE(db.RegisterDatabaseWithUrl(Url(dir_.string()), "test").ok());
  const host::AssetDescription* a = nullptr;
  Result r = db.Find("x", a);
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("family.json"), std::string_view::npos);
  EXPECT_EQ(a, nullptr);
}

}  // namespace
}  // namespace tessaroc
