#include "host/resources/description_database.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>

#include "tessaroc/core/string.h"
#include "tessaroc/host/host_services.h"
#include "host/resources/embedded_resources.h"
#include "host/resources/values.h"

namespace tessaroc::host {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

// Integers of any width feed each other; literals are range-checked when compiled.
bool IsInteger(const DataType& t) {
  const DataType* s = t.Storage();
  return s == &kInt64Type || s == &kInt32Type || s == &kUInt32Type;
}

// Collects the first mistake of a file with its JSON path.
struct Reader {
  std::string file;
  Result error;

  bool Fail(const std::string& path, const std::string& why) {
    if (error.ok()) error = Result::Fail(errors::kIllegalArgument, file + ": " + path + ": " + why);
    return false;
  }
  bool String(const json& obj, const char* key, const std::string& path, std::string& out, bool required) {
    auto it = obj.find(key);
    if (it == obj.end()) return required ? Fail(path + "/" + key, "missing") : true;
    if (!it->is_string()) return Fail(path + "/" + key, "expected text");
    out = it->get<std::string>();
    if (required && out.empty()) return Fail(path + "/" + key, "must not be empty");
    return true;
  }
  bool Target(const std::string& text, const std::string& path, PortTarget& out) {
    const size_t dot = text.find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == text.size())
      return Fail(path, "expected instance.port, got \"" + text + "\"");
    out = {text.substr(0, dot), text.substr(dot + 1)};
    return true;
  }

  bool Port(const json& j, const std::string& path, const AssetDescription& asset, PortDescription& p) {
    if (!j.is_object()) return Fail(path, "expected an object");
    static const std::set<std::string> known = {"id",    "direction", "type", "default", "values", "to",       "from",
                                                "group", "label",     "doc",  "hidden",  "array",  "elements", "build"};
    for (auto it = j.begin(); it != j.end(); ++it)
      if (!known.count(it.key())) return Fail(path + "/" + it.key(), "unknown field");
    if (!String(j, "id", path, p.id, true)) return false;
    for (char c : p.id)
      if (std::isupper(static_cast<unsigned char>(c))) return Fail(path + "/id", "published ids are lower case");
    std::string direction = "in";
    if (!String(j, "direction", path, direction, false)) return false;
    if (direction != "in" && direction != "out") return Fail(path + "/direction", "expected \"in\" or \"out\"");
    p.output = direction == "out";
    if (!String(j, "type", path, p.typeName, true)) return false;
    p.type = TypeFromName(p.typeName);
    if (p.type == nullptr) return Fail(path + "/type", "unknown type \"" + p.typeName + "\"; known: " + TypeNameList());
    if (!String(j, "group", path, p.group, false) || !String(j, "label", path, p.label, false) ||
        !String(j, "doc", path, p.doc, false))
      return false;
    for (auto [flag, field] :
         {std::pair<const char*, bool*>{"hidden", &p.hidden}, {"array", &p.array}, {"build", &p.build}}) {
      auto it = j.find(flag);
      if (it == j.end()) continue;
      if (!it->is_boolean()) return Fail(path + "/" + flag, "expected true or false");
      *field = it->get<bool>();
    }
    if (p.build && p.type != &kInt64Type) return Fail(path + "/type", "a build parameter is an int");
    if (auto it = j.find("values"); it != j.end()) {
      if (!it->is_array() || it->empty()) return Fail(path + "/values", "expected a list of values");
      for (size_t i = 0; i < it->size(); ++i) {
        if (!(*it)[i].is_string()) return Fail(path + "/values/" + std::to_string(i), "expected text");
        p.values.push_back((*it)[i].get<std::string>());
      }
      if (p.type != &kIdType && p.type != &kInternedIdType)
        return Fail(path + "/values", "only enum and id ports have values");
    }
    if (p.output) {
      if (j.contains("default")) return Fail(path + "/default", "outputs have no default");
      if (j.contains("to")) return Fail(path + "/to", "outputs use \"from\"");
      std::string from = "main." + p.id;
      if (!String(j, "from", path, from, false)) return false;
      PortTarget t;
      if (!Target(from, path + "/from", t)) return false;
      p.targets.push_back(t);
    } else {
      if (j.contains("from")) return Fail(path + "/from", "inputs use \"to\"");
      if (auto it = j.find("to"); it != j.end() && it->is_string()) {
        PortTarget t;
        if (!Target(it->get<std::string>(), path + "/to", t)) return false;
        p.targets.push_back(t);
      } else if (it != j.end()) {
        if (!it->is_array() || it->empty()) return Fail(path + "/to", "expected instance.port or a list of them");
        for (size_t i = 0; i < it->size(); ++i) {
          const std::string tp = path + "/to/" + std::to_string(i);
          if (!(*it)[i].is_string()) return Fail(tp, "expected text");
          PortTarget t;
          if (!Target((*it)[i].get<std::string>(), tp, t)) return false;
          p.targets.push_back(t);
        }
      } else {
        p.targets.push_back({"main", p.id});
      }
      if (auto it = j.find("default"); it != j.end()) {
        p.hasDefault = true;
        if (p.type == &kShadingContextType) {
          if (*it != "context") return Fail(path + "/default", "a context port's default is \"context\"");
          p.defaultIsContext = true;
        } else if (p.array) {
          // An array port's default is the default of each element.
          std::string why;
          if (!ValueFromJson(*it, *p.type, p.defaultValue, why)) return Fail(path + "/default", why);
        } else {
          std::string why;
          if (!ValueFromJson(*it, *p.type, p.defaultValue, why)) return Fail(path + "/default", why);
          if (!p.values.empty() &&
              std::find(p.values.begin(), p.values.end(), it->get<std::string>()) == p.values.end())
            return Fail(path + "/default", "\"" + it->get<std::string>() + "\" is not one of its values");
        }
      }
    }
    if (auto it = j.find("elements"); it != j.end()) {
      if (!p.array) return Fail(path + "/elements", "only array ports have default elements");
      if (!it->is_array()) return Fail(path + "/elements", "expected a list of element values");
      for (size_t k = 0; k < it->size(); ++k) {
        std::string why;
        Data element;
        if (!ValueFromJson((*it)[k], *p.type, element, why)) return Fail(path + "/elements/" + std::to_string(k), why);
        p.arrayDefaults.push_back(element);
      }
    }
    for (const PortTarget& t : p.targets)
      if (!asset.CoreNodeOf(t.instance))
        return Fail(path, "names instance \"" + t.instance + "\", which the asset's nodes do not list");
    return true;
  }

