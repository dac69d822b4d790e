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
  // compiles it.
  static Result Compile(std::unique_ptr<Document> document, std::unique_ptr<Material>& out);
  static Result FromFile(const std::string& path, std::unique_ptr<Material>& out);
  // A document given as text. `origin` names it in messages, and its folder
  // is where the document's relative file names are found ("scene/wood.json").
  static Result FromText(const std::string& text, const std::string& origin, std::unique_ptr<Material>& out);
  ~Material();

  // Runs the uniform nodes once, then one evaluation at `priming`, so that
  // state nodes build at their first sample is there before threads copy it.
  Result Prepare(const ShadingContext& priming = ShadingContext());
  bool prepared() const { return prepared_; }

  // A copy of the primed instance, for one thread. It must not outlive the material.
  Result NewEvaluator(std::unique_ptr<PlanInstance>& out) const;

  // The document's output, and every connectable output of its node.
  const Output& mainOutput() const { return outputs_[mainIndex_]; }
  const std::vector<Output>& outputs() const { return outputs_; }
  ValueSlot OutputValue(const PlanInstance& instance, const Output& output) const;

  const Document& document() const { return *document_; }
  const Plan& plan() const { return *plan_; }
  PlanInstance& prototype() { return *prototype_; }

 private:
  Material() = default;
  friend class Compiler;
  std::unique_ptr<Document> document_;
  std::unique_ptr<Plan> plan_;
  std::unique_ptr<PlanInstance> prototype_;
  std::vector<std::unique_ptr<FunctionInterface>> constants_;  // literals given to Function ports
  std::vector<Output> outputs_;
  size_t mainIndex_ = 0;
  bool prepared_ = false;
};

}  // namespace tessaroc::graph
