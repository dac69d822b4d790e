#include "pattern/generator/gradient_node.h"

#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/function.h"
#include "core/node_decl.h"
#include "core/services.h"
#include "core/srgb.h"
#include "pattern/generator/crc32c.h"

namespace tessaroc::pattern {

GradientSpace ClassifyGradientSpace(const Id& id) {
  static const Id srgb = CanonicalId("srgb");
  static const Id linear = CanonicalId("linear");
  // By value first, then by identity with the registered constant.
  if (id == srgb) return id.text() == srgb.text() ? GradientSpace::kSrgb : GradientSpace::kSrgbLookalike;
  if (id == linear) return id.text() == linear.text() ? GradientSpace::kLinear : GradientSpace::kLinearLookalike;
  return GradientSpace::kUnknown;
}

ColorA GradientLinearToSrgb(const ColorA& c) { return {LinearToSrgb(c.r), LinearToSrgb(c.g), LinearToSrgb(c.b), c.a}; }

ColorA GradientSrgbToLinear(const ColorA& c) {
  // Back to linear, a channel at or below zero stays as it is.
  auto f = [](double x) { return x <= 0.0 ? x : SrgbToLinearByReciprocals(x); };
  return {f(c.r), f(c.g), f(c.b), c.a};
}

namespace {

// The checksum of n positions in port order, each as its eight bytes.
template <class Position>
uint32_t CrcOfPositions(int64_t n, Position position) {
  uint32_t state = kCrc32cStart;
  for (int64_t i = 0; i < n; ++i) state = Crc32cExtendDouble(state, position(i));
  return ~state;
}

}  // namespace

uint32_t KnotPositionsCrc(std::span<const double> positions) {
  return CrcOfPositions(static_cast<int64_t>(positions.size()), [&](int64_t i) { return positions[i]; });
}

namespace {

// A diagnostic for the render's messages, like the other nodes' reports; the
// sample goes on, whether or not the sink takes it.
void ReportUnsupportedSpace(const Id& id, MessageSink* messages) {
  if (messages == nullptr) return;
  // Built on the stack: this can be reached per sample.
  char text[256];
  const size_t at = kUnsupportedColorSpaceText.find('@');
  std::string_view name = id.view();
  size_t len = 0;
  auto append = [&](std::string_view part) {
    const size_t n = std::min(part.size(), sizeof(text) - len);
    std::memcpy(text + len, part.data(), n);
    len += n;
  };
  append(kUnsupportedColorSpaceText.substr(0, at));
  append(name);
  append(kUnsupportedColorSpaceText.substr(at + 1));
  (void)messages->AddMessage(std::string_view(text, len));
}

// ---- gradientpre

enum PreAccess { kPreSortedKnots, kPreCrc, kPrePositions };

void PreKernel(Result& result, const MicroNodeImpl& impl, const PortAccess& ports) {
  SortedKnotsRef& table = ports.Out<SortedKnotsRef>(kPreSortedKnots);
  if (!table) {
    try {
      table = std::make_shared<SortedKnots>();
    } catch (const std::bad_alloc&) {
      result = Result::Fail(errors::kOutOfMemory, "cannot allocate the knot table");
      return;
    }
  }
  const ArrayPortWords& w = ArrayWords(impl, 0);
  auto position = [&](int64_t i) { return ports.In<double>(static_cast<int>(w.firstIndex + i)); };
  const uint32_t crc = CrcOfPositions(w.count, position);
  uint32_t& stored = ports.Out<uint32_t>(kPreCrc);
  if (crc == stored) return;

  std::vector<double> positions;
  try {
    positions.reserve(static_cast<size_t>(w.count));
  } catch (const std::bad_alloc&) {
    result = Result::Fail(errors::kOutOfMemory, "cannot allocate the knot positions");
    return;
  }
  for (int64_t i = 0; i < w.count; ++i) positions.push_back(position(i));
  result = BuildSortedKnots(positions, *table);
  // Stored last: a failed build is tried again at the next evaluation.
  if (result.ok()) stored = crc;
}

constexpr PortDecl kPrePorts[] = {
    {"sortedKnots", PortDir::kOut, &kSortedKnotsRefType, MicroNode::FLAGS::PERMANENT},
    {"crc", PortDir::kOut, &kUInt32Type, MicroNode::FLAGS::PERMANENT},
    {"position", PortDir::kIn, &kFloat64Type, 0, true},
};
constexpr AccessDecl kPreAccess[] = {{kPreSortedKnots, "sortedKnots"}, {kPreCrc, "crc"}, {kPrePositions, "position"}};
static_assert(AccessInOrder(kPreAccess));
constexpr MicroNodeDecl kPreMicro[] = {{"", kPreAccess, &PreKernel}};
constexpr CoreNodeDecl kPreNode{kGradientPreId, "source/pattern/generator/gradient_node", true, kPrePorts, kPreMicro};

// ---- gradient

enum Access { kContext, kContextLocal, kInput, kSortedKnots, kColorSpace, kResult, kColors, kBiases, kInterpolations };
enum Arrays { kColorArray, kBiasArray, kInterpolationArray };

// The knot functions of one sample, called with the node's context.
class PortKnots final : public KnotAccessor {
 public:
  PortKnots(const MicroNodeImpl& impl, const PortAccess& ports, const ShadingContext& ctx, const Id& spaceId,
            GradientSpace space)
      : impl_(impl), ports_(ports), ctx_(ctx), spaceId_(spaceId), space_(space) {}

