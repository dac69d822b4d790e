// Graph documents: the versioned JSON form of a material graph that the
// command line reads. Loading builds the graph model, checks every node, port,
// value and link against the description resources and the core nodes, and
// reports the first mistake as one line with the document path of the
// offending value. What is odd but not wrong is kept as warnings.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "graph/graph_model.h"
#include "host/resources/description_database.h"

namespace tessaroc::graph {

inline constexpr int kDocumentVersion = 1;

// Limits on what a document or a context file may be, checked before the
// text is read whole or parsed: its size in bytes, and how deep arrays and
// objects nest in it.
inline constexpr size_t kMaxDocumentBytes = size_t{64} << 20;
inline constexpr int kMaxDocumentDepth = 256;
// The longest chain of links a material compiles, counted in core nodes (an
// asset counts each of its own): the compiler follows links depth first, at
// some 700 bytes of stack a link, so this fits a 1 MiB thread stack.
inline constexpr int kMaxLinkDepth = 1000;

// The text of a document or context file: a file that is larger than
// kMaxDocumentBytes (or, like /dev/zero, never ends) is refused after reading
// at most that much.
Result ReadDocumentText(const std::string& path, std::string& out);

// Parses JSON text within the limits above; a mistake is one message that
// starts with `origin` and says where (line and column) when it can.
Result ParseDocumentJson(const std::string& text, const std::string& origin, nlohmann::json& out);
Result ParseDocumentJson(const std::string& text, const std::string& origin, nlohmann::ordered_json& out);

// A port as a document sees it: its published id, type and where it leads.
struct DocumentPort {
  std::string id;
  const DataType* type = nullptr;
  bool output = false;
  bool array = false;
  bool hidden = false;
  const host::PortDescription* description = nullptr;  // for assets
  int corePort = -1;                                   // for core nodes: index in the group
};

// A node of the document and the graph node made for it.
struct DocumentNode {
  std::string name;
  std::string typeId;  // what "node" named, resolved to the full id
  NodeKind kind = NodeKind::kAsset;
  const host::AssetDescription* asset = nullptr;
  const MicroNodeGroup* group = nullptr;  // for core nodes
  GraphNode* graphNode = nullptr;
  std::vector<DocumentPort> ports;
  std::map<std::string, int64_t> arrayCounts;  // array port id -> element count

  const DocumentPort* FindPort(std::string_view id, bool output) const;
};

class Document {
 public:
  // Reads and checks a document. `origin` names it in messages (a path).
  // `settings` ("NODE.PORT=VALUE", the command line's --set) replace or add
  // input values first; a mistake in one names the setting.
  static Result Parse(const std::string& text, const std::string& origin, std::unique_ptr<Document>& out,
                      const std::vector<std::string>& settings = {});
  static Result Load(const std::string& path, std::unique_ptr<Document>& out,
                     const std::vector<std::string>& settings = {});

  NodeSystem& system() { return *system_; }
  GraphNode& root() { return system_->root(); }
  const GraphNode& root() const { return system_->root(); }
  const std::vector<std::unique_ptr<DocumentNode>>& nodes() const { return nodes_; }
  const DocumentNode* FindNode(std::string_view name) const;
  // "; did you mean ..." with the node names nearest to `name`, or nothing.
  std::string NodeNameHint(std::string_view name) const;
  // The node and port the document's output names.
  const DocumentNode* outputNode() const { return outputNode_; }
  const DocumentPort* outputPort() const { return outputPort_; }
  // The vector output the document names as its `normal`, or null.
  const DocumentNode* normalNode() const { return normalNode_; }
  const DocumentPort* normalPort() const { return normalPort_; }
  // The folder the document was read from (for relative file names).
  const std::string& folder() const { return folder_; }
  // What is odd but not wrong, one line each with the document path: an
  // enumeration value the node does not list, passed on as it stands.
  const std::vector<std::string>& warnings() const { return warnings_; }

  // Builds a one-node document for `tessaroc eval --node`: every input at
  // its default, then the settings given (port id -> JSON literal).
  static Result ForNode(const std::string& node, const std::vector<std::pair<std::string, std::string>>& settings,
                        std::unique_ptr<Document>& out);

 private:
  Document();
  std::unique_ptr<NodeSystem> system_;
  std::vector<std::unique_ptr<DocumentNode>> nodes_;
  std::unordered_map<std::string, DocumentNode*> nodesByName_;  // links are resolved in constant time
  const DocumentNode* outputNode_ = nullptr;
  const DocumentPort* outputPort_ = nullptr;
  const DocumentNode* normalNode_ = nullptr;
  const DocumentPort* normalPort_ = nullptr;
  std::string folder_;
  std::vector<std::string> warnings_;
  friend class DocumentReader;
};

// Resolves what a "node" field names: an asset id or alias, a core node id,
// or the pass-through node. Fills kind, typeId, asset, group and ports.
Result ResolveNodeType(const std::string& name, DocumentNode& node);

// Why a core node cannot stand alone in a document (it reads what a pre node
// makes inside an asset), naming the assets to use instead; empty when it can.
std::string CoreNodeRefusal(const DocumentNode& node);

// Whether a value of `from` may flow into a port of `to`, converting where
// needed (Float to colours, Color to ColorA and back).
bool CanConvert(const DataType& from, const DataType& to);

}  // namespace tessaroc::graph