  bool Asset(const json& j, const std::string& path, AssetDescription& a) {
    if (!j.is_object()) return Fail(path, "expected an object");
    static const std::set<std::string> known = {"id", "alias", "group", "label", "doc", "nodes", "wires", "ports"};
    for (auto it = j.begin(); it != j.end(); ++it)
      if (!known.count(it.key())) return Fail(path + "/" + it.key(), "unknown field");
    if (!String(j, "id", path, a.id, true) || !String(j, "alias", path, a.alias, true) ||
        !String(j, "group", path, a.group, true) || !String(j, "label", path, a.label, true) ||
        !String(j, "doc", path, a.doc, false))
      return false;
    auto nodes = j.find("nodes");
    if (nodes == j.end()) return Fail(path + "/nodes", "missing");
    if (!nodes->is_object() || nodes->empty())
      return Fail(path + "/nodes", "expected instance names and core node ids");
    for (auto it = nodes->begin(); it != nodes->end(); ++it) {
      if (!it->is_string()) return Fail(path + "/nodes/" + it.key(), "expected a core node id");
      a.nodes.emplace_back(it.key(), it->get<std::string>());
    }
    // nlohmann keeps object keys sorted; the order that matters is "pre"
    // nodes first, which the compiler takes from the wires, not from here.
    if (auto wires = j.find("wires"); wires != j.end()) {
      if (!wires->is_array()) return Fail(path + "/wires", "expected a list of [from, to] pairs");
      for (size_t i = 0; i < wires->size(); ++i) {
        const json& w = (*wires)[i];
        const std::string wp = path + "/wires/" + std::to_string(i);
        if (!w.is_array() || w.size() != 2 || !w[0].is_string() || !w[1].is_string())
          return Fail(wp, "expected [\"instance.port\", \"instance.port\"]");
        WireDescription d;
        if (!Target(w[0].get<std::string>(), wp + "/0", d.from) || !Target(w[1].get<std::string>(), wp + "/1", d.to))
          return false;
        if (!a.CoreNodeOf(d.from.instance) || !a.CoreNodeOf(d.to.instance))
          return Fail(wp, "names an instance the asset's nodes do not list");
        a.wires.push_back(d);
      }
    }
    auto ports = j.find("ports");
    if (ports == j.end()) return Fail(path + "/ports", "missing");
    if (!ports->is_array()) return Fail(path + "/ports", "expected a list");
    for (size_t i = 0; i < ports->size(); ++i) {
      PortDescription p;
      if (!Port((*ports)[i], path + "/ports/" + std::to_string(i), a, p)) return false;
      if (a.FindPort(p.id) && a.FindPort(p.id)->output == p.output)
        return Fail(path + "/ports/" + std::to_string(i) + "/id", "port \"" + p.id + "\" appears twice");
      a.ports.push_back(std::move(p));
    }
    return true;
  }
};

}  // namespace

