// A material: a graph document set up and compiled into a plan, prepared
// once, then evaluated per sample from any number of threads, each with its
// own evaluator (a copy of the primed instance).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tessaroc/core/runtime.h"

namespace tessaroc::graph {

class Document;  // a graph document read and checked (graph/document.h, inside the library)

class Material {
 public:
  // An output of the document's output node that a user can connect.
  struct Output {
    std::string id;
    const DataType* type = nullptr;
    NodeRef node;
    Id corePort;
  };

  // Runs material setup on the document's graph, as a host would, and
  // compiles it. `extra` names more outputs to evaluate with every sample,
  // as "NODE.PORT" of the document (a render's extra images).
  static Result Compile(std::unique_ptr<Document> document, std::unique_ptr<Material>& out,
                        const std::vector<std::string>& extra = {});
  static Result FromFile(const std::string& path, std::unique_ptr<Material>& out,
                         const std::vector<std::string>& extra = {});
  // A document given as text. `origin` names it in messages, and its folder
  // is where the document's relative file names are found ("scene/wood.json").
  static Result FromText(const std::string& text, const std::string& origin, std::unique_ptr<Material>& out);
  ~Material();

  // Runs the uniform nodes once, then one evaluation at `priming`, so that
  // state nodes build at their first sample is there before threads copy it.
  // Bakes (cache, blur) see no render context: they look files up in the
  // search paths of `priming`, then in the document's folder.
  Result Prepare(const ShadingContext& priming = ShadingContext());
  bool prepared() const { return prepared_; }
  // Builds the first-sample state afresh at `priming`, keeping the uniform
  // results: what a new picture of the same material needs when that state
  // depends on the sample (the frame a sequence shows at the time).
  Result Prime(const ShadingContext& priming);
  // The time and frame rate of the last priming.
  const ShadingContext& primedAt() const { return primedAt_; }

  // A copy of the primed instance, for one thread. It must not outlive the material.
  Result NewEvaluator(std::unique_ptr<PlanInstance>& out) const;

  // The document's output, and every connectable output of its node.
  const Output& mainOutput() const { return outputs_[mainIndex_]; }
  const std::vector<Output>& outputs() const { return outputs_; }
  ValueSlot OutputValue(const PlanInstance& instance, const Output& output) const;
  // The vector the document names as its normal (lit previews shade with
  // it), evaluated with every sample; null when it names none.
  const Output* normalOutput() const { return normal_.type ? &normal_ : nullptr; }
  // An output compiled in as `extra`, by its "NODE.PORT"; null if it was not.
  const Output* extraOutput(std::string_view nodePort) const;

  const Document& document() const { return *document_; }
  const Plan& plan() const { return *plan_; }
  PlanInstance& prototype() { return *prototype_; }

 private:
  Material() = default;
  friend class Compiler;
  std::unique_ptr<Document> document_;
  std::unique_ptr<Plan> plan_;
  std::unique_ptr<PlanInstance> prototype_;
  std::unique_ptr<PlanInstance> uniform_;  // the block after the uniform nodes, before priming
  ShadingContext primedAt_;
  std::vector<std::unique_ptr<FunctionInterface>> constants_;  // literals given to Function ports
  std::vector<Output> outputs_;
  Output normal_;
  std::vector<Output> extra_;  // id: "NODE.PORT" as asked for
  // The search-path inputs the document leaves to the material.
  std::vector<std::pair<NodeRef, Id>> searchPathInputs_;
  size_t mainIndex_ = 0;
  bool prepared_ = false;
  bool primed_ = false;
};

}  // namespace tessaroc::graph
