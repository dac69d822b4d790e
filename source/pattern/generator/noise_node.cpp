#include "pattern/generator/noise_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

constinit const DataType kNoiseTableType =
    MakeDataType<NoiseTable>("net.zovan.render.datatype.noiseshadertable", "NoiseTable");

namespace {

// Maximum and minimum that keep a NaN, so that one NaN fails the footprint's
// max >= min test.
double MaxKeepNaN(double a, double b) { return (a != a || a > b) ? a : b; }
double MinKeepNaN(double a, double b) { return (a != a || a < b) ? a : b; }

}  // namespace

float NoiseFootprint(const ShadingContext& c) {
  const double maxU = MaxKeepNaN(MaxKeepNaN(c.uvw.x, c.uvwdx.x), c.uvwdy.x);
  const double minU = MinKeepNaN(MinKeepNaN(c.uvw.x, c.uvwdx.x), c.uvwdy.x);
  const double maxV = MaxKeepNaN(MaxKeepNaN(c.uvw.y, c.uvwdx.y), c.uvwdy.y);
  const double minV = MinKeepNaN(MinKeepNaN(c.uvw.y, c.uvwdx.y), c.uvwdy.y);
  const double maxW = MaxKeepNaN(MaxKeepNaN(c.uvw.z, c.uvwdx.z), c.uvwdy.z);
  const double minW = MinKeepNaN(MinKeepNaN(c.uvw.z, c.uvwdx.z), c.uvwdy.z);
  if (!(maxU >= minU && maxV >= minV && maxW >= minW)) return 0.0f;
  const float mean = static_cast<float>(((maxU - minU) + (maxV - minV) + (maxW - minW)) * 0.3333333333333333);
  return mean * 10.0f;
}

namespace {

// ---- noisepre

enum PreAccess { kPreSeed, kPreLacunarity, kPreGain, kPreExponent, kPreNoiseType, kPreNoiseTable };

void NoisePreKernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const uint32_t seed = ports.In<uint32_t>(kPreSeed);
  const double lacunarity = ports.In<double>(kPreLacunarity);
  const double gain = ports.In<double>(kPreGain);
  const double exponent = ports.In<double>(kPreExponent);
  const Id& noiseType = ports.In<Id>(kPreNoiseType);
  NoiseTable& table = ports.Out<NoiseTable>(kPreNoiseTable);

  if (noiseType.empty()) return;
  if (table.noise && seed == table.seed && lacunarity == table.lacunarity && gain == table.gain &&
      exponent == table.exponent && noiseType == table.noiseType)
    return;
  table.seed = seed;
  table.noiseType = noiseType;

  DataDictionary parameters;
  for (const auto& [key, value] : {std::pair{kNoiseLacunarityKey, lacunarity}, std::pair{kNoiseGainKey, gain},
                                   std::pair{kNoiseExponentKey, exponent}}) {
    Result r = parameters.Set(key, value);
    if (r.failed()) {
      result = r;
      return;
    }
  }

  const RenderNoiseClass* cls = RenderNoiseClasses().Find(noiseType);
  if (cls == nullptr) cls = DefaultRenderNoiseClass();
  if (cls == nullptr) {
    result = Result::Fail(errors::kNullPtr, "no noise class " + noiseType.str());
    return;
  }
  RenderNoiseRef created;
  Result r = cls->Create(created);
  table.noise = std::move(created);  // the old object goes whatever the outcome
  if (r.failed()) {
    table.noise.Reset(nullptr);
    result = r;
    return;
  }
  r = table.noise->Init(seed, kNoiseTablePower, parameters);
  if (r.failed()) result = r;
}

constexpr PortDecl kPrePorts[] = {
    {"seed", PortDir::kIn, &kUInt32Type},  {"lacunarity", PortDir::kIn, &kFloat64Type},
    {"gain", PortDir::kIn, &kFloat64Type}, {"exponent", PortDir::kIn, &kFloat64Type},
    {"noiseType", PortDir::kIn, &kIdType}, {"noisetable", PortDir::kOut, &kNoiseTableType, MicroNode::FLAGS::PERMANENT},
};
constexpr AccessDecl kPreAccess[] = {
    {kPreSeed, "seed"},         {kPreLacunarity, "lacunarity"}, {kPreGain, "gain"},
    {kPreExponent, "exponent"}, {kPreNoiseType, "noiseType"},   {kPreNoiseTable, "noisetable"},
};
static_assert(AccessInOrder(kPreAccess));
constexpr MicroNodeDecl kPreMicro[] = {{"", kPreAccess, &NoisePreKernel}};
constexpr CoreNodeDecl kPreNode{kNoisePreId, "source/pattern/generator/noise_node", true, kPrePorts, kPreMicro};

