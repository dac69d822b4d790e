#include "graph/passthrough_node.h"

#include <mutex>
#include <string>
#include <vector>

namespace tessaroc::graph {

namespace {

struct Builtins {
  std::mutex mutex;
  std::vector<std::pair<std::string, BuiltinBuilder>> entries;
};
Builtins& Table() {
  static Builtins* b = new Builtins;
  return *b;
}

Result SetPortAttributes(GraphPort* port, const char* label, const DataType* type) {
  TESSAROC_RETURN_IF_FAILED(port->SetAttribute("net.zovan.description.data.base.label", std::string(label)));
  TESSAROC_RETURN_IF_FAILED(port->SetAttribute("net.zovan.description.data.base.datatype",
                                               type ? std::string(type->id.view()) : std::string()));
  TESSAROC_RETURN_IF_FAILED(port->SetAttribute(kAttrFixedType, type));
  TESSAROC_RETURN_IF_FAILED(port->SetAttribute(kAttrDefaultValue, std::monostate()));
  port->SetDataType(type);
  return Result::Ok();
}

}  // namespace

Result BuildPassThrough(GraphNode& parent, const Id& name, const DataType* type, GraphNode*& out) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(&parent));
  TESSAROC_RETURN_IF_FAILED(parent.AddChild(name, NodeKind::kBuiltin, kPassThroughId, out));
  PortList* inputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(out->GetPortList(0, inputs));
  GraphPort* color = nullptr;
  TESSAROC_RETURN_IF_FAILED(inputs->FindOrAddChild("color", color));
  TESSAROC_RETURN_IF_FAILED(SetPortAttributes(color, "Input", type));
  PortList* outputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(out->GetPortList(1, outputs));
  GraphPort* through = nullptr;
  TESSAROC_RETURN_IF_FAILED(outputs->FindOrAddChild("passthrough", through));
  return SetPortAttributes(through, "Output", type);
}

Result RegisterPassThroughNode() {
  Builtins& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (const auto& e : t.entries)
    if (e.first == kPassThroughId) return Result::Fail(errors::kIllegalState, "pass-through node registered twice");
  t.entries.emplace_back(kPassThroughId, &BuildPassThrough);
  return Result::Ok();
}

Result UnregisterPassThroughNode() {
  Builtins& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (auto it = t.entries.begin(); it != t.entries.end(); ++it)
    if (it->first == kPassThroughId) {
      t.entries.erase(it);
      return Result::Ok();
    }
  return Result::Fail(errors::kUnresolved, "pass-through node is not registered");
}

BuiltinBuilder FindBuiltinNode(std::string_view id) {
  Builtins& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (const auto& e : t.entries)
    if (e.first == id) return e.second;
  return nullptr;
}

}  // namespace tessaroc::graph
