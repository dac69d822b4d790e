// The description database: the published face of every user-facing node,
// read from the module's description resources. Locations are registered at
// module start; the files are read once, at the first lookup, and checked.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tessaroc/core/data.h"
#include "tessaroc/core/data_types.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/string.h"

namespace tessaroc::host {

struct PortTarget {
  std::string instance;  // name in the asset's `nodes`
  std::string port;      // core port id as written (matched without regard to case)
};

struct PortDescription {
  std::string id;
  bool output = false;
  const DataType* type = nullptr;
  std::string typeName;
  bool hasDefault = false;
  bool defaultIsContext = false;    // "context": an unconnected input reads the node's context
  Data defaultValue;                // an array port: each element's default
  std::vector<Data> arrayDefaults;  // an array port: the elements a document that gives none gets
  std::vector<std::string> values;  // enumeration values
  std::vector<PortTarget> targets;  // inputs: core ports fed; outputs: the one core port read
  std::string group, label, doc;
  bool hidden = false;
  bool array = false;
  bool build = false;  // a build parameter of the core node (scatter's item count): a literal, fixed per instance
};

struct WireDescription {
  PortTarget from;
  PortTarget to;
};

struct AssetDescription {
  std::string id;
  std::string alias;
  std::string group;
  std::string label;
  std::string doc;
  std::string file;                                        // where it was read from
  std::vector<std::pair<std::string, std::string>> nodes;  // instance -> core node id, in order
  std::vector<WireDescription> wires;
  std::vector<PortDescription> ports;

  const PortDescription* FindPort(std::string_view id) const;
  const std::string* CoreNodeOf(std::string_view instance) const;
};

class DescriptionDatabase {
 public:
  // Makes the location known under a database id ("net.zovan.tessarocs.module").
  Result RegisterDatabaseWithUrl(const Url& location, std::string_view databaseId);
  // A hook run once before the first read, to register locations lazily
  // (the module's description hook).
  using RegisterHook = Result (*)(DescriptionDatabase& db);
  void AddRegisterHook(RegisterHook hook);
  void RemoveRegisterHook(RegisterHook hook);
  // Forgets every registered location, hook and what was read.
  void Clear();
  std::vector<std::pair<std::string, Url>> Registered() const;

  // Reads every *.json below the registered locations, once. A mistake names
  // the file, the path inside it and the reason.
  Result Load();
  // Lookups load first; a load error makes them fail.
  Result Find(std::string_view idOrAlias, const AssetDescription*& out);
  Result Assets(std::vector<const AssetDescription*>& out);

  // Problems between the descriptions and the registered core nodes: unknown
  // core nodes, ports that no core node has, type mismatches. Empty when all agree.
  Result Validate(const CoreNodeRegistry& registry, std::vector<std::string>& problems);

  // Reads one file into a separate list (for tests and tools).
  static Result ReadFile(const std::string& path, std::vector<AssetDescription>& out);
  // The same for a file's text; `path` names it in messages.
  static Result ReadText(std::string_view text, const std::string& path, std::vector<AssetDescription>& out);

 private:
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, Url>> locations_;
  std::vector<RegisterHook> hooks_;
  bool hooksRun_ = false;
  bool loaded_ = false;
  Result loadResult_;
  std::vector<std::unique_ptr<AssetDescription>> assets_;
};

// The process-wide database.
DescriptionDatabase& Descriptions();

// The resource tree compiled into the library: a location below it (such as
// "<built-in>/modules/tessarocs.module") reads the compiled-in copies of the
// files that were below resources/ when the library was built.
inline constexpr std::string_view kBuiltInResources = "<built-in>";

// The application's resource folder, the first of: the folder given to
// SetResourceFolder, $TESSAROC_RESOURCES, the compiled-in tree.
Url ApplicationResources();

}  // namespace tessaroc::host
