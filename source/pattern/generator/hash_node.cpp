#include "pattern/generator/hash_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "core/random.h"
#include "pattern/math/numeric.h"

namespace tessaroc::pattern {

RandomDraws DrawFromKey(uint32_t key, double minimum, double maximum) {
  LcgRandom rng;
  rng.Init(100);
  rng.Init(HashInt32(key));
  const double span = maximum - minimum;
  RandomDraws r;
  for (double& d : r.d) d = rng.Next01() * span + minimum;
  return r;
}

uint32_t HashKey(int64_t seed, int64_t salt) { return static_cast<uint32_t>(seed) + static_cast<uint32_t>(salt); }

void WriteDraws(const RandomDraws& r, const PortAccess& ports, int first) {
  const double* d = r.d;
  ports.Out<ColorA>(first + 0) = ColorA{d[0], d[1], d[2], d[3]};
  ports.Out<Color>(first + 1) = Color{d[0], d[1], d[2]};
  ports.Out<double>(first + 2) = d[0];
  ports.Out<int64_t>(first + 3) = TruncateToInt64(d[0]);
  ports.Out<Vector>(first + 4) = Vector{d[0], d[1], d[2]};
  ports.Out<Vector2d>(first + 5) = Vector2d{d[0], d[1]};
  // Against a fixed one half, not the middle of the range.
  *static_cast<uint8_t*>(ports.slot(first + 6).value) = d[0] >= 0.5 ? 1 : 0;
}

namespace {

enum Access { kSeed, kSalt, kMinimum, kMaximum, kFirstResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const uint32_t key = HashKey(ports.In<int64_t>(kSeed), ports.In<int64_t>(kSalt));
  WriteDraws(DrawFromKey(key, ports.In<double>(kMinimum), ports.In<double>(kMaximum)), ports, kFirstResult);
}

constexpr PortDecl kInputs[] = {
    {"seed", PortDir::kIn, &kInt64Type},
    {"salt", PortDir::kIn, &kInt64Type},
    {"minimum", PortDir::kIn, &kFloat64Type},
    {"maximum", PortDir::kIn, &kFloat64Type},
};
constexpr auto kPorts = Join(kInputs, kRandomResultPorts);
constexpr AccessDecl kInputAccess[] = {{kSeed, "seed"}, {kSalt, "salt"}, {kMinimum, "minimum"}, {kMaximum, "maximum"}};
constexpr auto kAccess = Join(kInputAccess, RandomResultAccess<kFirstResult>());
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kHashId, "source/pattern/generator/hash_node", true, kPorts, kMicro};

}  // namespace

Result RegisterHashNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
