#include "tessaroc/module/register.h"

#include <algorithm>
#include <mutex>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/registry.h"
#include "module/datadescription_tessarocs.h"
#include "graph/description_finalizers.h"
#include "graph/material_setup.h"
#include "graph/passthrough_node.h"
#include "pattern/catalogue.h"
#include "module/shader.h"

namespace tessaroc::module {

namespace {

constexpr const char* kFrameworks[] = {
    "net.zovan.asset.framework",     "net.zovan.core.framework",           "net.zovan.corenodes.framework",
    "net.zovan.graph.framework",     "net.zovan.image.framework",          "net.zovan.math.framework",
    "net.zovan.zovan.framework",     "net.zovan.misc.framework",           "net.zovan.nodes.framework",
    "net.zovan.nodespace.framework", "net.zovan.private_render.framework", "net.zovan.render.framework",
};
static_assert(sizeof(kFrameworks) / sizeof(kFrameworks[0]) == 12);

// The framework interfaces the module calls; the host fills their method
// tables when it links the module. Here they are linked directly, and the
// declarations say which ones the module depends on.
constexpr const char* kInterfaces[] = {
    "net.zovan.corenode.interface.micronodegroup",
    "net.zovan.corenode.interface.micronode",
    "net.zovan.corenode.interface.corenodebase",
    "net.zovan.corenode.interface.corenodeslib",
    "net.zovan.corenode.interface.runtime",
    "net.zovan.interface.function",
    "net.zovan.render.interface.rendernoise",
    "net.zovan.render.interface.noise",
    "net.zovan.render.interface.texturemanagement",
    "net.zovan.render.interface.texture",
    "net.zovan.render.interface.threadedtexture",
    "net.zovan.render.interface.message",
    "net.zovan.image.interface.imagepixelblend",
    "net.zovan.image.interface.pixelformat",
    "net.zovan.interface.splinemapper",
    "net.zovan.interface.jobqueue",
    "net.zovan.interface.threadservices",
    "net.zovan.interface.string",
    "net.zovan.interface.url",
    "net.zovan.interface.datadescriptiondefinitiondatabase",
};

const char* const kVocabulary[] = {
#include "vocabulary_ids.inc"
};

constexpr ModuleRecord kRecord{kModuleId, kFrameworks};

struct State {
  std::mutex mutex;
  bool loaded = false;
  std::vector<std::string> interfaces;
  const ModuleRecord* record = nullptr;
  std::vector<std::vector<Id>> unitNodes;  // node ids each catalogue unit registered
  std::vector<InternedId> vocabulary;
  std::vector<std::string> loadedSteps;
};
State& S() {
  static State* s = new State;
  return *s;
}

using graph::PublishedEntry;
constexpr PublishedEntry kPublished[] = {
    {graph::kSetupContextId, "root", graph::kMutableRootTypeId, &graph::SetupContext},
    {graph::kSetupMaterialId, "root", graph::kMutableRootTypeId, &graph::SetupMaterial},
    {graph::kCreateForwardingWiresId, "root", graph::kMutableRootTypeId, &graph::CreateForwardingWires},
};

struct Step {
  std::string name;
  Result (*load)(size_t index);
  Result (*unload)(size_t index);
  size_t index = 0;
};

Result LoadInterfaces(size_t) {
  for (const char* i : kInterfaces) S().interfaces.emplace_back(i);
  return Result::Ok();
}
Result UnloadInterfaces(size_t) {
  S().interfaces.clear();
  return Result::Ok();
}

Result LoadReflection(size_t) {
  for (const PublishedEntry& e : kPublished) {
    Result r = graph::PublishFunction(e);
    if (r.failed()) {
      for (const PublishedEntry& done : kPublished) {
        if (&done == &e) break;
        (void)graph::UnpublishFunction(done.id);
      }
      return r;
    }
  }
  return Result::Ok();
}
Result UnloadReflection(size_t) {
  for (auto it = std::rbegin(kPublished); it != std::rend(kPublished); ++it)
    TESSAROC_RETURN_IF_FAILED(graph::UnpublishFunction(it->id));
  return Result::Ok();
}

Result LoadRegister(size_t) {
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&graph::kBsdfLayerType));
  S().record = &kRecord;
  return Result::Ok();
}
Result UnloadRegister(size_t) {
  S().record = nullptr;
  return UnregisterDataType(&graph::kBsdfLayerType);
}

