#include "tessaroc/graph/material.h"
#include "graph/document.h"

#include <algorithm>
#include <cctype>
#include <map>

#include "tessaroc/core/registry.h"
#include "tessaroc/core/string.h"
#include "graph/conversions.h"
#include "graph/material_setup.h"

namespace tessaroc::graph {

namespace {

// The base id and element number of "color#3"; -1 for a plain id.
std::pair<std::string, int64_t> SplitElement(std::string_view id) {
  const size_t hash = id.find('#');
  if (hash == std::string_view::npos) return {std::string(id), -1};
  return {std::string(id.substr(0, hash)), std::stoll(std::string(id.substr(hash + 1)))};
}

// A function that returns the same value, whatever its argument: what a
// literal given to a Function port stands for.
class LiteralFunction final : public FunctionInterface {
 public:
  explicit LiteralFunction(const Data& value) : value_(value) {}
  FunctionType GetFunctionType() const override { return {value_.type(), &kShadingContextType}; }
  Result Invoke(ValueSlot ret, ValueSlot) const override {
    if (ret.type == nullptr || !ret.type->StoredLike(*value_.type()))
      return Result::Fail(errors::kIllegalArgument, "return slot of the wrong type for a constant");
    value_.type()->copyAssign(ret.value, value_.get());
    return Result::Ok();
  }
  Result Invoke(ValueSlot ret, ValueSlot arg, Data&) const override { return Invoke(ret, arg); }
  bool GetConstantValue(ValueSlot out) const override { return Invoke(out, {}).ok(); }

 private:
  Data value_;
};

}  // namespace

// Lowers a set-up document to a plan: every asset becomes its core nodes,
// every input a constant, a link, the context or a function body.
class Compiler {
 public:
  Compiler(Material& m, const std::vector<std::string>& extra) : m_(m), doc_(*m.document_), extra_(extra) {}

  Result Run() {
    for (const auto& n : doc_.nodes()) TESSAROC_RETURN_IF_FAILED(Expand(*n));
    for (size_t i = 0; i < insts_.size(); ++i) TESSAROC_RETURN_IF_FAILED(Bind(static_cast<int>(i)));
    TESSAROC_RETURN_IF_FAILED(CheckLinkDepth());
    for (size_t i = 0; i < insts_.size(); ++i) Classify(static_cast<int>(i));

    m_.plan_ = std::make_unique<Plan>();
    const DocumentNode& outNode = *doc_.outputNode();
    for (const DocumentPort& p : outNode.ports) {
      if (!p.output || p.hidden) continue;
      Source src;
      TESSAROC_RETURN_IF_FAILED(ResolveOutput(outNode, p.id, src));
      if (src.inst < 0) continue;  // a pass-through of a literal has no node to read
      NodeRef ref;
      TESSAROC_RETURN_IF_FAILED(Materialize(src.inst, 0, ref));
      const Id port = insts_[src.inst].group->ports()[src.port].id;
      if (&p == doc_.outputPort()) {
        TESSAROC_RETURN_IF_FAILED(m_.plan_->SetOutput(ref, port));
        m_.mainIndex_ = m_.outputs_.size();
      } else {
        TESSAROC_RETURN_IF_FAILED(m_.plan_->RequestOutput(ref, port));
      }
      m_.outputs_.push_back({p.id, insts_[src.inst].group->ports()[src.port].dataType, ref, port});
    }
    if (m_.outputs_.empty() || m_.outputs_[m_.mainIndex_].id != doc_.outputPort()->id)
      return Result::Fail(errors::kIllegalArgument, "the output " + doc_.outputNode()->name + "." +
                                                        doc_.outputPort()->id + " has no node behind it to evaluate");
    if (doc_.normalNode())
      TESSAROC_RETURN_IF_FAILED(RequestNamed(*doc_.normalNode(), doc_.normalPort()->id, "the normal", m_.normal_));
    for (const std::string& nodePort : extra_) TESSAROC_RETURN_IF_FAILED(RequestExtra(nodePort));
    TESSAROC_RETURN_IF_FAILED(m_.plan_->Finish());
    return PlanInstance::Create(*m_.plan_, m_.prototype_);
  }

