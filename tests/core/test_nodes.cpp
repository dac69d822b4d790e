#include "test_nodes.h"

#include "tessaroc/core/function.h"
#include "core/node_decl.h"

#include <thread>
#include <vector>

namespace tessaroc::testing {

using MicroNode::FLAGS::PERMANENT;

constinit const DataType kCounterTableType = MakeDataType<CounterTable>("test.countertable", "CounterTable");

std::atomic<int>& KernelCalls() {
  static std::atomic<int> calls{0};
  return calls;
}

namespace {

// --- access order differs from creation order (time is created after uvw,
// accessed before it)
enum OrderAccess { kOCtx, kORayOrigin, kOTime, kOUvw, kOResult };
void OrderKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  p.Out<double>(kOResult) = p.In<double>(kOTime) * 1000.0 + p.In<Vector>(kOUvw).x * 10.0 + p.In<Vector>(kORayOrigin).x;
}
constexpr PortDecl kOrderPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"rayorigin", PortDir::kIn, &kVectorType},
    {"uvw", PortDir::kIn, &kVectorType},
    {"time", PortDir::kIn, &kTimeValueType},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kOrderAccess[] = {
    {kOCtx, "context"}, {kORayOrigin, "rayorigin"}, {kOTime, "time"}, {kOUvw, "uvw"}, {kOResult, "result"}};
static_assert(AccessInOrder(kOrderAccess));
constexpr MicroNodeDecl kOrderMicro[] = {{"", kOrderAccess, &OrderKernel}};
constexpr CoreNodeDecl kOrder{kOrderNode, "tests/core/test_nodes", false, kOrderPorts, kOrderMicro};

// --- calls a colour function at a shifted context
enum CallAccess { kCCtx, kCColor, kCShift, kCResult, kCCache };
void CallColorKernel(Result& r, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  const ShadingContext& in = p.In<ShadingContext>(kCCtx);
  const double shift = p.In<double>(kCShift);
  ShadingContext local = in;
  local.uvw.x += shift;
  // Unshifted, it passes its own context on, as the catalogue's nodes do.
  ColorA out;
  r = InvokeColor(p.In<FunctionRef>(kCColor), shift == 0.0 ? in : local, out, &p.Out<Data>(kCCache));
  p.Out<ColorA>(kCResult) = out;
}
constexpr PortDecl kCallPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"color", PortDir::kIn, &kColorFunctionType},
    {"shift", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorAType},
    {"cache", PortDir::kOut, &kDataType, PERMANENT | MicroNode::FLAGS::DONT_WRAP},
};
constexpr AccessDecl kCallAccess[] = {
    {kCCtx, "context"}, {kCColor, "color"}, {kCShift, "shift"}, {kCResult, "result"}, {kCCache, "cache"}};
static_assert(AccessInOrder(kCallAccess));
constexpr MicroNodeDecl kCallMicro[] = {{"", kCallAccess, &CallColorKernel}};
constexpr CoreNodeDecl kCallColor{kCallColorNode, "tests/core/test_nodes", false, kCallPorts, kCallMicro};

// --- the context's uvw as a colour
void UvwColorKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  const Vector& uvw = p.In<ShadingContext>(0).uvw;
  p.Out<ColorA>(1) = {uvw.x, uvw.y, uvw.z, 1.0};
}
constexpr PortDecl kUvwPorts[] = {{"context", PortDir::kIn, &kShadingContextType},
                                  {"result", PortDir::kOut, &kColorAType}};
constexpr AccessDecl kUvwAccess[] = {{0, "context"}, {1, "result"}};
constexpr MicroNodeDecl kUvwMicro[] = {{"", kUvwAccess, &UvwColorKernel}};
constexpr CoreNodeDecl kUvwColor{kUvwColorNode, "tests/core/test_nodes", false, kUvwPorts, kUvwMicro};

// --- pre node: rebuilds only when its input differs from what it stored
void CounterPreKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  const uint32_t seed = p.In<uint32_t>(0);
  CounterTable& t = p.Out<CounterTable>(1);
  if (t.built && t.seed == seed) return;
  t.seed = seed;
  t.built = true;
  ++t.builds;
}
constexpr PortDecl kPrePorts[] = {{"seed", PortDir::kIn, &kUInt32Type},
                                  {"table", PortDir::kOut, &kCounterTableType, PERMANENT}};
constexpr AccessDecl kPreAccess[] = {{0, "seed"}, {1, "table"}};
constexpr MicroNodeDecl kPreMicro[] = {{"", kPreAccess, &CounterPreKernel}};
constexpr CoreNodeDecl kCounterPre{kCounterPreNode, "tests/core/test_nodes", true, kPrePorts, kPreMicro};

void CounterUseKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  const CounterTable& t = p.In<CounterTable>(1);
  p.Out<double>(2) = t.builds * 1000.0 + t.seed + p.In<ShadingContext>(0).uvw.x;
}
constexpr PortDecl kUsePorts[] = {{"context", PortDir::kIn, &kShadingContextType},
                                  {"table", PortDir::kIn, &kCounterTableType},
                                  {"result", PortDir::kOut, &kFloat64Type}};
constexpr AccessDecl kUseAccess[] = {{0, "context"}, {1, "table"}, {2, "result"}};
constexpr MicroNodeDecl kUseMicro[] = {{"", kUseAccess, &CounterUseKernel}};
constexpr CoreNodeDecl kCounterUse{kCounterUseNode, "tests/core/test_nodes", false, kUsePorts, kUseMicro};

// --- PERMANENT private state kept across evaluations
void PermanentKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  int64_t& count = p.Out<int64_t>(2);
  ++count;
  p.Out<double>(1) = static_cast<double>(count) + p.In<ShadingContext>(0).uvw.x;
}
constexpr PortDecl kPermPorts[] = {{"context", PortDir::kIn, &kShadingContextType},
                                   {"result", PortDir::kOut, &kFloat64Type},
                                   {"count", PortDir::kOut, &kInt64Type, PERMANENT | MicroNode::FLAGS::DONT_WRAP}};
constexpr AccessDecl kPermAccess[] = {{0, "context"}, {1, "result"}, {2, "count"}};
constexpr MicroNodeDecl kPermMicro[] = {{"", kPermAccess, &PermanentKernel}};
constexpr CoreNodeDecl kPermanent{kPermanentNode, "tests/core/test_nodes", false, kPermPorts, kPermMicro};

// --- BATCH: one call for a range, each pointer moved by its own stride
void BatchKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  const BatchRange range = p.batch();
  auto* x = static_cast<const std::byte*>(p.slot(0).value);
  auto* y = static_cast<const std::byte*>(p.slot(1).value);
  auto* out = static_cast<std::byte*>(p.slot(2).value);
  for (int64_t i = range.first; i < range.end; ++i) {
    *reinterpret_cast<Vector2d*>(out) = {*reinterpret_cast<const double*>(x), *reinterpret_cast<const double*>(y)};
    x += p.slot(0).stride;
    y += p.slot(1).stride;
    out += p.slot(2).stride;
  }
}
constexpr PortDecl kBatchPorts[] = {
    {"x", PortDir::kIn, &kFloat64Type}, {"y", PortDir::kIn, &kFloat64Type}, {"result", PortDir::kOut, &kVector2dType}};
constexpr AccessDecl kBatchAccess[] = {{0, "x"}, {1, "y"}, {2, "result"}};
constexpr MicroNodeDecl kBatchMicro[] = {{"", kBatchAccess, &BatchKernel, MicroNode::BATCH}};
constexpr CoreNodeDecl kBatch{kBatchNode, "tests/core/test_nodes", true, kBatchPorts, kBatchMicro};

// --- array port: element i at firstIndex + i
void ArrayKernel(Result&, const MicroNodeImpl& impl, const PortAccess& p) {
  ++KernelCalls();
  const ArrayPortWords& w = ArrayWords(impl, 0);
  double sum = 0;
  for (int64_t i = 0; i < w.count; ++i) sum = sum * 10.0 + p.In<double>(static_cast<int>(w.firstIndex + i));
  p.Out<double>(0) = sum;
  p.Out<int64_t>(1) = w.count;
}
constexpr PortDecl kArrayPorts[] = {{"sum", PortDir::kOut, &kFloat64Type},
                                    {"values", PortDir::kIn, &kFloat64Type, 0, true},
                                    {"count", PortDir::kOut, &kInt64Type}};
constexpr AccessDecl kArrayAccess[] = {{0, "sum"}, {1, "count"}, {2, "values"}};
constexpr MicroNodeDecl kArrayMicro[] = {{"", kArrayAccess, &ArrayKernel}};
constexpr CoreNodeDecl kArray{kArrayNode, "tests/core/test_nodes", true, kArrayPorts, kArrayMicro};

// --- a uniform adder
void AddKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  p.Out<double>(2) = p.In<double>(0) + p.In<double>(1);
}
constexpr PortDecl kAddPorts[] = {
    {"a", PortDir::kIn, &kFloat64Type}, {"b", PortDir::kIn, &kFloat64Type}, {"result", PortDir::kOut, &kFloat64Type}};
constexpr AccessDecl kAddAccess[] = {{0, "a"}, {1, "b"}, {2, "result"}};
constexpr MicroNodeDecl kAddMicro[] = {{"", kAddAccess, &AddKernel}};
constexpr CoreNodeDecl kAdd{kAddNode, "tests/core/test_nodes", true, kAddPorts, kAddMicro};