  Result Color(int64_t index, ColorA& out) const override {
    TESSAROC_RETURN_IF_FAILED(InvokeColor(Function(kColorArray, index), ctx_, out));
    switch (space_) {
      case GradientSpace::kSrgb: out = GradientLinearToSrgb(out); break;
      case GradientSpace::kLinear: break;
      case GradientSpace::kSrgbLookalike:
      case GradientSpace::kLinearLookalike: out = {1.0, 0.0, 1.0, 1.0}; break;
      case GradientSpace::kUnknown: ReportUnsupportedSpace(spaceId_, ctx_.messagesink); break;
    }
    return Result::Ok();
  }
  Result Bias(int64_t index, double& out) const override { return InvokeFloat(Function(kBiasArray, index), ctx_, out); }
  Result Interpolation(int64_t index, Id& out) const override {
    return InvokeFunction(Function(kInterpolationArray, index), kIdType, ctx_, out, Id());
  }

 private:
  // The function of knot `index` in one group; null (an error when called)
  // when the group has fewer elements.
  FunctionRef Function(int array, int64_t index) const {
    const ArrayPortWords& w = ArrayWords(impl_, array);
    if (index < 0 || index >= w.count) return nullptr;
    return ports_.In<FunctionRef>(static_cast<int>(w.firstIndex + index));
  }

  const MicroNodeImpl& impl_;
  const PortAccess& ports_;
  const ShadingContext& ctx_;
  const Id& spaceId_;
  GradientSpace space_;
};

void GradientKernel(Result& result, const MicroNodeImpl& impl, const PortAccess& ports) {
  const SortedKnotsRef& table = ports.In<SortedKnotsRef>(kSortedKnots);
  const ShadingContext& local = ports.In<ShadingContext>(kContextLocal);
  ColorA& out = ports.Out<ColorA>(kResult);
  if (!table || table->knots.empty() || local.uvwvalid == 0) {
    out = ColorA{0.0, 0.0, 0.0, 0.0};
    return;
  }
  const double t = ports.HasValue(kInput) ? ports.In<double>(kInput) : local.uvw.x;
  const Id spaceId = ports.In<Id>(kColorSpace);  // one more reference while in use
  const GradientSpace space = ClassifyGradientSpace(spaceId);
  const PortKnots knots(impl, ports, ports.In<ShadingContext>(kContext), spaceId, space);
  ColorA c;
  result = GradientColor(*table, knots, t, c);
  if (result.failed()) return;
  switch (space) {
    case GradientSpace::kSrgb: out = GradientSrgbToLinear(c); break;
    case GradientSpace::kLinear: out = c; break;
    case GradientSpace::kSrgbLookalike:
    case GradientSpace::kLinearLookalike: break;  // left as it was
    case GradientSpace::kUnknown:
      ReportUnsupportedSpace(spaceId, ports.In<ShadingContext>(kContext).messagesink);
      out = c;
      break;
  }
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"contextLocal", PortDir::kIn, &kShadingContextType},
    {"input", PortDir::kIn, &kFloat64Type},
    {"sortedKnots", PortDir::kIn, &kSortedKnotsRefType},
    {"colorspace", PortDir::kIn, &kIdType},
    {"result", PortDir::kOut, &kColorAType},
    {"color", PortDir::kIn, &kColorFunctionType, 0, true},
    {"bias", PortDir::kIn, &kFloatFunctionType, 0, true},
    {"interpolation", PortDir::kIn, &kIdFunctionType, 0, true},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},
    {kContextLocal, "contextLocal"},
    {kInput, "input"},
    {kSortedKnots, "sortedKnots"},
    {kColorSpace, "colorspace"},
    {kResult, "result"},
    {kColors, "color"},
    {kBiases, "bias"},
    {kInterpolations, "interpolation"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &GradientKernel}};
constexpr CoreNodeDecl kNode{kGradientId, "source/pattern/generator/gradient_node", false, kPorts, kMicro};

}  // namespace

Result RegisterGradientNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&kSortedKnotsRefType));
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kNode>(registry));
  return RegisterDeclaredNode<kPreNode>(registry);
}

}  // namespace tessaroc::pattern
