// The host's graph model, as material setup and the document loader use it:
// nodes with input and output port lists, ports with attributes and values,
// wires carrying their wire words, node paths. Every object belongs to a node
// system; an operation on an object without one fails.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "tessaroc/core/data.h"
#include "tessaroc/core/data_types.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/result.h"

namespace tessaroc::graph {

class NodeSystem;
class GraphNode;
class GraphPort;

// Attribute keys the setup functions use.
inline constexpr const char* kAttrPortFlags = "portflags";
inline constexpr const char* kAttrFixedType = "fixedtype";
inline constexpr const char* kAttrContextMember = "contextmember";
inline constexpr const char* kAttrContextMemberDefinitionPrefix = "contextmemberdefinitionprefix";
inline constexpr const char* kAttrTappingPort = "tappingport";
inline constexpr const char* kAttrInternalHidden = "net.zovan.node.attribute.internalhidden";
inline constexpr const char* kAttrDefaultValue = "net.zovan.description.data.base.defaultvalue";

// Wire words.
inline constexpr uint64_t kWireValue = 0x101010;
inline constexpr uint64_t kWireContextLocal = 0x1010000008;
inline constexpr uint64_t kWireContext = 0x10000000;

using AttributeValue = std::variant<std::monostate, bool, int64_t, std::string, const DataType*, Data>;

enum class PortSide : int { kInputs = 0, kOutputs = 1 };

struct Wire {
  GraphPort* source = nullptr;
  GraphPort* target = nullptr;
  uint64_t word = 0;
};

// A path of ids from a root down to a port.
class NodePath {
 public:
  void Append(const Id& id) { parts_.push_back(Id::Owned(id.view())); }
  const Id& Last() const;
  const std::vector<Id>& parts() const { return parts_; }
  std::string ToString() const;

 private:
  std::vector<Id> parts_;
};

class GraphPort {
 public:
  const Id& id() const { return id_; }
  GraphNode* node() const { return node_; }
  PortSide side() const { return side_; }
  NodeSystem* GetNodeSystem() const;

  const DataType* dataType() const { return type_; }
  void SetDataType(const DataType* type) { type_ = type; }

  Result ReadAttribute(const Id& key, AttributeValue& out) const;
  Result SetAttribute(const Id& key, AttributeValue value);
  bool HasAttribute(const Id& key) const;
  // The stored attribute, or null; valid while the port keeps it.
  const AttributeValue* FindAttribute(const Id& key) const;

  // A literal value set on the port (an input's value), or empty.
  const Data& value() const { return value_; }
  Data& value() { return value_; }

  // Wires into this port (as a target) and out of it (as a source).
  const std::vector<Wire>& incoming() const { return incoming_; }
  const std::vector<Wire>& outgoing() const { return outgoing_; }
  // Every port wired to this one, either way.
  Result ListConnections(std::vector<GraphPort*>& out) const;

  NodePath Path() const;

 private:
  friend class PortList;
  friend class GraphNode;
  friend Result Connect(GraphPort* source, GraphPort* target, uint64_t word);
  GraphPort(GraphNode* node, PortSide side, const Id& id) : id_(Id::Owned(id.view())), node_(node), side_(side) {}
  Id id_;
  GraphNode* node_;
  PortSide side_;
  const DataType* type_ = nullptr;
  std::vector<std::pair<Id, AttributeValue>> attributes_;
  Data value_;
  std::vector<Wire> incoming_;
  std::vector<Wire> outgoing_;
};

class PortList {
 public:
  GraphNode* node() const { return node_; }
  PortSide side() const { return side_; }
  // The port, or null ("an empty port") when there is none.
  Result FindChild(const Id& id, GraphPort*& out) const;
  Result FindOrAddChild(const Id& id, GraphPort*& out);
  const std::vector<std::unique_ptr<GraphPort>>& ports() const { return ports_; }

 private:
  friend class GraphNode;
  PortList(GraphNode* node, PortSide side) : node_(node), side_(side) {}
  GraphNode* node_;
  PortSide side_;
  std::vector<std::unique_ptr<GraphPort>> ports_;
  // The ports by their id's word: a lookup per array element stays constant
  // time, so a gradient of 100,000 knots reads in linear time.
  std::unordered_multimap<uint64_t, GraphPort*> byWord_;
};

// What a node stands for: a group (a material root or a nested group), an
// asset of the description resources, a core node, or a builtin node.
enum class NodeKind { kGroup, kAsset, kCoreNode, kBuiltin };

class GraphNode {
 public:
  const Id& id() const { return id_; }
  NodeKind kind() const { return kind_; }
  // Asset id, core node id or builtin id; empty for a group.
  const std::string& typeId() const { return typeId_; }
  GraphNode* parent() const { return parent_; }
  NodeSystem* GetNodeSystem() const { return system_; }

  // Selector 0 gives the inputs, 1 the outputs.
  Result GetPortList(int selector, PortList*& out);
  PortList& inputs() { return inputs_; }
  PortList& outputs() { return outputs_; }
  const PortList& inputs() const { return inputs_; }
  const PortList& outputs() const { return outputs_; }

  // Children of a group, in the order they were added.
  Result AddChild(const Id& id, NodeKind kind, std::string typeId, GraphNode*& out);
  GraphNode* FindChild(const Id& id) const;
  const std::vector<std::unique_ptr<GraphNode>>& children() const { return children_; }

  NodePath Path() const;

 private:
  friend class NodeSystem;
  GraphNode(NodeSystem* system, GraphNode* parent, const Id& id, NodeKind kind, std::string typeId)
      : id_(Id::Owned(id.view())),
        kind_(kind),
        typeId_(std::move(typeId)),
        parent_(parent),
        system_(system),
        inputs_(this, PortSide::kInputs),
        outputs_(this, PortSide::kOutputs) {}
  Id id_;
  NodeKind kind_;
  std::string typeId_;
  GraphNode* parent_;
  NodeSystem* system_;
  PortList inputs_;
  PortList outputs_;
  std::vector<std::unique_ptr<GraphNode>> children_;
  std::unordered_multimap<uint64_t, GraphNode*> childrenByWord_;  // a document of 20,000 nodes adds them in linear time
};

// Owns a graph: one root group and everything below it.
class NodeSystem {
 public:
  explicit NodeSystem(const Id& rootId = "root");
  GraphNode& root() { return *root_; }
  const GraphNode& root() const { return *root_; }

  // A node that belongs to no system, for checking the setup functions'
  // failure paths the way a host would hit them.
  static std::unique_ptr<GraphNode> MakeDetachedNode(const Id& id);

 private:
  std::unique_ptr<GraphNode> root_;
};

// Creates the wire. The first argument is where the value comes from.
Result Connect(GraphPort* source, GraphPort* target, uint64_t word);

// The node-system checks and their messages.
Result CheckSystem(const GraphNode* node);
Result CheckSystem(const GraphPort* port);
Result CheckArgumentSystem(const NodeSystem* system);

}  // namespace tessaroc::graph
