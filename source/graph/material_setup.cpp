#include "graph/material_setup.h"

#include <mutex>
#include <set>

namespace tessaroc::graph {

constinit const DataType kBsdfLayerType = MakeDataType<BsdfLayer>("net.zovan.render.datatype.bsdflayer", "BsdfLayer");

namespace {

bool IsContextPort(const GraphPort& p) { return p.dataType() == &kShadingContextType; }

// Connects a node's own context inputs to the group's context source, then
// goes down into nested groups.
Result WireContextInputs(GraphNode& group, GraphPort* source) {
  for (const auto& child : group.children()) {
    PortList* inputs = nullptr;
    TESSAROC_RETURN_IF_FAILED(child->GetPortList(0, inputs));
    for (const auto& port : inputs->ports()) {
      if (!IsContextPort(*port)) continue;
      AttributeValue flags;
      TESSAROC_RETURN_IF_FAILED(port->ReadAttribute(kAttrPortFlags, flags));
      TESSAROC_RETURN_IF_FAILED(port->SetAttribute(kAttrFixedType, &kShadingContextType));
      if (!port->incoming().empty()) continue;  // a placed context, or wired before
      const uint64_t word = port->id() == Id("context") ? kWireContext : kWireContextLocal;
      TESSAROC_RETURN_IF_FAILED(Connect(source, port.get(), word));
    }
    if (child->kind() == NodeKind::kGroup) {
      GraphPort* childContext = nullptr;
      TESSAROC_RETURN_IF_FAILED(inputs->FindOrAddChild("context", childContext));
      childContext->SetDataType(&kShadingContextType);
      if (childContext->incoming().empty()) TESSAROC_RETURN_IF_FAILED(Connect(source, childContext, kWireContext));
      TESSAROC_RETURN_IF_FAILED(SetupContext(*child));
    }
  }
  return Result::Ok();
}

Result ShadingContextPort(GraphNode& root, GraphPort*& out) {
  PortList* outputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(root.GetPortList(1, outputs));
  NodePath path;
  path.Append("shadingcontext");
  TESSAROC_RETURN_IF_FAILED(outputs->FindOrAddChild(path.Last(), out));
  out->SetDataType(&kShadingContextType);
  return Result::Ok();
}

}  // namespace

Result SetupContext(GraphNode& root) {
  PortList* inputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(root.GetPortList(0, inputs));
  GraphPort* context = nullptr;
  TESSAROC_RETURN_IF_FAILED(inputs->FindChild("context", context));
  GraphPort* shading = nullptr;
  TESSAROC_RETURN_IF_FAILED(ShadingContextPort(root, shading));
  TESSAROC_RETURN_IF_FAILED(shading->SetAttribute(kAttrFixedType, &kShadingContextType));
  // A context handed to the group from outside feeds its shading context.
  GraphPort* local = nullptr;
  TESSAROC_RETURN_IF_FAILED(inputs->FindChild("contextlocal", local));
  if (local) TESSAROC_RETURN_IF_FAILED(Connect(local, shading, kWireContextLocal));
  else if (context) TESSAROC_RETURN_IF_FAILED(Connect(context, shading, kWireContext));
  TESSAROC_RETURN_IF_FAILED(shading->SetAttribute(kAttrContextMember, true));
  return WireContextInputs(root, shading);
}

Result SetupMaterial(GraphNode& root) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(&root));
  TESSAROC_RETURN_IF_FAILED(SetupContext(root));

  PortList* outputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(root.GetPortList(1, outputs));
  GraphPort* materialOut = nullptr;
  TESSAROC_RETURN_IF_FAILED(outputs->FindOrAddChild("materialout", materialOut));
  materialOut->SetDataType(&kBsdfLayerType);
  TESSAROC_RETURN_IF_FAILED(materialOut->SetAttribute(kAttrTappingPort, true));
  TESSAROC_RETURN_IF_FAILED(materialOut->SetAttribute(kAttrInternalHidden, true));

  PortList* inputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(root.GetPortList(0, inputs));
  GraphPort* layers = nullptr;
  TESSAROC_RETURN_IF_FAILED(inputs->FindOrAddChild("layers", layers));
  layers->SetDataType(&kBsdfLayerType);
  GraphPort* bsdfLayers = nullptr;
  TESSAROC_RETURN_IF_FAILED(outputs->FindChild("bsdflayers", bsdfLayers));
  if (bsdfLayers == nullptr) TESSAROC_RETURN_IF_FAILED(inputs->FindChild("bsdflayers", bsdfLayers));
  if (bsdfLayers) TESSAROC_RETURN_IF_FAILED(Connect(bsdfLayers, layers, kWireValue));
  TESSAROC_RETURN_IF_FAILED(Connect(layers, materialOut, kWireContext));
  TESSAROC_RETURN_IF_FAILED(layers->SetAttribute(kAttrInternalHidden, true));

  GraphPort* shading = nullptr;
  TESSAROC_RETURN_IF_FAILED(ShadingContextPort(root, shading));
  TESSAROC_RETURN_IF_FAILED(shading->SetAttribute(kAttrContextMemberDefinitionPrefix, std::string("shadingcontext")));

  // Forward the context to any context input the walk above could not reach
  // (ports added after the node was made).
  for (const auto& child : root.children()) {
    GraphPort* port = nullptr;
    TESSAROC_RETURN_IF_FAILED(child->inputs().FindChild("context", port));
    if (port && port->incoming().empty()) TESSAROC_RETURN_IF_FAILED(Connect(shading, port, kWireValue));
  }
  return Result::Ok();
}