 private:
  // kSearchPaths: where the material's bakes look files up, set at Prepare.
  enum class Kind { kUnset, kLiteral, kContext, kLink, kSearchPaths };
  struct Source {
    int inst = -1;  // -1 with a literal: a pass-through of a value
    int port = -1;
    const Data* literal = nullptr;
  };
  struct Binding {
    Kind kind = Kind::kUnset;
    Source source;
    const Data* literal = nullptr;
    std::string where;  // for messages
  };
  struct Inst {
    const DocumentNode* dnode = nullptr;
    std::string instance;
    const MicroNodeGroup* group = nullptr;
    std::vector<Binding> inputs;
    int varying = -1;             // -1 unknown
    std::map<int, NodeRef> made;  // sub-plan -> node
  };

  std::string Label(const Inst& in) const {
    if (!in.dnode) return in.instance;
    return in.instance.empty() || in.instance == "main" ? in.dnode->name : in.dnode->name + "." + in.instance;
  }

  int FindInst(const DocumentNode* n, std::string_view instance) const {
    for (size_t i = 0; i < insts_.size(); ++i)
      if (insts_[i].dnode == n && insts_[i].instance == instance) return static_cast<int>(i);
    return -1;
  }

  Result Expand(const DocumentNode& n) {
    if (n.kind == NodeKind::kBuiltin) return Result::Ok();
    if (n.kind == NodeKind::kCoreNode) {
      Inst in;
      in.dnode = &n;
      in.group = n.group;
      insts_.push_back(std::move(in));
      return Result::Ok();
    }
    for (const auto& [instance, coreId] : n.asset->nodes) {
      const CoreNodeDefinition* def = CoreNodes().Find(Id(std::string_view(coreId)));
      if (def == nullptr)
        return Result::Fail(errors::kUnresolved,
                            n.asset->file + ": " + n.asset->id + " is made of " + coreId + ", which is not registered");
      // Element counts per array port of the core node, from the document.
      std::vector<int64_t> counts;
      for (const std::string& array : def->arrayPorts()) {
        int64_t count = 0;
        for (const host::PortDescription& p : n.asset->ports)
          for (const host::PortTarget& t : p.targets) {
            if (t.instance != instance || !EqualNoCase(t.port, array)) continue;
            if (p.array) {
              auto it = n.arrayCounts.find(p.id);
              if (it != n.arrayCounts.end()) count = std::max(count, it->second);
            } else if (p.build) {
              // A build parameter: the document's literal, else the default.
              GraphPort* gp = nullptr;
              TESSAROC_RETURN_IF_FAILED(n.graphNode->inputs().FindChild(Id(std::string_view(p.id)), gp));
              const Data* v = gp && !gp->value().empty() ? &gp->value() : (p.hasDefault ? &p.defaultValue : nullptr);
              if (v) count = *static_cast<const int64_t*>(v->get());
            }
          }
        counts.push_back(count);
      }
      Inst in;
      in.dnode = &n;
      in.instance = instance;
      TESSAROC_RETURN_IF_FAILED(def->GetGroup(counts, in.group));
      insts_.push_back(std::move(in));
    }
    return Result::Ok();
  }

  // What feeds an output of a document node: a core node's output, or the
  // value a pass-through node was given.
  Result ResolveOutput(const DocumentNode& n, std::string_view outId, Source& out, int depth = 0) {
    if (depth > 64) return Result::Fail(errors::kIllegalState, "pass-through nodes in a loop");
    if (n.kind == NodeKind::kBuiltin) {
      GraphPort* in = nullptr;
      TESSAROC_RETURN_IF_FAILED(n.graphNode->inputs().FindChild("color", in));
      if (in && !in->incoming().empty()) {
        const GraphPort* src = in->incoming()[0].source;
        const DocumentNode* from = doc_.FindNode(src->node()->id().view());
        return ResolveOutput(*from, src->id().view(), out, depth + 1);
      }
      out = Source{-1, -1, in ? &in->value() : nullptr};
      return Result::Ok();
    }
    if (n.kind == NodeKind::kCoreNode) {
      out.inst = FindInst(&n, "");
      out.port = n.group->FindPortIndex(Id(outId), false);
      return Result::Ok();
    }
    const host::PortDescription* p = n.asset->FindPort(outId);
    if (p == nullptr || !p->output || p->targets.empty())
      return Result::Fail(errors::kIllegalState, n.name + " has no output " + std::string(outId));
    out.inst = FindInst(&n, p->targets[0].instance);
    out.port = CorePortIndex(insts_[out.inst], p->targets[0].port, false);
    if (out.port < 0)
      return Result::Fail(errors::kIllegalState, n.asset->id + ": output " + p->id + " reads " +
                                                     p->targets[0].instance + "." + p->targets[0].port +
                                                     ", which does not exist");
    return Result::Ok();
  }

