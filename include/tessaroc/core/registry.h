// The registry of core nodes: node id -> finaliser. A group is built the first
// time it is asked for, once, even when several threads ask at the same time,
// and every later request gets the same finished group.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "tessaroc/core/micronode.h"

namespace tessaroc {

class CoreNodeDefinition;

// The arguments a finaliser gets. They stand for the dictionary keys
// "net.zovan.corenode.nodeid" and "net.zovan.corenode.pure", plus the element
// count of each array port when a group is built for concrete counts.
struct NodeArguments {
  Id nodeId;
  bool pure = false;
  std::vector<int64_t> arrayCounts;
  const CoreNodeDefinition* factory = nullptr;
};

inline constexpr Id kNodeIdKey = "net.zovan.corenode.nodeid";
inline constexpr Id kPureKey = "net.zovan.corenode.pure";
inline constexpr Id kCoreNodesRegistryId = "net.zovan.corenode.registry.corenodes";

// Builds a node's group. `args` may be null (then the group has an empty id).
using Finaliser = Result (*)(const NodeArguments* args, GroupPtr& out);

class CoreNodeDefinition {
 public:
  CoreNodeDefinition(const Id& id, std::string source, Finaliser finaliser, bool pure,
                     std::vector<std::string> arrayPorts = {})
      : id_(id), source_(std::move(source)), finaliser_(finaliser), pure_(pure), arrayPorts_(std::move(arrayPorts)) {}

  const Id& id() const { return id_; }
  const std::string& source() const { return source_; }
  bool pure() const { return pure_; }
  // The ids of the node's array ports, in the order their element counts are given.
  const std::vector<std::string>& arrayPorts() const { return arrayPorts_; }
  // How many times the finaliser has run successfully (for tests and diagnostics).
  int buildCount() const { return buildCount_.load(); }

  Result GetGroup(const MicroNodeGroup*& out) const;
  Result GetGroup(std::span<const int64_t> arrayCounts, const MicroNodeGroup*& out) const;

 private:
  Result Build(std::span<const int64_t> arrayCounts, GroupPtr& out) const;

  Id id_;
  std::string source_;
  Finaliser finaliser_;
  bool pure_;
  std::vector<std::string> arrayPorts_;
  mutable std::atomic<const MicroNodeGroup*> group_{nullptr};
  mutable std::mutex mutex_;
  mutable GroupPtr owned_;
  mutable std::map<std::vector<int64_t>, GroupPtr> variants_;
  mutable std::atomic<int> buildCount_{0};
};

class CoreNodeRegistry {
 public:
  Result Register(const Id& id, std::string_view source, Finaliser finaliser, bool pure,
                  std::vector<std::string> arrayPorts = {});
  Result Unregister(const Id& id);
  const CoreNodeDefinition* Find(const Id& id) const;
  Result GetGroup(const Id& id, const MicroNodeGroup*& out) const;
  Result GetGroup(const Id& id, std::span<const int64_t> arrayCounts, const MicroNodeGroup*& out) const;
  // Entries in the order of registration.
  std::vector<const CoreNodeDefinition*> Entries() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<CoreNodeDefinition>> entries_;
};

// The process-wide registry of core nodes.
CoreNodeRegistry& CoreNodes();

}  // namespace tessaroc