const PortDescription* AssetDescription::FindPort(std::string_view id) const {
  for (const PortDescription& p : ports)
    if (EqualNoCase(p.id, id)) return &p;
  return nullptr;
}

const std::string* AssetDescription::CoreNodeOf(std::string_view instance) const {
  for (const auto& [name, core] : nodes)
    if (name == instance) return &core;
  return nullptr;
}

Result DescriptionDatabase::ReadFile(const std::string& path, std::vector<AssetDescription>& out) {
  std::ifstream in(path);
  if (!in) return Result::Fail(errors::kIo, path + ": cannot be read");
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return ReadText(text, path, out);
}

Result DescriptionDatabase::ReadText(std::string_view text, const std::string& path,
                                     std::vector<AssetDescription>& out) {
  Reader r{path, Result()};
  json doc;
  try {
    doc = json::parse(text);
  } catch (const json::parse_error& e) {
    // e.what() names the byte; give the reader line and column.
    size_t line = 1, col = 1;
    for (size_t i = 0; i + 1 < e.byte && i < text.size(); ++i) {
      if (text[i] == '\n') {
        ++line;
        col = 1;
      } else {
        ++col;
      }
    }
    return Result::Fail(errors::kIllegalArgument,
                        path + ": line " + std::to_string(line) + ", column " + std::to_string(col) + ": invalid JSON");
  }
  if (!doc.is_object()) return Result::Fail(errors::kIllegalArgument, path + ": /: expected an object");
  std::string format;
  if (!r.String(doc, "format", "", format, true)) return r.error;
  if (format != "tessaroc-resources")
    return Result::Fail(errors::kIllegalArgument, path + ": /format: expected \"tessaroc-resources\"");
  auto version = doc.find("version");
  if (version == doc.end() || !version->is_number_integer() || version->get<int>() != 1)
    return Result::Fail(errors::kIllegalArgument, path + ": /version: this build reads version 1");
  auto assets = doc.find("assets");
  if (assets == doc.end() || !assets->is_array())
    return Result::Fail(errors::kIllegalArgument, path + ": /assets: expected a list");
  for (size_t i = 0; i < assets->size(); ++i) {
    AssetDescription a;
    a.file = path;
    if (!r.Asset((*assets)[i], "/assets/" + std::to_string(i), a)) return r.error;
    out.push_back(std::move(a));
  }
  return Result::Ok();
}

Result DescriptionDatabase::RegisterDatabaseWithUrl(const Url& location, std::string_view databaseId) {
  if (location.IsEmpty()) return Result::Fail(errors::kIllegalArgument, "empty resource location");
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [id, url] : locations_)
    if (id == databaseId && url == location) return Result::Ok();
  locations_.emplace_back(std::string(databaseId), location);
  loaded_ = false;
  return Result::Ok();
}

void DescriptionDatabase::AddRegisterHook(RegisterHook hook) {
  std::lock_guard<std::mutex> lock(mutex_);
  hooks_.push_back(hook);
  hooksRun_ = false;
  loaded_ = false;
}