  // A document node's output read beside the main output: the normal, or an
  // extra one asked for by "NODE.PORT". `where` names it in messages.
  Result RequestNamed(const DocumentNode& n, const std::string& id, const std::string& where, Material::Output& out) {
    Source src;
    TESSAROC_RETURN_IF_FAILED(ResolveOutput(n, id, src));
    if (src.inst < 0)
      return Result::Fail(errors::kIllegalArgument, where + " " + n.name + "." + id + " has no node behind it");
    NodeRef ref;
    TESSAROC_RETURN_IF_FAILED(Materialize(src.inst, 0, ref));
    const Port& port = insts_[src.inst].group->ports()[src.port];
    TESSAROC_RETURN_IF_FAILED(m_.plan_->RequestOutput(ref, port.id));
    out = {id, port.dataType, ref, port.id};
    return Result::Ok();
  }

  Result RequestExtra(const std::string& nodePort) {
    const size_t dot = nodePort.rfind('.');
    const DocumentNode* n = dot == std::string::npos ? nullptr : doc_.FindNode(nodePort.substr(0, dot));
    if (n == nullptr)
      return Result::Fail(errors::kIllegalArgument,
                          "output " + nodePort + ": expected NODE.PORT with a node of the document" +
                              (dot == std::string::npos ? "" : doc_.NodeNameHint(nodePort.substr(0, dot))));
    const DocumentPort* p = n->FindPort(nodePort.substr(dot + 1), true);
    if (p == nullptr || p->hidden) {
      std::string ports;
      for (const DocumentPort& q : n->ports)
        if (q.output && !q.hidden) ports += (ports.empty() ? "" : ", ") + q.id;
      return Result::Fail(errors::kIllegalArgument, "output " + nodePort + ": " + n->name + " has no output " +
                                                        nodePort.substr(dot + 1) +
                                                        (ports.empty() ? "" : "; it has " + ports));
    }
    Material::Output out;
    TESSAROC_RETURN_IF_FAILED(RequestNamed(*n, p->id, "the output", out));
    out.id = nodePort;
    m_.extra_.push_back(out);
    return Result::Ok();
  }

  static int CorePortIndex(const Inst& in, std::string_view id, bool input) {
    const auto& ports = in.group->ports();
    for (size_t i = 0; i < ports.size(); ++i)
      if (ports[i].IsInput() == input && EqualNoCase(ports[i].id.view(), id)) return static_cast<int>(i);
    return -1;
  }

  // A graph input port's binding: its wire, its literal, or nothing.
  Result FromGraphPort(const GraphPort* gp, Binding& b, bool& decided) {
    decided = false;
    if (gp == nullptr) return Result::Ok();
    if (!gp->incoming().empty()) {
      const GraphPort* src = gp->incoming()[0].source;
      decided = true;
      if (src->node() == &doc_.root()) {
        b.kind = Kind::kContext;  // material setup wired it to the shading context
        return Result::Ok();
      }
      const DocumentNode* from = doc_.FindNode(src->node()->id().view());
      if (from == nullptr) return Result::Fail(errors::kIllegalState, "a wire from outside the document");
      TESSAROC_RETURN_IF_FAILED(ResolveOutput(*from, src->id().view(), b.source));
      if (b.source.inst < 0) {
        b.kind = b.source.literal && !b.source.literal->empty() ? Kind::kLiteral : Kind::kUnset;
        b.literal = b.source.literal;
      } else {
        b.kind = Kind::kLink;
      }
      return Result::Ok();
    }
    if (!gp->value().empty()) {
      decided = true;
      b.kind = Kind::kLiteral;
      b.literal = &gp->value();
      return Result::Ok();
    }
    // A default a description finaliser set on the port.
    const AttributeValue* def = gp->FindAttribute(kAttrDefaultValue);
    if (const Data* d = def ? std::get_if<Data>(def) : nullptr; d && !d->empty()) {
      decided = true;
      b.kind = Kind::kLiteral;
      b.literal = d;
    }
    return Result::Ok();
  }

