// The `tessaroc` Python module: a thin binding over the functions the
// command line runs (graph/entry_points.h), so a render or a sample from
// Python is the command line's to the bit.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "graph/entry_points.h"
#include "host/messages/message_sink.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/host/host_services.h"
#include "tessaroc/module/register.h"
#include "tessaroc/version.h"

namespace py = pybind11;

namespace tessaroc::python {

namespace {

PyObject* errorType = nullptr;

// Raises tessaroc.Error with the message the command line prints.
[[noreturn]] void Raise(const Result& r) {
  const std::string message(r.message().empty() ? r.id() : r.message());
  PyErr_SetString(errorType, message.c_str());
  throw py::error_already_set();
}

// The material's messages (a missing image file, ...) as Python warnings.
void Warn(const host::CollectingMessageSink& sink) {
  for (const std::string& m : sink.Messages())
    if (PyErr_WarnEx(PyExc_RuntimeWarning, m.c_str(), 2) != 0) throw py::error_already_set();
}

py::object FromJson(const nlohmann::ordered_json& value) {
  return py::module_::import("json").attr("loads")(value.dump());
}

// A document by file (read again at each use, as the command line reads it
// at each run) or by text with the folder its file names are relative to.
class Material {
 public:
  static Material FromFile(const std::string& path) {
    Material m;
    m.path_ = path;
    m.Check();
    return m;
  }
  static Material FromText(std::string text, const std::string& baseDir) {
    Material m;
    m.text_ = std::move(text);
    m.origin_ = baseDir.empty() ? "<json>" : baseDir + "/<json>";
    m.Check();
    return m;
  }

  py::array_t<float> Render(int width, int height, int threads, double time, double fps) const {
    if (width < 1 || height < 1) Raise(Result::Fail(errors::kIllegalArgument, "width and height must be at least 1"));
    if (!(fps > 0)) Raise(Result::Fail(errors::kIllegalArgument, "fps must be above 0"));
    graph::RenderSettings s;
    s.width = width;
    s.height = height;
    s.threads = threads;
    s.time = time;
    s.fps = fps;
    host::CollectingMessageSink sink;
    s.messages = &sink;
    auto image = std::make_unique<host::Image>();
    Result r;
    {
      py::gil_scoped_release unlocked;
      std::unique_ptr<graph::Document> doc;
      r = Load(doc);
      if (r.ok()) r = graph::RenderDocument(std::move(doc), s, *image);
    }
    Warn(sink);
    if (r.failed()) Raise(r);
    // The array keeps the pixels it was rendered into: no copy.
    float* data = image->pixels.data();
    py::capsule owner(image.release(), [](void* p) { delete static_cast<host::Image*>(p); });
    return py::array_t<float>({height, width, 4}, data, owner);
  }

  py::object Eval(double u, double v, py::object context) const {
    ShadingContext ctx = graph::EvalContext(u, v);
    if (!context.is_none()) {
      const std::string text = py::module_::import("json").attr("dumps")(context).cast<std::string>();
      if (Result r = graph::ContextFromJson(text, "context", ctx); r.failed()) Raise(r);
    }
    host::CollectingMessageSink sink;
    nlohmann::ordered_json out;
    Result r;
    {
      py::gil_scoped_release unlocked;
      std::unique_ptr<graph::Document> doc;
      r = Load(doc);
      if (r.ok()) r = graph::EvaluateDocument(std::move(doc), ctx, sink, out);
    }
    Warn(sink);
    if (r.failed()) Raise(r);
    return FromJson(out);
  }

  std::string Repr() const {
    return "tessaroc.Material(" + (path_.empty() ? std::string("<json>") : "'" + path_ + "'") + ")";
  }

 private:
  Result Load(std::unique_ptr<graph::Document>& doc) const {
    return path_.empty() ? graph::Document::Parse(text_, origin_, doc) : graph::Document::Load(path_, doc);
  }
  // A mistake in the document raises when the material is made.
  void Check() {
    Result r;
    {
      py::gil_scoped_release unlocked;
      std::unique_ptr<graph::Document> doc;
      std::unique_ptr<graph::Material> material;
      r = Load(doc);
      if (r.ok()) r = graph::Material::Compile(std::move(doc), material);
    }
    if (r.failed()) Raise(r);
  }

  std::string path_;
  std::string text_, origin_;
};

}  // namespace

}  // namespace tessaroc::python

PYBIND11_MODULE(tessaroc, m) {
  using namespace tessaroc;
  using python::Material;
  m.doc() = "Procedural shading patterns: render and evaluate material graphs, list and describe the nodes.";
  m.attr("__version__") = TESSAROC_VERSION_STRING;

  python::errorType = PyErr_NewExceptionWithDoc("tessaroc.Error", "A mistake in a document, a node name or a value.",
                                                PyExc_ValueError, nullptr);
  m.attr("Error") = py::handle(python::errorType);

  if (Result r = host::InstallHostServices(); r.failed()) python::Raise(r);
  if (!module::ModuleLoaded())
    if (Result r = module::LoadModule(); r.failed()) python::Raise(r);

  m.def(
      "nodes",
      [] {
        std::vector<std::string> ids;
        for (const CoreNodeDefinition* d : CoreNodes().Entries()) ids.push_back(d->id().str());
        return ids;
      },
      "The registered core node ids, as `tessaroc nodes --core` lists them.");
  m.def(
      "describe",
      [](const std::string& name) {
        nlohmann::ordered_json out;
        if (Result r = graph::DescribeNode(name, out); r.failed()) python::Raise(r);
        return python::FromJson(out);
      },
      py::arg("name"),
      "A node's ports, types, defaults and values as a dict, as `tessaroc nodes --json` gives it. `name` is an "
      "asset id or alias or a core node id.");

  py::class_<Material>(m, "Material", "A material graph document, compiled at each render or evaluation.")
      .def_static("from_file", &Material::FromFile, py::arg("path"),
                  "A document file. Its relative file names are found in its folder; the file is read again at "
                  "each render or evaluation, as `tessaroc` reads it at each run.")
      .def_static(
          "from_json",
          [](py::object document, py::object baseDir) {
            const std::string text = py::isinstance<py::str>(document)
                                         ? document.cast<std::string>()
                                         : py::module_::import("json").attr("dumps")(document).cast<std::string>();
            return Material::FromText(text, baseDir.is_none() ? "" : py::str(baseDir).cast<std::string>());
          },
          py::arg("document"), py::arg("base_dir") = py::none(),
          "A document as JSON text or as a dict; its relative file names are found in `base_dir` (default: the "
          "current folder).")
      .def("render", &Material::Render, py::arg("width"), py::arg("height"), py::arg("threads") = 0,
           py::arg("time") = 0.0, py::arg("fps") = 24.0,
           "Renders the UV square to float32 RGBA pixels of shape (height, width, 4), linear, row 0 at the top: "
           "the pixels `tessaroc render` writes to an EXR. threads=0 uses every core; Python threads may render "
           "at the same time.")
      .def("eval", &Material::Eval, py::arg("u"), py::arg("v"), py::arg("context") = py::none(),
           "One sample as a dict of every output, as `tessaroc eval --uv U,V` prints it. `context` (a dict of "
           "context fields by name, like a --context file) overrides fields of the sample.")
      .def("__repr__", &Material::Repr);
}