Result LoadDescriptions(size_t) { return RegisterDescriptionEntry(); }
Result UnloadDescriptions(size_t) { return UnregisterDescriptionEntry(); }

Result LoadPassThrough(size_t) { return graph::RegisterPassThroughNode(); }
Result UnloadPassThrough(size_t) { return graph::UnregisterPassThroughNode(); }

Result LoadUnit(size_t index) {
  CoreNodeRegistry& reg = CoreNodes();
  const auto before = reg.Entries();
  Result r = pattern::CatalogueUnits()[index].registerNodes(reg);
  std::vector<Id> added;
  for (const CoreNodeDefinition* d : reg.Entries())
    if (std::find(before.begin(), before.end(), d) == before.end()) added.push_back(d->id());
  if (r.failed()) {
    for (const Id& id : added) (void)reg.Unregister(id);
    return r;
  }
  S().unitNodes.resize(pattern::CatalogueUnits().size());
  S().unitNodes[index] = std::move(added);
  return Result::Ok();
}
Result UnloadUnit(size_t index) {
  for (auto it = S().unitNodes[index].rbegin(); it != S().unitNodes[index].rend(); ++it)
    TESSAROC_RETURN_IF_FAILED(CoreNodes().Unregister(*it));
  S().unitNodes[index].clear();
  return Result::Ok();
}

Result LoadFinalizers(size_t) { return graph::RegisterKnotFinalizers(); }
Result UnloadFinalizers(size_t) { return graph::UnregisterKnotFinalizers(); }

Result LoadShader(size_t) { return RegisterShaderDataTypes(); }
Result UnloadShader(size_t) { return UnregisterShaderDataTypes(); }

Result LoadVocabulary(size_t) {
  for (const char* id : kVocabulary) S().vocabulary.push_back(InternedId::Intern(id));
  return Result::Ok();
}
Result UnloadVocabulary(size_t) {
  S().vocabulary.clear();
  return Result::Ok();
}

std::vector<Step> Steps() {
  std::vector<Step> steps = {
      {"interface_registration", &LoadInterfaces, &UnloadInterfaces},
      {"reflection_registration", &LoadReflection, &UnloadReflection},
      {"register", &LoadRegister, &UnloadRegister},
      {"datadescription_tessarocs", &LoadDescriptions, &UnloadDescriptions},
  };
  const auto units = pattern::CatalogueUnits();
  for (size_t i = 0; i < units.size(); ++i) steps.push_back({units[i].source, &LoadUnit, &UnloadUnit, i});
  steps.push_back({"passthrough_node", &LoadPassThrough, &UnloadPassThrough});
  steps.push_back({"descriptionfinalizers", &LoadFinalizers, &UnloadFinalizers});
  steps.push_back({"source/shader", &LoadShader, &UnloadShader});
  steps.push_back({"vocabulary", &LoadVocabulary, &UnloadVocabulary});
  return steps;
}

Result UnloadLocked(std::vector<std::string>* trace) {
  State& s = S();
  const std::vector<Step> steps = Steps();
  Result first;
  for (auto name = s.loadedSteps.rbegin(); name != s.loadedSteps.rend(); ++name) {
    auto step = std::find_if(steps.begin(), steps.end(), [&](const Step& st) { return st.name == *name; });
    if (trace) trace->push_back(*name);
    Result r = step->unload(step->index);
    if (r.failed() && first.ok()) first = r;
  }
  s.loadedSteps.clear();
  s.loaded = false;
  return first;
}

}  // namespace

Result LoadModule(std::vector<std::string>* trace) {
  State& s = S();
  std::lock_guard<std::mutex> lock(s.mutex);
  if (s.loaded) return Result::Fail(errors::kIllegalState, "module loaded twice");
  for (const Step& step : Steps()) {
    if (trace) trace->push_back(step.name);
    Result r = step.load(step.index);
    if (r.failed()) {
      (void)UnloadLocked(nullptr);
      return r;
    }
    s.loadedSteps.push_back(step.name);
  }
  s.loaded = true;
  return Result::Ok();
}

Result UnloadModule(std::vector<std::string>* trace) {
  State& s = S();
  std::lock_guard<std::mutex> lock(s.mutex);
  if (!s.loaded) return Result::Fail(errors::kIllegalState, "module is not loaded");
  return UnloadLocked(trace);
}

bool ModuleLoaded() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().loaded;
}

const ModuleRecord* GetModuleRecord() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().record;
}

}  // namespace tessaroc::module
