#include "tessaroc/core/registry.h"

#include <algorithm>

namespace tessaroc {

Result CoreNodeDefinition::Build(std::span<const int64_t> arrayCounts, GroupPtr& out) const {
  NodeArguments args;
  args.nodeId = id_;
  args.pure = pure_;
  args.arrayCounts.assign(arrayCounts.begin(), arrayCounts.end());
  args.factory = this;
  TESSAROC_RETURN_IF_FAILED(finaliser_(&args, out));
  if (!out || !out->finalized())
    return Result::Fail(errors::kIllegalState, "finaliser of " + id_.str() + " returned no finished group");
  buildCount_.fetch_add(1);
  return Result::Ok();
}

Result CoreNodeDefinition::GetGroup(const MicroNodeGroup*& out) const {
  out = group_.load(std::memory_order_acquire);
  if (out) return Result::Ok();
  std::lock_guard<std::mutex> lock(mutex_);
  out = group_.load(std::memory_order_relaxed);
  if (out) return Result::Ok();
  GroupPtr built;
  TESSAROC_RETURN_IF_FAILED(Build({}, built));
  owned_ = std::move(built);
  out = owned_.get();
  group_.store(out, std::memory_order_release);
  return Result::Ok();
}

Result CoreNodeDefinition::GetGroup(std::span<const int64_t> arrayCounts, const MicroNodeGroup*& out) const {
  if (arrayCounts.empty()) return GetGroup(out);
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<int64_t> key(arrayCounts.begin(), arrayCounts.end());
  auto it = variants_.find(key);
  if (it == variants_.end()) {
    GroupPtr built;
    TESSAROC_RETURN_IF_FAILED(Build(arrayCounts, built));
    it = variants_.emplace(std::move(key), std::move(built)).first;
  }
  out = it->second.get();
  return Result::Ok();
}

Result CoreNodeRegistry::Register(const Id& id, std::string_view source, Finaliser finaliser, bool pure,
                                  std::vector<std::string> arrayPorts) {
  if (id.empty() || finaliser == nullptr)
    return Result::Fail(errors::kIllegalArgument, "registering a node needs an id and a finaliser");
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& e : entries_)
    if (e->id() == id) return Result::Fail(errors::kIllegalState, "node registered twice: " + id.str());
  entries_.push_back(std::make_unique<CoreNodeDefinition>(Id::Owned(id.view()), std::string(source), finaliser, pure,
                                                          std::move(arrayPorts)));
  return Result::Ok();
}

Result CoreNodeRegistry::Unregister(const Id& id) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const auto& e) { return e->id() == id; });
  if (it == entries_.end()) return Result::Fail(errors::kUnresolved, "node not registered: " + id.str());
  entries_.erase(it);
  return Result::Ok();
}

const CoreNodeDefinition* CoreNodeRegistry::Find(const Id& id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& e : entries_)
    if (e->id() == id) return e.get();
  return nullptr;
}

Result CoreNodeRegistry::GetGroup(const Id& id, const MicroNodeGroup*& out) const {
  out = nullptr;
  const CoreNodeDefinition* def = Find(id);
  if (def == nullptr) return Result::Fail(errors::kUnresolved, "unknown core node: " + id.str());
  return def->GetGroup(out);
}

Result CoreNodeRegistry::GetGroup(const Id& id, std::span<const int64_t> arrayCounts,
                                  const MicroNodeGroup*& out) const {
  out = nullptr;
  const CoreNodeDefinition* def = Find(id);
  if (def == nullptr) return Result::Fail(errors::kUnresolved, "unknown core node: " + id.str());
  return def->GetGroup(arrayCounts, out);
}

std::vector<const CoreNodeDefinition*> CoreNodeRegistry::Entries() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<const CoreNodeDefinition*> out;
  for (const auto& e : entries_) out.push_back(e.get());
  return out;
}

CoreNodeRegistry& CoreNodes() {
  static CoreNodeRegistry* registry = new CoreNodeRegistry;
  return *registry;
}

}  // namespace tessaroc
