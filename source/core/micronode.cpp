#include "tessaroc/core/micronode.h"

#include <algorithm>
#include <new>
#include <unordered_map>

namespace tessaroc {

Result PortAccessBuilder::PrivateDescribePortAccess(int64_t accessIndex, int64_t key, int isOutput) {
  if (accessIndex != static_cast<int64_t>(lines_.size()))
    return Result::Fail(errors::kIllegalArgument,
                        "port access described out of order at index " + std::to_string(accessIndex));
  lines_.push_back({accessIndex, key, isOutput});
  return Result::Ok();
}

MicroNodeGroup::~MicroNodeGroup() {
  for (MicroNodeEntry& m : microNodes_)
    if (m.impl && m.impl->dispose) m.impl->dispose(m.impl);
}

MicroNodeGroup* MicroNodeGroup::Alloc(const SourceLocation&) { return new (std::nothrow) MicroNodeGroup(); }

Result MicroNodeGroup::SetId(const Id& id) {
  if (finalized_) return Result::Fail(errors::kIllegalState, "group is finalised");
  id_ = id;
  return Result::Ok();
}

Result MicroNodeGroup::PrivateCreatePort(int64_t key, const Id& id, MicroNode::TYPE type, uint32_t flags,
                                         const DataType* dataType, int64_t index) {
  if (finalized_) return Result::Fail(errors::kIllegalState, "group is finalised");
  if (dataType == nullptr) return Result::Fail(errors::kNullPtr, "port " + id.str() + " has no data type");
  if (type != MicroNode::VIRTUAL_INPUT_PORT && type != MicroNode::VARIABLE)
    return Result::Fail(errors::kIllegalArgument, "unsupported port type for " + id.str());
  if (!keys_.insert(key).second) return Result::Fail(errors::kIllegalArgument, "duplicate port " + id.str());
  Port port{id, key, type, flags, dataType, index};
  if (index < 0 || index >= static_cast<int64_t>(ports_.size())) {
    port.index = static_cast<int64_t>(ports_.size());
    ports_.push_back(port);
  } else {
    ports_.insert(ports_.begin() + index, port);
    for (size_t i = 0; i < ports_.size(); ++i) ports_[i].index = static_cast<int64_t>(i);
  }
  return Result::Ok();
}

Port* MicroNodeGroup::PrivateGetMicroNode(const Id& portId, const DataType*, MicroNode::TYPE type, int) {
  if (finalized_) return nullptr;
  for (Port& p : ports_)
    if (p.id == portId && p.type == type) return &p;
  return nullptr;
}

Result MicroNodeGroup::AddFlags(Port* port, uint32_t flags) {
  if (port == nullptr) return Result::Fail(errors::kNullPtr, "no port to add flags to");
  port->flags |= flags;
  return Result::Ok();
}

Result MicroNodeGroup::AddMicroNode(const Id& name, MicroNodeImpl* impl) {
  if (impl == nullptr) return Result::Fail(errors::kNullPtr, "micro node without implementation");
  if (finalized_) {
    if (impl->dispose) impl->dispose(impl);
    return Result::Fail(errors::kIllegalState, "group is finalised");
  }
  microNodes_.push_back({name, impl, {}});
  return Result::Ok();
}

Result MicroNodeGroup::InitFactory(const CoreNodeDefinition* factory) {
  factory_ = factory;
  return Result::Ok();
}

Result MicroNodeGroup::PrivateFinalize() {
  if (finalized_) return Result::Fail(errors::kIllegalState, "group finalised twice");
  std::unordered_map<int64_t, size_t> portOfKey;  // made at the first micro node: the ports are all there
  for (MicroNodeEntry& m : microNodes_) {
    if (m.impl->describe == nullptr || m.impl->kernel == nullptr)
      return Result::Fail(errors::kNullPtr, "micro node without describe or kernel in " + id_.str());
    PortAccessBuilder builder;
    TESSAROC_RETURN_IF_FAILED(m.impl->describe(*m.impl, builder));
    if (builder.lines().size() != m.impl->portCount)
      return Result::Fail(errors::kIllegalState, "describe of " + id_.str() + " gave " +
                                                     std::to_string(builder.lines().size()) + " ports, portCount is " +
                                                     std::to_string(m.impl->portCount));
    m.portOfAccess.clear();
    if (portOfKey.empty())
      for (size_t i = 0; i < ports_.size(); ++i) portOfKey.emplace(ports_[i].key, i);
    for (const PortAccessBuilder::Line& line : builder.lines()) {
      const auto found = portOfKey.find(line.key);
      const auto it = found == portOfKey.end() ? ports_.end() : ports_.begin() + static_cast<ptrdiff_t>(found->second);
      if (it == ports_.end())
        return Result::Fail(errors::kIllegalState,
                            "describe of " + id_.str() + " names an unknown port key " + std::to_string(line.key));
      if (it->IsInput() == (line.isOutput != 0))
        return Result::Fail(errors::kIllegalState,
                            "describe of " + id_.str() + " gives port " + it->id.str() + " the wrong direction");
      m.portOfAccess.push_back(static_cast<int>(it - ports_.begin()));
    }
  }
  for (size_t i = 0; i < ports_.size(); ++i)
    portsByWord_.emplace(ports_[i].id.word() & ~Id::kOwnedBit, static_cast<int>(i));
  finalized_ = true;
  return Result::Ok();
}

int MicroNodeGroup::FindPortIndex(const Id& id, bool input) const {
  if (finalized_) {
    // The first in port order, as the scan below finds it.
    int first = -1;
    const auto [from, to] = portsByWord_.equal_range(id.word() & ~Id::kOwnedBit);
    for (auto it = from; it != to; ++it)
      if (ports_[it->second].IsInput() == input && ports_[it->second].id == id && (first < 0 || it->second < first))
        first = it->second;
    return first;
  }
  for (size_t i = 0; i < ports_.size(); ++i)
    if (ports_[i].IsInput() == input && ports_[i].id == id) return static_cast<int>(i);
  return -1;
}

int MicroNodeGroup::FindPortIndex(const Id& id) const {
  int i = FindPortIndex(id, true);
  return i >= 0 ? i : FindPortIndex(id, false);
}

}  // namespace tessaroc