void DescriptionDatabase::RemoveRegisterHook(RegisterHook hook) {
  std::lock_guard<std::mutex> lock(mutex_);
  hooks_.erase(std::remove(hooks_.begin(), hooks_.end(), hook), hooks_.end());
}

void DescriptionDatabase::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  hooks_.clear();
  hooksRun_ = false;
  locations_.clear();
  assets_.clear();
  loaded_ = false;
  loadResult_ = Result();
}

std::vector<std::pair<std::string, Url>> DescriptionDatabase::Registered() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return locations_;
}

Result DescriptionDatabase::Load() {
  std::vector<RegisterHook> hooks;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!hooksRun_) {
      hooks = hooks_;
      hooksRun_ = true;
    }
  }
  for (RegisterHook hook : hooks) {
    Result r = hook(*this);
    if (r.failed()) {
      std::lock_guard<std::mutex> lock(mutex_);
      loaded_ = true;
      loadResult_ = r;
      return r;
    }
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (loaded_) return loadResult_;
  loaded_ = true;
  assets_.clear();
  std::set<std::string> dirs;
  for (const auto& [id, url] : locations_) dirs.insert(url.str());
  // (path, text) of every file; a built-in file's text is the compiled-in copy.
  std::vector<std::pair<std::string, std::optional<std::string_view>>> files;
  for (const std::string& dir : dirs) {
    const std::string builtInPrefix = std::string(kBuiltInResources) + "/";
    if (dir.starts_with(builtInPrefix)) {
      const std::string below = dir.substr(builtInPrefix.size()) + "/";
      for (const EmbeddedFile& f : EmbeddedResources())
        if (f.path.starts_with(below) && f.path.find('/', below.size()) == std::string_view::npos)
          files.emplace_back(builtInPrefix + std::string(f.path), f.text);
      continue;
    }
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) {
      loadResult_ = Result::Fail(errors::kIo, dir + ": no such resource folder");
      return loadResult_;
    }
    for (const auto& e : fs::directory_iterator(dir, ec))
      if (e.path().extension() == ".json") files.emplace_back(e.path().string(), std::nullopt);
  }
  std::sort(files.begin(), files.end());
  for (const auto& [f, builtInText] : files) {
    std::vector<AssetDescription> read;
    loadResult_ = builtInText ? ReadText(*builtInText, f, read) : ReadFile(f, read);
    if (loadResult_.failed()) {
      assets_.clear();
      return loadResult_;
    }
    for (AssetDescription& a : read) {
      for (const auto& other : assets_)
        if (other->id == a.id || other->alias == a.alias) {
          loadResult_ = Result::Fail(errors::kIllegalArgument, f + ": asset \"" + a.id + "\" or alias \"" + a.alias +
                                                                   "\" is also in " + other->file);
          assets_.clear();
          return loadResult_;
        }
      assets_.push_back(std::make_unique<AssetDescription>(std::move(a)));
    }
  }
  loadResult_ = Result::Ok();
  return loadResult_;
}

Result DescriptionDatabase::Find(std::string_view idOrAlias, const AssetDescription*& out) {
  out = nullptr;
  TESSAROC_RETURN_IF_FAILED(Load());
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& a : assets_)
    if (a->id == idOrAlias || a->alias == idOrAlias) {
      out = a.get();
      break;
    }
  return Result::Ok();
}

Result DescriptionDatabase::Assets(std::vector<const AssetDescription*>& out) {
  out.clear();
  TESSAROC_RETURN_IF_FAILED(Load());
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& a : assets_) out.push_back(a.get());
  return Result::Ok();
}