  Result Bind(int index) {
    Inst& in = insts_[index];
    const auto& ports = in.group->ports();
    in.inputs.resize(ports.size());
    for (size_t i = 0; i < ports.size(); ++i) {
      if (!ports[i].IsInput()) continue;
      Binding& b = in.inputs[i];
      b.where = Label(in) + "." + ports[i].id.str();
      const DocumentNode& n = *in.dnode;
      bool decided = false;
      if (n.kind == NodeKind::kCoreNode) {
        GraphPort* gp = nullptr;
        TESSAROC_RETURN_IF_FAILED(n.graphNode->inputs().FindChild(ports[i].id, gp));
        TESSAROC_RETURN_IF_FAILED(FromGraphPort(gp, b, decided));
        if (!decided && ports[i].dataType == &kSearchPathsType) b.kind = Kind::kSearchPaths;
        continue;
      }
      // An asset: a wire inside it, then the published port that feeds it.
      const auto [base, element] = SplitElement(ports[i].id.view());
      for (const host::WireDescription& w : n.asset->wires)
        if (w.to.instance == in.instance && EqualNoCase(w.to.port, ports[i].id.view())) {
          b.kind = Kind::kLink;
          b.source.inst = FindInst(&n, w.from.instance);
          b.source.port = CorePortIndex(insts_[b.source.inst], w.from.port, false);
          if (b.source.port < 0)
            return Result::Fail(errors::kIllegalState, n.asset->id + ": wire from a missing port " + w.from.port);
          decided = true;
        }
      if (decided) continue;
      const host::PortDescription* pub = nullptr;
      for (const host::PortDescription& p : n.asset->ports)
        for (const host::PortTarget& t : p.targets)
          if (!p.output && t.instance == in.instance && EqualNoCase(t.port, element < 0 ? ports[i].id.view() : base) &&
              p.array == (element >= 0))
            pub = &p;
      if (pub) {
        GraphPort* gp = nullptr;
        const std::string gid = element < 0 ? pub->id : pub->id + "#" + std::to_string(element);
        TESSAROC_RETURN_IF_FAILED(n.graphNode->inputs().FindChild(Id(std::string_view(gid)), gp));
        TESSAROC_RETURN_IF_FAILED(FromGraphPort(gp, b, decided));
        if (decided) continue;
        if (ports[i].dataType == &kSearchPathsType) {
          b.kind = Kind::kSearchPaths;
        } else if (pub->defaultIsContext) {
          b.kind = Kind::kContext;
        } else if (pub->hasDefault) {
          b.kind = Kind::kLiteral;
          b.literal = element >= 0 && element < static_cast<int64_t>(pub->arrayDefaults.size())
                          ? &pub->arrayDefaults[element]
                          : &pub->defaultValue;
        }
        continue;
      }
      // A core port no published port names: the node's own context, or the
      // material's search paths.
      if (ports[i].dataType == &kShadingContextType) b.kind = Kind::kContext;
      if (ports[i].dataType == &kSearchPathsType) b.kind = Kind::kSearchPaths;
    }
    return Result::Ok();
  }