Result CreateForwardingWires(GraphNode& root) {
  PortList* outputs = nullptr;
  PortList* inputs = nullptr;
  TESSAROC_RETURN_IF_FAILED(root.GetPortList(1, outputs));
  TESSAROC_RETURN_IF_FAILED(root.GetPortList(0, inputs));
  GraphPort* shading = nullptr;
  TESSAROC_RETURN_IF_FAILED(ShadingContextPort(root, shading));
  for (const auto& child : root.children()) {
    for (const auto& port : child->inputs().ports()) {
      AttributeValue flags;
      TESSAROC_RETURN_IF_FAILED(port->ReadAttribute(kAttrPortFlags, flags));
      if (port->Path().Last() != Id("context") || !port->incoming().empty()) continue;
      TESSAROC_RETURN_IF_FAILED(Connect(shading, port.get(), kWireValue));
      TESSAROC_RETURN_IF_FAILED(port->SetAttribute(kAttrInternalHidden, true));
    }
  }
  return SetupContext(root);
}

bool ReachesRootShadingContext(const GraphPort& port) {
  std::vector<const GraphPort*> stack{&port};
  std::set<const GraphPort*> seen;
  while (!stack.empty()) {
    const GraphPort* p = stack.back();
    stack.pop_back();
    if (!seen.insert(p).second) continue;
    const GraphNode* n = p->node();
    if (n && n->parent() == nullptr && p->side() == PortSide::kOutputs && p->id() == Id("shadingcontext")) return true;
    for (const Wire& w : p->incoming()) stack.push_back(w.source);
    // Inside a nested group its shading context is fed by its context input.
    if (n && n->parent() != nullptr && n->kind() == NodeKind::kGroup && p->id() == Id("shadingcontext"))
      for (const auto& q : n->inputs().ports())
        if (q->id() == Id("context")) stack.push_back(q.get());
  }
  return false;
}

namespace {
struct Published {
  std::mutex mutex;
  std::vector<PublishedEntry> entries;
};
Published& Table() {
  static Published* p = new Published;
  return *p;
}
}  // namespace

Result PublishFunction(const PublishedEntry& entry) {
  Published& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (const PublishedEntry& e : t.entries)
    if (std::string_view(e.id) == entry.id)
      return Result::Fail(errors::kIllegalState, std::string("function published twice: ") + entry.id);
  t.entries.push_back(entry);
  return Result::Ok();
}

Result UnpublishFunction(std::string_view id) {
  Published& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (auto it = t.entries.begin(); it != t.entries.end(); ++it)
    if (std::string_view(it->id) == id) {
      t.entries.erase(it);
      return Result::Ok();
    }
  return Result::Fail(errors::kUnresolved, "no published function " + std::string(id));
}

const PublishedEntry* FindPublishedFunction(std::string_view id) {
  Published& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (const PublishedEntry& e : t.entries)
    if (std::string_view(e.id) == id) return &e;
  return nullptr;
}

std::vector<PublishedEntry> PublishedFunctions() {
  Published& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  return t.entries;
}

}  // namespace tessaroc::graph