Result DescriptionDatabase::Validate(const CoreNodeRegistry& registry, std::vector<std::string>& problems) {
  std::vector<const AssetDescription*> assets;
  TESSAROC_RETURN_IF_FAILED(Assets(assets));
  problems.clear();
  for (const AssetDescription* a : assets) {
    auto corePort = [&](const PortTarget& t, bool input, const Port** port) -> bool {
      const std::string* core = a->CoreNodeOf(t.instance);
      const MicroNodeGroup* g = nullptr;
      if (!core || registry.GetGroup(Id(std::string_view(*core)), g).failed()) return false;
      for (const Port& p : g->ports())
        if (p.IsInput() == input && EqualNoCase(p.id.view(), t.port)) {
          *port = &p;
          return true;
        }
      return false;
    };
    for (const auto& [instance, core] : a->nodes)
      if (!registry.Find(Id(std::string_view(core))))
        problems.push_back(a->file + ": " + a->id + ": core node " + core + " is not registered");
    for (const PortDescription& p : a->ports) {
      for (const PortTarget& t : p.targets) {
        const Port* port = nullptr;
        const std::string* core = a->CoreNodeOf(t.instance);
        if (core && !registry.Find(Id(std::string_view(*core)))) continue;  // reported above
        if (p.array || p.build) continue;  // element ports exist per count; build parameters are no ports
        if (!corePort(t, !p.output, &port)) {
          problems.push_back(a->file + ": " + a->id + ": port " + p.id + ": " + t.instance + " has no " +
                             (p.output ? "output " : "input ") + t.port);
          continue;
        }
        const DataType* coreType = port->dataType->IsFunction() ? port->dataType->functionResult : port->dataType;
        if (!coreType->StoredLike(*p.type) && !(p.type == &kInternedIdType && coreType == &kIdType) &&
            !(p.type == &kIdType && coreType == &kInternedIdType) && !(IsInteger(*p.type) && IsInteger(*coreType)))
          problems.push_back(a->file + ": " + a->id + ": port " + p.id + " is " + p.typeName + " but " + t.instance +
                             "." + t.port + " is " + TypeName(*port->dataType));
      }
    }
    for (const WireDescription& w : a->wires) {
      const Port *from = nullptr, *to = nullptr;
      if (!corePort(w.from, false, &from) || !corePort(w.to, true, &to))
        problems.push_back(a->file + ": " + a->id + ": wire " + w.from.instance + "." + w.from.port + " -> " +
                           w.to.instance + "." + w.to.port + " names a missing port");
    }
    // A core input that no port publishes and no wire feeds keeps a zero
    // value (core ports have no defaults): an effect with its mask blend at 0
    // does nothing, without a word. Private state is the node's own.
    for (const auto& [instance, core] : a->nodes) {
      const MicroNodeGroup* g = nullptr;
      if (registry.GetGroup(Id(std::string_view(core)), g).failed()) continue;  // reported above
      for (const Port& port : g->ports()) {
        if (!port.IsInput() || (port.flags & MicroNode::FLAGS::PERMANENT)) continue;
        auto feeds = [&, &instance = instance](const PortTarget& t) {
          return t.instance == instance && EqualNoCase(port.id.view(), t.port);
        };
        bool fed = std::any_of(a->wires.begin(), a->wires.end(), [&](const WireDescription& w) { return feeds(w.to); });
        for (const PortDescription& p : a->ports)
          if (!p.output) fed = fed || std::any_of(p.targets.begin(), p.targets.end(), feeds);
        if (!fed)
          problems.push_back(a->file + ": " + a->id + ": " + instance + "." + port.id.str() +
                             " is neither published nor wired, so it stays 0; publish it (hidden, with a default)");
      }
    }
  }
  return Result::Ok();
}

DescriptionDatabase& Descriptions() {
  static DescriptionDatabase* db = new DescriptionDatabase;
  return *db;
}

namespace {
std::mutex resourceFolderMutex;
std::string& ResourceFolderSetting() {
  static std::string* folder = new std::string;
  return *folder;
}
}  // namespace

void SetResourceFolder(const std::string& folder) {
  std::lock_guard<std::mutex> lock(resourceFolderMutex);
  ResourceFolderSetting() = folder;
}

Url ApplicationResources() {
  {
    std::lock_guard<std::mutex> lock(resourceFolderMutex);
    if (!ResourceFolderSetting().empty()) return Url(ResourceFolderSetting());
  }
  if (const char* env = std::getenv("TESSAROC_RESOURCES"); env && *env) return Url(env);
  return Url(kBuiltInResources);
}

}  // namespace tessaroc::host