// ---- noise

enum NoiseAccess { kContext, kContextLocal, kAnimationSpeed, kOctaves, kAbsolute, kNoiseTable, kResult };

void NoiseKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& c = ports.In<ShadingContext>(kContextLocal);
  double& result = ports.Out<double>(kResult);
  if (c.uvwvalid == 0) {
    result = 0.0;
    return;
  }
  const float footprint = NoiseFootprint(c);
  const float x = static_cast<float>(c.uvw.x * 10.0);
  const float y = static_cast<float>(c.uvw.y * 10.0);
  const float z = static_cast<float>(c.uvw.z * 10.0);
  const float time = static_cast<float>(ports.In<double>(kAnimationSpeed) * c.time);
  const float octaves = static_cast<float>(ports.In<double>(kOctaves));
  const bool absolute = ReadBool(ports, kAbsolute);
  const NoiseTable& table = ports.In<NoiseTable>(kNoiseTable);
  result = table.noise ? static_cast<double>(table.noise->Noise(x, y, z, absolute, time, octaves, footprint)) : 0.0;
}

constexpr PortDecl kNoisePorts[] = {
    {"context", PortDir::kIn, &kShadingContextType}, {"contextLocal", PortDir::kIn, &kShadingContextType},
    {"animationSpeed", PortDir::kIn, &kFloat64Type}, {"octaves", PortDir::kIn, &kFloat64Type},
    {"absolute", PortDir::kIn, &kBoolType},          {"noisetable", PortDir::kIn, &kNoiseTableType},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kNoiseAccess[] = {
    {kContext, "context"}, {kContextLocal, "contextLocal"}, {kAnimationSpeed, "animationSpeed"},
    {kOctaves, "octaves"}, {kAbsolute, "absolute"},         {kNoiseTable, "noisetable"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kNoiseAccess));
constexpr MicroNodeDecl kNoiseMicro[] = {{"", kNoiseAccess, &NoiseKernel}};
constexpr CoreNodeDecl kNoiseNode{kNoiseId, "source/pattern/generator/noise_node", false, kNoisePorts, kNoiseMicro};

// ---- mathnoise

enum MathAccess { kValue, kTime, kTwod, kScale, kMathOctaves, kMathAbsolute, kMathNoiseTable, kMathResult };

void MathNoiseKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const Vector& value = ports.In<Vector>(kValue);
  const double scale = ports.In<double>(kScale);
  const float x = static_cast<float>(value.x * scale);
  const float y = static_cast<float>(value.y * scale);
  const float time = static_cast<float>(ports.In<double>(kTime));
  const float octaves = static_cast<float>(ports.In<double>(kMathOctaves));
  const bool absolute = ReadBool(ports, kMathAbsolute);
  const NoiseTable& table = ports.In<NoiseTable>(kMathNoiseTable);
  double& result = ports.Out<double>(kMathResult);
  if (!table.noise) {
    result = 0.0;
    return;
  }
  if (ReadBool(ports, kTwod)) {
    result = static_cast<double>(table.noise->Noise(x, y, absolute, time, octaves, 0.0f));
  } else {
    const float z = static_cast<float>(value.z * scale);
    result = static_cast<double>(table.noise->Noise(x, y, z, absolute, time, octaves, 0.0f));
  }
}

constexpr PortDecl kMathPorts[] = {
    {"value", PortDir::kIn, &kVectorType},
    {"time", PortDir::kIn, &kFloat64Type},
    {"twod", PortDir::kIn, &kBoolType},
    {"scale", PortDir::kIn, &kFloat64Type},
    {"octaves", PortDir::kIn, &kFloat64Type},
    {"absolute", PortDir::kIn, &kBoolType},
    {"noisetable", PortDir::kIn, &kNoiseTableType},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kMathAccess[] = {
    {kValue, "value"},
    {kTime, "time"},
    {kTwod, "twod"},
    {kScale, "scale"},
    {kMathOctaves, "octaves"},
    {kMathAbsolute, "absolute"},
    {kMathNoiseTable, "noisetable"},
    {kMathResult, "result"},
};
static_assert(AccessInOrder(kMathAccess));
constexpr MicroNodeDecl kMathMicro[] = {{"", kMathAccess, &MathNoiseKernel}};
constexpr CoreNodeDecl kMathNode{kMathNoiseId, "source/pattern/generator/noise_node", true, kMathPorts, kMathMicro};

}  // namespace

Result RegisterNoiseNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kMathNode>(registry));
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kNoiseNode>(registry));
  return RegisterDeclaredNode<kPreNode>(registry);
}

}  // namespace tessaroc::pattern
