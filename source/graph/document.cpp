#include "graph/document.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tessaroc/core/registry.h"
#include "tessaroc/core/string.h"
#include "graph/description_finalizers.h"
#include "graph/passthrough_node.h"
#include "host/resources/values.h"

namespace tessaroc::graph {

using json = nlohmann::ordered_json;

namespace {

bool ValidName(const std::string& s) {
  if (s.empty()) return false;
  return std::all_of(s.begin(), s.end(),
                     [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-'; });
}

std::string Join(const std::vector<std::string>& items) {
  std::string s;
  for (const std::string& i : items) {
    if (!s.empty()) s += ", ";
    s += i;
  }
  return s;
}

// The edit distance of two texts, letters compared without regard to case.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t above = row[j];
      const bool same =
          std::tolower(static_cast<unsigned char>(a[i - 1])) == std::tolower(static_cast<unsigned char>(b[j - 1]));
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

// "did you mean" for an enumeration value, naming values by their last
// dotted part: the nearest, or all of them when none is near.
std::string DidYouMean(std::string_view text, const std::vector<std::string>& values) {
  std::vector<std::string> names, nearest;
  size_t best = std::string::npos;
  for (const std::string& v : values) {
    std::string name = v.substr(v.rfind('.') + 1);
    const size_t d = Distance(text, name);
    if (d < best) nearest.clear(), best = d;
    if (d == best) nearest.push_back("\"" + name + "\"");
    names.push_back(std::move(name));
  }
  if (best <= std::max<size_t>(2, text.size() / 3)) return "did you mean " + Join(nearest) + "?";
  return "did you mean one of " + Join(names) + "?";
}

// "; did you mean ..." with the names nearest to `text`, or nothing when
// none is near enough to be a slip.
std::string Nearest(std::string_view text, const std::vector<std::string>& names) {
  std::vector<std::string> nearest;
  size_t best = std::string::npos;
  for (const std::string& n : names) {
    const size_t d = Distance(text, n);
    if (d < best) nearest.clear(), best = d;
    if (d == best && std::find(nearest.begin(), nearest.end(), "\"" + n + "\"") == nearest.end())
      nearest.push_back("\"" + n + "\"");
  }
  if (nearest.empty() || best > std::max<size_t>(2, text.size() / 3)) {
    // A name cut short ("checker" for checkerboard) is no slip of one letter.
    nearest.clear();
    for (const std::string& n : names)
      if (text.size() >= 3 && n.size() > text.size() && EqualNoCase(std::string_view(n).substr(0, text.size()), text))
        nearest.push_back("\"" + n + "\"");
    if (nearest.empty() || nearest.size() > 4) return "";
  }
  return "; did you mean " + Join(nearest) + "?";
}

// "unknown port; NODE has a, b, c; did you mean "b"?"
std::string UnknownPort(std::string_view port, const std::string& node, const std::vector<std::string>& known) {
  return "unknown port; " + node + " has " + (known.empty() ? "no inputs" : Join(known)) + Nearest(port, known);
}

// Whether a core port belongs to the node's own machinery: private state and
// value types nobody can write or read from outside.
bool IsPrivateCorePort(const Port& p) {
  if (p.flags & MicroNode::FLAGS::PERMANENT) return true;
  const DataType* t = p.dataType->IsFunction() ? p.dataType->functionResult : p.dataType;
  return !host::HasShortName(*t);
}

// The type a literal of no declared type has (for the pass-through node).
const DataType* LiteralType(const json& j) {
  if (j.is_boolean()) return &kBoolType;
  if (j.is_number_integer()) return &kInt64Type;
  if (j.is_number()) return &kFloat64Type;
  if (j.is_string()) return (j == "nan" || j == "inf" || j == "-inf") ? &kFloat64Type : &kStringType;
  if (j.is_array() && std::all_of(j.begin(), j.end(), [](const json& e) { return e.is_number(); })) {
    switch (j.size()) {
      case 2: return &kVector2dType;
      case 3: return &kColorType;
      case 4: return &kColorAType;
    }
  }
  return nullptr;
}

}  // namespace

bool CanConvert(const DataType& from, const DataType& to) {
  if (from.StoredLike(to)) return true;
  const DataType* f = from.Storage();
  const DataType* t = to.Storage();
  if (f == &kFloat64Type && (t == &kColorAType || t == &kColorType)) return true;
  if ((f == &kColorType && t == &kColorAType) || (f == &kColorAType && t == &kColorType)) return true;
  if ((f == &kInt64Type || f == &kInt32Type || f == &kUInt32Type) && t == &kFloat64Type) return true;
  if ((f == &kIdType && t == &kInternedIdType) || (f == &kInternedIdType && t == &kIdType)) return true;
  if (f == &kVectorType && (t == &kColorAType || t == &kColorType || t == &kVector4dType)) return true;
  return false;
}

const DocumentPort* DocumentNode::FindPort(std::string_view id, bool output) const {
  for (const DocumentPort& p : ports)
    if (p.output == output && p.id == id) return &p;
  for (const DocumentPort& p : ports)
    if (p.output == output && EqualNoCase(p.id, id)) return &p;
  return nullptr;
}

namespace {

// Hidden ports are a node's private state: a document neither names nor links them.
const DocumentPort* FirstVisibleOutput(const DocumentNode& node) {
  for (const DocumentPort& p : node.ports)
    if (p.output && !p.hidden) return &p;
  return nullptr;
}

std::vector<std::string> VisiblePortIds(const DocumentNode& node, bool output) {
  std::vector<std::string> ids;
  for (const DocumentPort& p : node.ports)
    if (p.output == output && !p.hidden) ids.push_back(p.id);
  return ids;
}

}  // namespace

std::string CoreNodeRefusal(const DocumentNode& node) {
  if (node.kind != NodeKind::kCoreNode) return "";
  for (const DocumentPort& p : node.ports) {
    if (p.output || !p.hidden || p.corePort < 0) continue;
    if (node.group->ports()[static_cast<size_t>(p.corePort)].flags & MicroNode::FLAGS::PERMANENT) continue;
    // A private input: a pre node's table or bake, which only the wires
    // inside an asset feed. Left unfed the node would give 0 everywhere.
    std::vector<std::string> assets;
    std::vector<const host::AssetDescription*> all;
    if (host::Descriptions().Assets(all).ok())
      for (const host::AssetDescription* a : all)
        for (const host::WireDescription& w : a->wires) {
          const std::string* core = a->CoreNodeOf(w.to.instance);
          const std::string name = "\"" + a->alias + "\"";
          if (core && *core == node.typeId && EqualNoCase(w.to.port, p.id) &&
              std::find(assets.begin(), assets.end(), name) == assets.end())
            assets.push_back(name);
        }
    std::string use;
    for (size_t i = 0; i < assets.size(); ++i)
      use += (i == 0 ? "" : i + 1 == assets.size() ? " or " : ", ") + assets[i];
    return "core node " + node.typeId + " reads " + p.id + ", which a pre node makes inside an asset; " +
           (use.empty() ? "it cannot be used alone" : "name the asset " + use + " instead");
  }
  return "";
}

Result ResolveNodeType(const std::string& name, DocumentNode& node) {
  if (name == "passthrough" || name == kPassThroughId) {
    node.kind = NodeKind::kBuiltin;
    node.typeId = kPassThroughId;
    node.ports = {{"color", nullptr, false}, {"passthrough", nullptr, true}};
    return Result::Ok();
  }
  const host::AssetDescription* asset = nullptr;
  TESSAROC_RETURN_IF_FAILED(host::Descriptions().Find(name, asset));
  if (asset) {
    node.kind = NodeKind::kAsset;
    node.typeId = asset->id;
    node.asset = asset;
    for (const host::PortDescription& p : asset->ports) {
      DocumentPort dp;
      dp.id = p.id;
      dp.type = p.type;
      dp.output = p.output;
      dp.array = p.array;
      dp.hidden = p.hidden;
      dp.description = &p;
      node.ports.push_back(dp);
    }
    return Result::Ok();
  }
  if (CoreNodes().Find(Id(std::string_view(name)))) {
    node.kind = NodeKind::kCoreNode;
    node.typeId = name;
    TESSAROC_RETURN_IF_FAILED(CoreNodes().GetGroup(Id(std::string_view(name)), node.group));
    const auto& ports = node.group->ports();
    for (size_t i = 0; i < ports.size(); ++i) {
      const Port& p = ports[i];
      DocumentPort dp;
      dp.id = p.id.str();
      dp.type = p.dataType->IsFunction() ? p.dataType->functionResult : p.dataType;
      dp.output = !p.IsInput();
      dp.hidden = IsPrivateCorePort(p);
      dp.corePort = static_cast<int>(i);
      node.ports.push_back(dp);
    }
    return Result::Ok();
  }
  // The short names users type: aliases, and the last part of core ids.
  std::vector<std::string> names;
  std::vector<const host::AssetDescription*> assets;
  if (host::Descriptions().Assets(assets).ok())
    for (const host::AssetDescription* a : assets) names.push_back(a->alias);
  const size_t dot = name.rfind('.');
  std::string hint;
  if (dot != std::string::npos) {
    // A long id with a slip: the nearest id of the same kind.
    std::vector<std::string> ids;
    for (const host::AssetDescription* a : assets) ids.push_back(a->id);
    for (const CoreNodeDefinition* d : CoreNodes().Entries()) ids.push_back(d->id().str());
    hint = Nearest(name, ids);
  } else {
    hint = Nearest(name, names);
  }
  return Result::Fail(errors::kUnresolved,
                      "unknown node \"" + name + "\"" + (hint.empty() ? "; `tessaroc nodes` lists them" : hint));
}

class DocumentReader {
 public:
  DocumentReader(Document& doc, std::string origin) : doc_(doc), origin_(std::move(origin)) {}

  Result Fail(const std::string& path, const std::string& why) {
    return Result::Fail(errors::kIllegalArgument, origin_ + ": " + path + ": " + why);
  }
  void Warn(const std::string& path, const std::string& why) {
    doc_.warnings_.push_back(origin_ + ": " + path + ": " + why);
  }

  Result Read(const json& top) {
    if (!top.is_object()) return Fail("/", "a document is a JSON object");
    for (auto it = top.begin(); it != top.end(); ++it)
      if (it.key() != "tessaroc" && it.key() != "nodes" && it.key() != "output" && it.key() != "normal" &&
          it.key() != "description" && it.key() != "$schema")  // $schema: for editors
        return Fail("/" + it.key(),
                    "unknown field; a document has tessaroc, nodes, output, normal, description and $schema");
    auto version = top.find("tessaroc");
    if (version == top.end()) return Fail("/tessaroc", "missing: the document format version, 1");
    if (!version->is_number_integer() || version->get<int64_t>() != kDocumentVersion)
      return Fail("/tessaroc", "unknown version " + version->dump() + "; this build reads version 1");
    auto nodes = top.find("nodes");
    if (nodes == top.end() || !nodes->is_object() || nodes->empty())
      return Fail("/nodes", "expected an object of named nodes");

    // Nodes first, so that links can point forward.
    for (auto it = nodes->begin(); it != nodes->end(); ++it) TESSAROC_RETURN_IF_FAILED(MakeNode(it.key(), it.value()));
    for (auto it = nodes->begin(); it != nodes->end(); ++it)
      TESSAROC_RETURN_IF_FAILED(ReadInputs(it.key(), it.value()));
    TESSAROC_RETURN_IF_FAILED(FinalizeDescriptions());
    TESSAROC_RETURN_IF_FAILED(SettlePassThroughTypes());
    TESSAROC_RETURN_IF_FAILED(CheckLinks());
    TESSAROC_RETURN_IF_FAILED(CheckCycles());
    TESSAROC_RETURN_IF_FAILED(ReadOutput(top));
    TESSAROC_RETURN_IF_FAILED(ReadNormal(top));
    return Wire();
  }

 private:
  struct Link {
    std::string path;  // of the input in the document
    DocumentNode* to;
    std::string toPort;  // graph port id (element ports "id#i")
    const DocumentPort* toDecl;
    DocumentNode* from;
    const DocumentPort* fromDecl;
  };

  DocumentNode* Node(const std::string& name) {
    const auto it = doc_.nodesByName_.find(name);
    return it == doc_.nodesByName_.end() ? nullptr : it->second;
  }

  Result MakeNode(const std::string& name, const json& j) {
    const std::string path = "/nodes/" + name;
    if (!ValidName(name)) return Fail(path, "node names use letters, digits, '_' and '-'");
    if (!j.is_object()) return Fail(path, "expected an object with \"node\" and \"inputs\"");
    for (auto it = j.begin(); it != j.end(); ++it)
      if (it.key() != "node" && it.key() != "inputs" && it.key() != "label")
        return Fail(path + "/" + it.key(), "unknown field; a node has node, inputs and label");
    auto type = j.find("node");
    if (type == j.end() || !type->is_string())
      return Fail(path + "/node", "missing: the node's asset, alias or core id");
    auto node = std::make_unique<DocumentNode>();
    node->name = name;
    Result r = ResolveNodeType(type->get<std::string>(), *node);
    if (r.failed()) { return Fail(path + "/node", std::string(r.message())); }
    if (const std::string refusal = CoreNodeRefusal(*node); !refusal.empty()) return Fail(path + "/node", refusal);
    TESSAROC_RETURN_IF_FAILED(
        doc_.root().AddChild(Id(std::string_view(name)), node->kind, node->typeId, node->graphNode));
    for (const DocumentPort& p : node->ports) {
      if (p.array) continue;  // element ports come with their count
      GraphPort* gp = nullptr;
      PortList& list = p.output ? node->graphNode->outputs() : node->graphNode->inputs();
      TESSAROC_RETURN_IF_FAILED(list.FindOrAddChild(Id(std::string_view(p.id)), gp));
      gp->SetDataType(p.type);
    }
    doc_.nodesByName_.emplace(node->name, node.get());
    doc_.nodes_.push_back(std::move(node));
    return Result::Ok();
  }

  // Once a node's ports and elements exist, its description finaliser (if
  // the asset has one) sets the defaults it owns.
  Result FinalizeDescriptions() {
    for (auto& n : doc_.nodes_) {
      if (n->kind != NodeKind::kAsset) continue;
      if (DescriptionFinalizer f = FindDescriptionFinalizer(n->typeId)) {
        Result r = f(*n->graphNode);
        if (r.failed()) return Fail("/nodes/" + n->name, std::string(r.message()));
      }
    }
    return Result::Ok();
  }

  Result ReadInputs(const std::string& name, const json& j) {
    DocumentNode* node = Node(name);
    auto inputs = j.find("inputs");
    std::set<std::string> given;
    if (inputs != j.end()) {
      if (!inputs->is_object()) return Fail("/nodes/" + name + "/inputs", "expected an object of port values");
      for (auto it = inputs->begin(); it != inputs->end(); ++it) {
        const std::string path = "/nodes/" + name + "/inputs/" + it.key();
        const DocumentPort* port = node->FindPort(it.key(), false);
        if (port == nullptr) {
          if (node->FindPort(it.key(), true)) return Fail(path, "\"" + it.key() + "\" is an output, not an input");
          return Fail(path, UnknownPort(it.key(), node->name, VisiblePortIds(*node, false)));
        }
        if (port->type == &kShadingContextType && !IsLink(it.value()))
          return Fail(path, "a context input takes a link from a node's context output");
        if (port->description && port->description->build && IsLink(it.value()))
          return Fail(path, "\"" + port->id + "\" is fixed when the node is made: give a number, not a link");
        given.insert(port->id);
        if (port->array) {
          given_.insert(node->name + "/" + port->id);
          if (!it.value().is_array()) return Fail(path, "expected a list of elements");
          node->arrayCounts[port->id] = static_cast<int64_t>(it.value().size());
          for (size_t i = 0; i < it.value().size(); ++i)
            TESSAROC_RETURN_IF_FAILED(ReadValue(path + "/" + std::to_string(i), *node, *port,
                                                port->id + "#" + std::to_string(i), it.value()[i]));
        } else {
          TESSAROC_RETURN_IF_FAILED(ReadValue(path, *node, *port, port->id, it.value()));
        }
      }
    }
    // The lists of a node are parallel (a knot is one element of each): a
    // list shorter or longer than the first leaves knots half made.
    const std::string* firstList = nullptr;
    if (inputs != j.end())
      for (auto it = inputs->begin(); it != inputs->end(); ++it) {
        const DocumentPort* port = node->FindPort(it.key(), false);
        if (!port || !port->array) continue;
        if (firstList == nullptr) {
          firstList = &it.key();
        } else if (it.value().size() != inputs->at(*firstList).size()) {
          return Fail(
              "/nodes/" + name + "/inputs/" + it.key(),
              std::to_string(it.value().size()) + " elements where " + *firstList + " has " +
                  std::to_string(inputs->at(*firstList).size()) +
                  "; the lists of a node hold one element per item (knot, layer) and are as long as each other");
        }
      }
    // Array ports not given follow the longest list the document gives for
    // the node (knots and layers come in parallel lists), or take their
    // default elements when it gives none.
    int64_t longest = -1;
    for (const auto& [id, count] : node->arrayCounts) longest = std::max(longest, count);
    for (const DocumentPort& p : node->ports) {
      if (!p.array || given_.count(node->name + "/" + p.id)) continue;
      const int64_t n =
          longest >= 0 ? longest : static_cast<int64_t>(p.description ? p.description->arrayDefaults.size() : 0);
      node->arrayCounts[p.id] = n;
      for (int64_t i = 0; i < n; ++i) {
        // The ports exist; their values stay defaults, below any that a
        // description finaliser sets.
        GraphPort* gp = nullptr;
        TESSAROC_RETURN_IF_FAILED(ElementPort(*node, p, p.id + "#" + std::to_string(i), gp));
      }
    }
    return Result::Ok();
  }

  static bool IsLink(const json& v) { return v.is_object() && v.contains("link"); }

  Result ElementPort(DocumentNode& node, const DocumentPort& p, const std::string& id, GraphPort*& out) {
    PortList& list = p.output ? node.graphNode->outputs() : node.graphNode->inputs();
    TESSAROC_RETURN_IF_FAILED(list.FindOrAddChild(Id(std::string_view(id)), out));
    out->SetDataType(p.type);
    return Result::Ok();
  }

  Result ReadValue(const std::string& path, DocumentNode& node, const DocumentPort& port,
                   const std::string& graphPortId, const json& v) {
    GraphPort* gp = nullptr;
    TESSAROC_RETURN_IF_FAILED(ElementPort(node, port, graphPortId, gp));
    if (IsLink(v)) {
      if (v.size() != 1 || !v["link"].is_string()) return Fail(path, "a link is {\"link\": \"node.port\"}");
      const std::string text = v["link"].get<std::string>();
      const size_t dot = text.find('.');
      const std::string fromName = text.substr(0, dot);
      DocumentNode* from = Node(fromName);
      if (from == nullptr)
        return Fail(path, "link to a missing node \"" + fromName + "\"" + doc_.NodeNameHint(fromName));
      const DocumentPort* fromPort = nullptr;
      if (dot == std::string::npos) {
        fromPort = FirstVisibleOutput(*from);
        if (fromPort == nullptr) return Fail(path, "node \"" + fromName + "\" has no output");
      } else {
        const std::string portName = text.substr(dot + 1);
        fromPort = from->FindPort(portName, true);
        if (fromPort == nullptr || fromPort->hidden) {
          const std::vector<std::string> outputs = VisiblePortIds(*from, true);
          return Fail(path, "link to a missing port \"" + portName + "\" of " + fromName + "; its outputs are " +
                                Join(outputs) + Nearest(portName, outputs));
        }
      }
      links_.push_back({path, &node, graphPortId, &port, from, fromPort});
      return Result::Ok();
    }
    if (node.kind == NodeKind::kBuiltin) {
      const DataType* t = LiteralType(v);
      if (t == nullptr)
        return Fail(path, "the pass-through node takes a number, bool, text or a list of 2 to 4 numbers");
      std::string why;
      if (!host::ValueFromJson(v, *t, gp->value(), why)) return Fail(path, why);
      gp->SetDataType(t);
      return Result::Ok();
    }
    json value = v;
    // An empty or unknown enumeration value is no mistake: the node takes
    // the branch it has for it. An unknown one is passed on with a warning.
    if (port.description && !port.description->values.empty() && v.is_string()) {
      const std::string text = v.get<std::string>();
      const auto& values = port.description->values;
      if (!text.empty() && std::find(values.begin(), values.end(), text) == values.end()) {
        // Values that share a dotted prefix also go by their last part.
        auto full = std::find_if(values.begin(), values.end(), [&](const std::string& x) {
          return x.size() > text.size() && x.compare(x.size() - text.size(), text.size(), text) == 0 &&
                 x[x.size() - text.size() - 1] == '.';
        });
        if (full != values.end()) value = *full;
        else Warn(path, "unknown value \"" + text + "\", passed on as it is; " + DidYouMean(text, values));
      }
    }
    std::string why;
    if (!host::ValueFromJson(value, *port.type, gp->value(), why)) return Fail(path, why);
    return Result::Ok();
  }

  // A pass-through takes the type of what feeds it.
  Result SettlePassThroughTypes() {
    std::function<const DataType*(DocumentNode*, int)> typeOf = [&](DocumentNode* n, int depth) -> const DataType* {
      if (depth > 64) return nullptr;
      GraphPort* in = nullptr;
      (void)n->graphNode->inputs().FindChild("color", in);
      if (in && in->dataType()) return in->dataType();
      for (const Link& l : links_)
        if (l.to == n) {
          const DataType* t = l.fromDecl->type;
          if (l.from->kind == NodeKind::kBuiltin) t = typeOf(l.from, depth + 1);
          return t;
        }
      return nullptr;
    };
    for (auto& n : doc_.nodes_) {
      if (n->kind != NodeKind::kBuiltin) continue;
      const DataType* t = typeOf(n.get(), 0);
      if (t == nullptr)
        return Fail("/nodes/" + n->name + "/inputs/color", "the pass-through node needs a value or a link");
      for (DocumentPort& p : n->ports) p.type = t;
      for (const auto& gp : n->graphNode->inputs().ports()) gp->SetDataType(t);
      for (const auto& gp : n->graphNode->outputs().ports()) gp->SetDataType(t);
    }
    return Result::Ok();
  }

  Result CheckLinks() {
    for (Link& l : links_) {
      const DataType* from = l.fromDecl->type;
      const DataType* to = l.toDecl->type;
      if (l.from->kind == NodeKind::kBuiltin) from = l.from->ports[1].type;
      if (l.to->kind == NodeKind::kBuiltin) continue;
      if (!CanConvert(*from, *to))
        return Fail(l.path, "type mismatch: " + l.from->name + "." + l.fromDecl->id + " is " + host::TypeName(*from) +
                                ", " + l.toDecl->id + " takes " + host::TypeName(*to));
    }
    return Result::Ok();
  }

  Result CheckCycles() {
    // Depth-first over links; a node met again on the current path is a cycle.
    std::map<const DocumentNode*, int> state;  // 1 on the path, 2 done
    std::vector<const DocumentNode*> stack;
    std::function<Result(const DocumentNode*)> visit = [&](const DocumentNode* n) -> Result {
      state[n] = 1;
      stack.push_back(n);
      for (const Link& l : links_) {
        if (l.to != n) continue;
        if (state[l.from] == 1) {
          std::string cycle;
          auto at = std::find(stack.begin(), stack.end(), l.from);
          for (auto it = at; it != stack.end(); ++it) cycle += (*it)->name + " <- ";
          return Fail(l.path, "cycle: " + cycle + l.from->name);
        }
        if (state[l.from] == 0) TESSAROC_RETURN_IF_FAILED(visit(l.from));
      }
      stack.pop_back();
      state[n] = 2;
      return Result::Ok();
    };
    for (const auto& n : doc_.nodes_)
      if (state[n.get()] == 0) TESSAROC_RETURN_IF_FAILED(visit(n.get()));
    return Result::Ok();
  }

  Result ReadOutput(const json& top) {
    auto out = top.find("output");
    if (out == top.end()) return Fail("/output", "missing: the port whose value is the material's result");
    return ReadOutputLink("/output", *out, doc_.outputNode_, doc_.outputPort_);
  }

  // The normal that lit previews shade with, when the document names one.
  Result ReadNormal(const json& top) {
    auto normal = top.find("normal");
    if (normal == top.end()) return Result::Ok();
    TESSAROC_RETURN_IF_FAILED(ReadOutputLink("/normal", *normal, doc_.normalNode_, doc_.normalPort_));
    if (doc_.normalPort_->type == nullptr || !doc_.normalPort_->type->StoredLike(kVectorType))
      return Fail("/normal", doc_.normalNode_->name + "." + doc_.normalPort_->id + " is " +
                                 (doc_.normalPort_->type ? host::TypeName(*doc_.normalPort_->type) : "untyped") +
                                 "; the normal is a vector output, such as a bump's result");
    return Result::Ok();
  }

  // A {"link": "node.port"} (or "node.port") naming an output of a node.
  Result ReadOutputLink(const std::string& path, const json& value, const DocumentNode*& outNode,
                        const DocumentPort*& outPort) {
    std::string text;
    if (value.is_string()) text = value.get<std::string>();
    else if (IsLink(value) && value["link"].is_string()) text = value["link"].get<std::string>();
    else return Fail(path, "expected {\"link\": \"node.port\"}");
    const size_t dot = text.find('.');
    DocumentNode* node = Node(text.substr(0, dot));
    if (node == nullptr)
      return Fail(path,
                  "link to a missing node \"" + text.substr(0, dot) + "\"" + doc_.NodeNameHint(text.substr(0, dot)));
    const DocumentPort* port =
        dot == std::string::npos ? FirstVisibleOutput(*node) : node->FindPort(text.substr(dot + 1), true);
    if (port == nullptr || port->hidden)
      return Fail(path, "node \"" + node->name + "\" has no output \"" +
                            text.substr(dot == std::string::npos ? text.size() : dot + 1) + "\"");
    outNode = node;
    outPort = port;
    return Result::Ok();
  }

  Result Wire() {
    for (const Link& l : links_) {
      GraphPort *from = nullptr, *to = nullptr;
      TESSAROC_RETURN_IF_FAILED(l.from->graphNode->outputs().FindChild(Id(std::string_view(l.fromDecl->id)), from));
      TESSAROC_RETURN_IF_FAILED(l.to->graphNode->inputs().FindChild(Id(std::string_view(l.toPort)), to));
      if (!from || !to) return Fail(l.path, "internal: link ends not found");
      TESSAROC_RETURN_IF_FAILED(Connect(from, to, kWireValue));
    }
    return Result::Ok();
  }

  Document& doc_;
  std::string origin_;
  std::vector<Link> links_;
  std::set<std::string> given_;  // "node/port" of the array ports a document lists
};

Document::Document() : system_(std::make_unique<NodeSystem>("root")) {}

const DocumentNode* Document::FindNode(std::string_view name) const {
  const auto it = nodesByName_.find(std::string(name));
  return it == nodesByName_.end() ? nullptr : it->second;
}

std::string Document::NodeNameHint(std::string_view name) const {
  std::vector<std::string> names;
  for (const auto& n : nodes_) names.push_back(n->name);
  return Nearest(name, names);
}

namespace {

// "origin: line L, column C: " for the 1-based byte `byte` of `text`.
std::string Where(const std::string& text, const std::string& origin, size_t byte) {
  return origin + ": " + host::JsonPosition(text, byte) + ": ";
}

// The 1-based byte where arrays and objects first nest deeper than
// kMaxDocumentDepth, or 0. A scan of the text, before the parser (and the
// code that walks what it builds) goes that deep.
size_t TooDeep(const std::string& text) {
  int depth = 0;
  bool inString = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      else if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kMaxDocumentDepth) return i + 1;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return 0;
}

}  // namespace

Result ReadDocumentText(const std::string& path, std::string& out) {
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) return Result::Fail(errors::kIo, path + ": is a folder, not a file");
  std::ifstream in(path, std::ios::binary);
  if (!in) return Result::Fail(errors::kIo, path + ": cannot be read");
  // One byte more than the limit tells a file at the limit from a larger one.
  out.resize(kMaxDocumentBytes + 1);
  in.read(out.data(), static_cast<std::streamsize>(out.size()));
  if (in.bad()) return Result::Fail(errors::kIo, path + ": cannot be read");
  out.resize(static_cast<size_t>(in.gcount()));
  if (out.size() > kMaxDocumentBytes) {
    out.clear();
    return Result::Fail(errors::kIllegalArgument, path + ": larger than " + std::to_string(kMaxDocumentBytes >> 20) +
                                                      " MiB, the most a document or context file may be");
  }
  out.shrink_to_fit();
  return Result::Ok();
}

namespace {

template <class Json>
Result ParseJson(const std::string& text, const std::string& origin, Json& out) {
  if (text.size() > kMaxDocumentBytes)
    return Result::Fail(errors::kIllegalArgument, origin + ": larger than " + std::to_string(kMaxDocumentBytes >> 20) +
                                                      " MiB, the most a document or context file may be");
  if (const size_t at = TooDeep(text))
    return Result::Fail(errors::kIllegalArgument, Where(text, origin, at) + "arrays and objects nested more than " +
                                                      std::to_string(kMaxDocumentDepth) + " deep");
  try {
    out = Json::parse(text);
  } catch (const nlohmann::json::parse_error& e) {
    return Result::Fail(errors::kIllegalArgument, origin + ": " + host::JsonParseError(text, e));
  } catch (const nlohmann::json::exception& e) {
    // A number too large for a double ("number overflow parsing '1e400'"):
    // the parser gives no position, so the number's first place stands in.
    std::string what = e.what();
    const size_t bracket = what.find("] ");
    if (bracket != std::string::npos) what.erase(0, bracket + 2);
    const size_t quote = what.find('\'');
    const std::string token = quote == std::string::npos ? "" : what.substr(quote + 1, what.rfind('\'') - quote - 1);
    const size_t at = token.empty() ? std::string::npos : text.find(token);
    return Result::Fail(errors::kIllegalArgument,
                        (at == std::string::npos ? origin + ": " : Where(text, origin, at + 1)) + "invalid JSON (" +
                            what + ": a number must fit a double)");
  }
  return Result::Ok();
}

}  // namespace

Result ParseDocumentJson(const std::string& text, const std::string& origin, nlohmann::json& out) {
  return ParseJson(text, origin, out);
}

Result ParseDocumentJson(const std::string& text, const std::string& origin, nlohmann::ordered_json& out) {
  return ParseJson(text, origin, out);
}

namespace {

// A setting's text goes into the document's JSON, which holds UTF-8 alone.
Result CheckUtf8(const json& value, const std::string& setting) {
  try {
    (void)value.dump();
  } catch (const nlohmann::json::type_error&) {
    return Result::Fail(errors::kIllegalArgument, setting + ": the value is not valid UTF-8 text");
  }
  return Result::Ok();
}

// Puts each "NODE.PORT=VALUE" into the document's JSON, the value read for
// the port's type. `named` maps the input's path to the setting's name.
Result ApplySettings(json& top, const std::vector<std::string>& settings, std::map<std::string, std::string>& named) {
  for (const std::string& s : settings) {
    const size_t eq = s.find('=');
    const size_t dot = s.substr(0, eq).find('.');
    if (eq == std::string::npos || dot == std::string::npos || dot == 0 || dot + 1 == eq)
      return Result::Fail(errors::kIllegalArgument, "--set " + s + ": expected NODE.PORT=VALUE");
    const std::string nodeName = s.substr(0, dot), portName = s.substr(dot + 1, eq - dot - 1);
    json* nodes = top.is_object() && top.contains("nodes") && top["nodes"].is_object() ? &top["nodes"] : nullptr;
    if (nodes == nullptr || !nodes->contains(nodeName) || !(*nodes)[nodeName].is_object()) {
      std::vector<std::string> names;
      if (nodes)
        for (auto it = nodes->begin(); it != nodes->end(); ++it) names.push_back(it.key());
      return Result::Fail(errors::kIllegalArgument, "--set " + s.substr(0, eq) + ": the document has no node \"" +
                                                        nodeName + "\"" + Nearest(nodeName, names));
    }
    json& node = (*nodes)[nodeName];
    DocumentNode probe;
    // A node of an unknown type is reported by the reader, at its path.
    if (!node.contains("node") || !node["node"].is_string() ||
        ResolveNodeType(node["node"].get<std::string>(), probe).failed())
      continue;
    const DocumentPort* port = probe.FindPort(portName, false);
    if (port == nullptr || port->hidden)
      return Result::Fail(errors::kIllegalArgument, "--set " + s.substr(0, eq) + ": " +
                                                        UnknownPort(portName, nodeName, VisiblePortIds(probe, false)));
    json value = host::JsonFromSetting(std::string_view(s).substr(eq + 1), port->type, port->array);
    TESSAROC_RETURN_IF_FAILED(CheckUtf8(value, "--set " + s.substr(0, eq)));
    if (port->array && !value.is_array()) value = json::array({value});
    if (!node.contains("inputs")) node["inputs"] = json::object();
    json& inputs = node["inputs"];
    if (!inputs.is_object()) continue;  // the reader says what is wrong
    // The document may spell the port in another case.
    for (auto it = inputs.begin(); it != inputs.end();)
      it = EqualNoCase(it.key(), port->id) ? inputs.erase(it) : std::next(it);
    inputs[port->id] = value;
    named["/nodes/" + nodeName + "/inputs/" + port->id] = "--set " + nodeName + "." + port->id;
  }
  return Result::Ok();
}

// A message about a set input names the setting rather than the document.
std::string NameSetting(const std::string& message, const std::string& origin,
                        const std::map<std::string, std::string>& named) {
  for (const auto& [path, setting] : named) {
    const std::string prefix = origin + ": " + path;
    if (message.rfind(prefix, 0) == 0 && (message[prefix.size()] == ':' || message[prefix.size()] == '/'))
      return setting + message.substr(prefix.size());
  }
  return message;
}

}  // namespace

Result Document::Parse(const std::string& text, const std::string& origin, std::unique_ptr<Document>& out,
                       const std::vector<std::string>& settings) {
  json top;
  TESSAROC_RETURN_IF_FAILED(ParseDocumentJson(text, origin, top));
  std::map<std::string, std::string> named;
  TESSAROC_RETURN_IF_FAILED(ApplySettings(top, settings, named));
  std::unique_ptr<Document> doc(new Document());
  doc->folder_ = std::filesystem::path(origin).parent_path().string();
  DocumentReader reader(*doc, origin);
  if (Result r = reader.Read(top); r.failed())
    return Result::Fail(r.id(), NameSetting(std::string(r.message()), origin, named));
  for (std::string& w : doc->warnings_) w = NameSetting(w, origin, named);
  out = std::move(doc);
  return Result::Ok();
}

Result Document::Load(const std::string& path, std::unique_ptr<Document>& out,
                      const std::vector<std::string>& settings) {
  std::string text;
  TESSAROC_RETURN_IF_FAILED(ReadDocumentText(path, text));
  return Parse(text, path, out, settings);
}

Result Document::ForNode(const std::string& node, const std::vector<std::pair<std::string, std::string>>& settings,
                         std::unique_ptr<Document>& out) {
  DocumentNode probe;
  Result r = ResolveNodeType(node, probe);
  if (r.failed()) return r;
  json doc;
  doc["tessaroc"] = kDocumentVersion;
  json inputs = json::object();
  for (const auto& [port, value] : settings) {
    const DocumentPort* p = probe.FindPort(port, false);
    if (p == nullptr)
      return Result::Fail(errors::kIllegalArgument,
                          "--set " + port + ": " + UnknownPort(port, node, VisiblePortIds(probe, false)));
    json v = host::JsonFromSetting(value, p->type, p->array);
    TESSAROC_RETURN_IF_FAILED(CheckUtf8(v, "--set " + port));
    if (p->array && !v.is_array()) v = json::array({v});
    inputs[p->id] = v;
  }
  doc["nodes"]["node"] = {{"node", node}, {"inputs", inputs}};
  const DocumentPort* first = FirstVisibleOutput(probe);
  if (first == nullptr) return Result::Fail(errors::kIllegalArgument, node + " has no output to evaluate");
  doc["output"] = {{"link", "node." + first->id}};
  Result parsed = Parse(doc.dump(), "--node " + node, out);
  // Name the setting, not the document made from it.
  auto setting = [prefix = "--node " + node + ": /nodes/node/inputs/"](std::string m) {
    return m.rfind(prefix, 0) == 0 ? "--set " + m.substr(prefix.size()) : m;
  };
  if (parsed.failed()) return Result::Fail(parsed.id(), setting(std::string(parsed.message())));
  for (std::string& w : out->warnings_) w = setting(w);
  return Result::Ok();
}

}  // namespace tessaroc::graph
