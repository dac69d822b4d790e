#include "graph/description_finalizers.h"

#include <map>
#include <mutex>
#include <string>

#include "tessaroc/core/data_types.h"

namespace tessaroc::graph {

namespace {

struct Table {
  std::mutex mutex;
  std::map<std::string, DescriptionFinalizer, std::less<>> entries;
};
Table& Finalizers() {
  static Table* t = new Table;
  return *t;
}

// Sets the default of one port of knot `knot` ("color" of knot 0 is the
// element port "color#0"); a knot the node does not have is left alone.
template <class T>
Result SetKnotDefault(GraphNode& node, const char* port, int knot, const DataType& type, const T& value) {
  PortList* inputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(node.GetPortList(0, inputs));
  GraphPort* p = nullptr;
  const std::string id = std::string(port) + "#" + std::to_string(knot);
  TESSAROC_RETURN_IF_FAILED(inputs->FindChild(Id(std::string_view(id)), p));
  if (p == nullptr) return Result::Ok();
  Data d;
  *static_cast<T*>(d.Emplace(&type)) = value;
  return p->SetAttribute(kAttrDefaultValue, d);
}

}  // namespace

Result RegisterDescriptionFinalizer(std::string_view assetId, DescriptionFinalizer finalizer) {
  Table& t = Finalizers();
  std::lock_guard<std::mutex> lock(t.mutex);
  if (!t.entries.emplace(std::string(assetId), finalizer).second)
    return Result::Fail(errors::kIllegalState, "a description finaliser for " + std::string(assetId) + " exists");
  return Result::Ok();
}

Result UnregisterDescriptionFinalizer(std::string_view assetId) {
  Table& t = Finalizers();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.entries.find(assetId);
  if (it == t.entries.end())
    return Result::Fail(errors::kUnresolved, "no description finaliser for " + std::string(assetId));
  t.entries.erase(it);
  return Result::Ok();
}

DescriptionFinalizer FindDescriptionFinalizer(std::string_view assetId) {
  Table& t = Finalizers();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.entries.find(assetId);
  return it == t.entries.end() ? nullptr : it->second;
}

Result FinalizeGradientDescription(GraphNode& node) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(&node));
  TESSAROC_RETURN_IF_FAILED(SetKnotDefault(node, "color", 0, kColorAType, ColorA{0, 0, 0, 1}));
  TESSAROC_RETURN_IF_FAILED(SetKnotDefault(node, "position", 0, kFloat64Type, 0.0));
  TESSAROC_RETURN_IF_FAILED(SetKnotDefault(node, "interpolation", 0, kIdType, CanonicalId("linearknot")));
  return SetKnotDefault(node, "interpolation", 1, kIdType, CanonicalId("linearknot"));
}

Result FinalizeSplineDescription(GraphNode& node) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(&node));
  for (int knot = 0; knot < 2; ++knot) {
    TESSAROC_RETURN_IF_FAILED(SetKnotDefault(node, "tangentleft", knot, kVector2dType, Vector2d{-0.2, -0.2}));
    TESSAROC_RETURN_IF_FAILED(SetKnotDefault(node, "tangentright", knot, kVector2dType, Vector2d{0.2, 0.2}));
  }
  TESSAROC_RETURN_IF_FAILED(SetKnotDefault(node, "positionx", 1, kFloat64Type, 1.0));
  return SetKnotDefault(node, "positiony", 1, kFloat64Type, 1.0);
}

Result RegisterKnotFinalizers() {
  TESSAROC_RETURN_IF_FAILED(RegisterDescriptionFinalizer(kGradientAssetId, &FinalizeGradientDescription));
  Result r = RegisterDescriptionFinalizer(kSplineAssetId, &FinalizeSplineDescription);
  if (r.failed()) (void)UnregisterDescriptionFinalizer(kGradientAssetId);
  return r;
}

Result UnregisterKnotFinalizers() {
  TESSAROC_RETURN_IF_FAILED(UnregisterDescriptionFinalizer(kSplineAssetId));
  return UnregisterDescriptionFinalizer(kGradientAssetId);
}

}  // namespace tessaroc::graph