// --- reports the flags of its ports: input a, outputs used and unused
void FlagsKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  p.Out<int64_t>(1) = (p.HasValue(0) ? 1 : 0) + (p.IsUsed(1) ? 10 : 0) + (p.IsUsed(2) ? 100 : 0);
  p.Out<int64_t>(2) = -1;
}
constexpr PortDecl kFlagsPorts[] = {
    {"a", PortDir::kIn, &kFloat64Type}, {"report", PortDir::kOut, &kInt64Type}, {"spare", PortDir::kOut, &kInt64Type}};
constexpr AccessDecl kFlagsAccess[] = {{0, "a"}, {1, "report"}, {2, "spare"}};
constexpr MicroNodeDecl kFlagsMicro[] = {{"", kFlagsAccess, &FlagsKernel}};
constexpr CoreNodeDecl kFlags{kFlagsNode, "tests/core/test_nodes", true, kFlagsPorts, kFlagsMicro};

// --- reports whether the engine marked its context as only moved; fails on
// a negative pixel without writing anything
void MovedKernel(Result& r, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  if (p.In<ShadingContext>(0).pixelx < 0) {
    r = Result::Fail(errors::kIllegalArgument, "test.moved: negative pixel");
    return;
  }
  p.Out<int64_t>(2) = p.ContextMoved(0) ? 1 : 0;
}
constexpr PortDecl kMovedPorts[] = {{"context", PortDir::kIn, &kShadingContextType},
                                    {"gate", PortDir::kIn, &kFloat64Type},
                                    {"moved", PortDir::kOut, &kInt64Type}};
constexpr AccessDecl kMovedAccess[] = {{0, "context"}, {1, "gate"}, {2, "moved"}};
constexpr MicroNodeDecl kMovedMicro[] = {{"", kMovedAccess, &MovedKernel}};
constexpr CoreNodeDecl kMoved{kMovedNode, "tests/core/test_nodes", false, kMovedPorts, kMovedMicro};

// --- a pre node that bakes its function from several threads at once, as
// the 2D filters do on the parallel loop
void BakeKernel(Result& r, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  const FunctionRef fn = p.In<FunctionRef>(0);
  constexpr int kThreads = 4, kPerThread = 64;
  std::vector<double> sums(kThreads, 0.0);
  std::vector<Result> errs(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      ShadingContext ctx;
      for (int i = 0; i < kPerThread; ++i) {
        ctx.uvw = {static_cast<double>(t * kPerThread + i), 0, 0};
        ColorA c;
        Result e = InvokeColor(fn, ctx, c);
        if (e.failed()) errs[t] = e;
        sums[t] += c.r;
      }
    });
  for (std::thread& t : threads) t.join();
  for (const Result& e : errs)
    if (e.failed()) r = e;
  double total = 0;
  for (double s : sums) total += s;
  p.Out<double>(1) = total;
}
constexpr PortDecl kBakePorts[] = {{"color", PortDir::kIn, &kColorFunctionType},
                                   {"sum", PortDir::kOut, &kFloat64Type, PERMANENT}};
constexpr AccessDecl kBakeAccess[] = {{0, "color"}, {1, "sum"}};
constexpr MicroNodeDecl kBakeMicro[] = {{"", kBakeAccess, &BakeKernel}};
constexpr CoreNodeDecl kBake{kBakeNode, "tests/core/test_nodes", false, kBakePorts, kBakeMicro};

// --- always fails
void FailKernel(Result& r, const MicroNodeImpl&, const PortAccess& p) {
  ++KernelCalls();
  p.Out<ColorA>(0) = {9, 9, 9, 9};
  r = Result::Fail(errors::kIllegalState, "test.fail fails");
}
constexpr PortDecl kFailPorts[] = {{"result", PortDir::kOut, &kColorAType}};
constexpr AccessDecl kFailAccess[] = {{0, "result"}};
constexpr MicroNodeDecl kFailMicro[] = {{"", kFailAccess, &FailKernel}};
constexpr CoreNodeDecl kFail{kFailNode, "tests/core/test_nodes", true, kFailPorts, kFailMicro};

// Registers the nodes in turn, up to the first that fails.
template <const CoreNodeDecl&... kNodes>
Result RegisterAll(CoreNodeRegistry& registry) {
  Result r;
  (void)(((r = RegisterDeclaredNode<kNodes>(registry)).ok()) && ...);
  return r;
}

}  // namespace

Result RegisterTestNodes(CoreNodeRegistry& registry) {
  return RegisterAll<kFail, kBake, kOrder, kCallColor, kUvwColor, kCounterPre, kCounterUse, kPermanent, kBatch, kArray,
                     kAdd, kFlags, kMoved>(registry);
}

}  // namespace tessaroc::testing