  // Varying and Materialize follow links depth first, a call a link: a chain
  // longer than kMaxLinkDepth is refused before they run, with a message
  // rather than an overflowing stack. Measured here without recursion.
  Result CheckLinkDepth() const {
    const int n = static_cast<int>(insts_.size());
    std::vector<int> depth(n, 0);  // 0: not yet seen, -1: on the path, else the chain's length
    std::vector<std::pair<int, size_t>> path;
    for (int root = 0; root < n; ++root) {
      if (depth[root] != 0) continue;
      depth[root] = -1;
      path.emplace_back(root, 0);
      while (!path.empty()) {
        const int i = path.back().first;
        const std::vector<Binding>& inputs = insts_[i].inputs;
        if (size_t& next = path.back().second; next < inputs.size()) {
          const Binding& b = inputs[next++];
          if (b.kind == Kind::kLink && b.source.inst >= 0 && depth[b.source.inst] == 0) {
            depth[b.source.inst] = -1;
            path.emplace_back(b.source.inst, 0);
          }
          continue;
        }
        int d = 1;
        for (const Binding& b : inputs)
          if (b.kind == Kind::kLink && b.source.inst >= 0) d = std::max(d, depth[b.source.inst] + 1);
        if (d > kMaxLinkDepth)
          return Result::Fail(errors::kIllegalArgument, "the links into " + Label(insts_[i]) + " chain more than " +
                                                            std::to_string(kMaxLinkDepth) +
                                                            " nodes deep, the most a material takes");
        depth[i] = d;
        path.pop_back();
      }
    }
    return Result::Ok();
  }

  bool Varying(int index) {
    Inst& in = insts_[index];
    if (in.varying >= 0) return in.varying == 1;
    in.varying = 0;
    const auto& ports = in.group->ports();
    for (size_t i = 0; i < in.inputs.size(); ++i) {
      const Binding& b = in.inputs[i];
      if (b.kind == Kind::kContext) in.varying = 1;
      if (b.kind == Kind::kLink && !ports[i].dataType->IsFunction() && Varying(b.source.inst)) in.varying = 1;
    }
    return in.varying == 1;
  }
  void Classify(int index) { (void)Varying(index); }

  // A node for an instance in a sub-plan; uniform instances are made once and shared.
  Result Materialize(int index, int sub, NodeRef& out) {
    Inst& in = insts_[index];
    const int key = Varying(index) ? sub : 0;
    if (auto it = in.made.find(key); it != in.made.end()) {
      out = it->second;
      return Result::Ok();
    }
    Plan& plan = *m_.plan_;
    TESSAROC_RETURN_IF_FAILED(plan.AddNode(in.group, Label(in), out, SubPlanRef{key}));
    in.made[key] = out;
    const auto& ports = in.group->ports();
    for (size_t i = 0; i < ports.size(); ++i) {
      if (!ports[i].IsInput()) continue;
      const Binding b = in.inputs[i];
      const Port& port = ports[i];
      const bool function = port.dataType->IsFunction();
      const DataType& valueType = function ? *port.dataType->functionResult : *port.dataType;
      switch (b.kind) {
        case Kind::kUnset: break;
        case Kind::kContext: TESSAROC_RETURN_IF_FAILED(plan.BindContext(out, port.id)); break;
        case Kind::kSearchPaths: {
          SearchPathsType none;  // until Prepare knows the render's
          TESSAROC_RETURN_IF_FAILED(plan.SetValue(out, port.id, ValueSlot{&kSearchPathsType, &none}));
          m_.searchPathInputs_.emplace_back(out, port.id);
          break;
        }
        case Kind::kLiteral: {
          Data converted;
          Result r = ConvertLiteral(*b.literal->type(), b.literal->get(), valueType, converted);
          if (r.failed()) return Result::Fail(r.id(), b.where + ": " + std::string(r.message()));
          if (function) {
            m_.constants_.push_back(std::make_unique<LiteralFunction>(converted));
            TESSAROC_RETURN_IF_FAILED(plan.SetFunction(out, port.id, m_.constants_.back().get()));
          } else {
            TESSAROC_RETURN_IF_FAILED(plan.SetValue(out, port.id, ValueSlot{converted.type(), converted.get()}));
          }
          break;
        }
        case Kind::kLink: {
          const int target = function ? -1 : key;
          SubPlanRef body{key};
          if (function) TESSAROC_RETURN_IF_FAILED(plan.AddSubPlan(valueType, body));
          NodeRef src;
          Id srcPort;
          TESSAROC_RETURN_IF_FAILED(ReadFrom(b.source, valueType, function ? body.index : target, src, srcPort));
          if (function) {
            TESSAROC_RETURN_IF_FAILED(plan.SetSubPlanResult(body, src, srcPort));
            TESSAROC_RETURN_IF_FAILED(plan.LinkFunction(out, port.id, body));
          } else {
            TESSAROC_RETURN_IF_FAILED(plan.Link(out, port.id, src, srcPort));
          }
          break;
        }
      }
    }
    return Result::Ok();
  }

