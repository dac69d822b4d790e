#include "graph/graph_model.h"

#include <algorithm>

namespace tessaroc::graph {

namespace {
const Id kEmpty;
}

Result CheckSystem(const GraphNode* node) {
  if (node == nullptr || node->GetNodeSystem() == nullptr)
    return Result::Fail(errors::kIllegalState, "Illegal state: Condition this->GetNodeSystem() not fulfilled.");
  return Result::Ok();
}

Result CheckSystem(const GraphPort* port) {
  if (port == nullptr || port->GetNodeSystem() == nullptr)
    return Result::Fail(errors::kIllegalState, "Illegal state: Condition this->GetNodeSystem() not fulfilled.");
  return Result::Ok();
}

Result CheckArgumentSystem(const NodeSystem* system) {
  if (system == nullptr)
    return Result::Fail(errors::kIllegalArgument, "Illegal argument: Condition nodeSystem not fulfilled.");
  return Result::Ok();
}

const Id& NodePath::Last() const { return parts_.empty() ? kEmpty : parts_.back(); }

std::string NodePath::ToString() const {
  std::string s;
  for (const Id& p : parts_) {
    s += '/';
    s += p.view();
  }
  return s;
}

NodeSystem* GraphPort::GetNodeSystem() const { return node_ ? node_->GetNodeSystem() : nullptr; }

Result GraphPort::ReadAttribute(const Id& key, AttributeValue& out) const {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(this));
  out = std::monostate();
  for (const auto& [k, v] : attributes_)
    if (k == key) {
      out = v;
      break;
    }
  return Result::Ok();
}

Result GraphPort::SetAttribute(const Id& key, AttributeValue value) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(this));
  for (auto& [k, v] : attributes_)
    if (k == key) {
      v = std::move(value);
      return Result::Ok();
    }
  attributes_.emplace_back(Id::Owned(key.view()), std::move(value));
  return Result::Ok();
}

const AttributeValue* GraphPort::FindAttribute(const Id& key) const {
  for (const auto& [k, v] : attributes_)
    if (k == key) return &v;
  return nullptr;
}

bool GraphPort::HasAttribute(const Id& key) const {
  return std::any_of(attributes_.begin(), attributes_.end(), [&](const auto& a) { return a.first == key; });
}

Result GraphPort::ListConnections(std::vector<GraphPort*>& out) const {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(this));
  out.clear();
  for (const Wire& w : incoming_) out.push_back(w.source);
  for (const Wire& w : outgoing_) out.push_back(w.target);
  return Result::Ok();
}

NodePath GraphPort::Path() const {
  NodePath p = node_ ? node_->Path() : NodePath();
  p.Append(id_);
  return p;
}

Result PortList::FindChild(const Id& id, GraphPort*& out) const {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(node_));
  out = nullptr;
  const auto [first, last] = byWord_.equal_range(id.word() & ~Id::kOwnedBit);
  for (auto it = first; it != last; ++it)
    if (it->second->id() == id) {
      out = it->second;
      break;
    }
  return Result::Ok();
}

Result PortList::FindOrAddChild(const Id& id, GraphPort*& out) {
  TESSAROC_RETURN_IF_FAILED(FindChild(id, out));
  if (out) return Result::Ok();
  ports_.push_back(std::unique_ptr<GraphPort>(new GraphPort(node_, side_, id)));
  out = ports_.back().get();
  byWord_.emplace(out->id().word() & ~Id::kOwnedBit, out);
  return Result::Ok();
}

Result GraphNode::GetPortList(int selector, PortList*& out) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(this));
  if (selector != 0 && selector != 1)
    return Result::Fail(errors::kIllegalArgument, "port list selector must be 0 or 1");
  out = selector == 0 ? &inputs_ : &outputs_;
  return Result::Ok();
}

Result GraphNode::AddChild(const Id& id, NodeKind kind, std::string typeId, GraphNode*& out) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(this));
  if (kind_ != NodeKind::kGroup) return Result::Fail(errors::kIllegalState, "only a group has children");
  if (FindChild(id)) return Result::Fail(errors::kIllegalArgument, "a node " + id.str() + " exists already");
  children_.push_back(std::unique_ptr<GraphNode>(new GraphNode(system_, this, id, kind, std::move(typeId))));
  out = children_.back().get();
  childrenByWord_.emplace(out->id().word() & ~Id::kOwnedBit, out);
  return Result::Ok();
}

GraphNode* GraphNode::FindChild(const Id& id) const {
  const auto [first, last] = childrenByWord_.equal_range(id.word() & ~Id::kOwnedBit);
  for (auto it = first; it != last; ++it)
    if (it->second->id() == id) return it->second;
  return nullptr;
}

NodePath GraphNode::Path() const {
  NodePath p = parent_ ? parent_->Path() : NodePath();
  p.Append(id_);
  return p;
}

NodeSystem::NodeSystem(const Id& rootId)
    : root_(new GraphNode(this, nullptr, rootId, NodeKind::kGroup, std::string())) {}

std::unique_ptr<GraphNode> NodeSystem::MakeDetachedNode(const Id& id) {
  return std::unique_ptr<GraphNode>(new GraphNode(nullptr, nullptr, id, NodeKind::kGroup, std::string()));
}

Result Connect(GraphPort* source, GraphPort* target, uint64_t word) {
  TESSAROC_RETURN_IF_FAILED(CheckSystem(source));
  TESSAROC_RETURN_IF_FAILED(CheckSystem(target));
  TESSAROC_RETURN_IF_FAILED(
      CheckArgumentSystem(source->GetNodeSystem() == target->GetNodeSystem() ? source->GetNodeSystem() : nullptr));
  for (const Wire& w : target->incoming_)
    if (w.source == source) return Result::Ok();  // wired already
  Wire w{source, target, word};
  target->incoming_.push_back(w);
  source->outgoing_.push_back(w);
  return Result::Ok();
}

}  // namespace tessaroc::graph