  // The node and port a value of `want` is read from, through a conversion
  // node when the source's type differs.
  Result ReadFrom(const Source& s, const DataType& want, int sub, NodeRef& node, Id& port) {
    TESSAROC_RETURN_IF_FAILED(Materialize(s.inst, sub, node));
    const Port& p = insts_[s.inst].group->ports()[s.port];
    port = p.id;
    if (p.dataType->StoredLike(want)) return Result::Ok();
    const MicroNodeGroup* conv = nullptr;
    TESSAROC_RETURN_IF_FAILED(FindConversion(*p.dataType, want, conv));
    NodeRef c;
    const int convSub = insts_[s.inst].varying == 1 ? sub : 0;
    TESSAROC_RETURN_IF_FAILED(m_.plan_->AddNode(conv, "convert", c, SubPlanRef{convSub}));
    TESSAROC_RETURN_IF_FAILED(m_.plan_->Link(c, "input", node, port));
    node = c;
    port = Id("output");
    return Result::Ok();
  }

  Material& m_;
  const Document& doc_;
  const std::vector<std::string>& extra_;
  std::vector<Inst> insts_;
};

Material::~Material() = default;

Result Material::Compile(std::unique_ptr<Document> document, std::unique_ptr<Material>& out,
                         const std::vector<std::string>& extra) {
  std::unique_ptr<Material> m(new Material());
  m->document_ = std::move(document);
  TESSAROC_RETURN_IF_FAILED(SetupMaterial(m->document_->root()));
  Compiler compiler(*m, extra);
  TESSAROC_RETURN_IF_FAILED(compiler.Run());
  out = std::move(m);
  return Result::Ok();
}

Result Material::FromFile(const std::string& path, std::unique_ptr<Material>& out,
                          const std::vector<std::string>& extra) {
  std::unique_ptr<Document> doc;
  TESSAROC_RETURN_IF_FAILED(Document::Load(path, doc));
  return Compile(std::move(doc), out, extra);
}

Result Material::FromText(const std::string& text, const std::string& origin, std::unique_ptr<Material>& out) {
  std::unique_ptr<Document> doc;
  TESSAROC_RETURN_IF_FAILED(Document::Parse(text, origin, doc));
  return Compile(std::move(doc), out);
}

Result Material::Prepare(const ShadingContext& priming) {
  SearchPathsType paths;
  if (priming.searchpaths) paths = *priming.searchpaths;
  const Url folder(document_->folder());
  if (!folder.IsEmpty() && std::find(paths.urls.begin(), paths.urls.end(), folder) == paths.urls.end())
    paths.urls.push_back(folder);
  for (const auto& [node, port] : searchPathInputs_)
    TESSAROC_RETURN_IF_FAILED(prototype_->SetInput(node, port, ValueSlot{&kSearchPathsType, &paths}));
  TESSAROC_RETURN_IF_FAILED(prototype_->Prepare());
  TESSAROC_RETURN_IF_FAILED(prototype_->Clone(uniform_));
  prepared_ = true;
  return Prime(priming);
}

Result Material::Prime(const ShadingContext& priming) {
  if (!prepared_) return Result::Fail(errors::kIllegalState, "prepare the material before priming it");
  if (primed_) TESSAROC_RETURN_IF_FAILED(uniform_->Clone(prototype_));
  // Priming builds first-sample state; an error here is the sample's own and
  // shows again when that sample is evaluated.
  (void)prototype_->Evaluate(priming);
  primedAt_ = priming;
  primed_ = true;
  return Result::Ok();
}

Result Material::NewEvaluator(std::unique_ptr<PlanInstance>& out) const {
  if (!prepared_) return Result::Fail(errors::kIllegalState, "prepare the material before evaluating it");
  return prototype_->Clone(out);
}

const Material::Output* Material::extraOutput(std::string_view nodePort) const {
  for (const Output& o : extra_)
    if (o.id == nodePort) return &o;
  return nullptr;
}

ValueSlot Material::OutputValue(const PlanInstance& instance, const Output& output) const {
  return instance.PortValue(output.node, output.corePort, false);
}

}  // namespace tessaroc::graph
