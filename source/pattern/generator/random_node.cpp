#include "pattern/generator/random_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "core/random.h"
#include "pattern/generator/hash_node.h"
#include "pattern/math/numeric.h"

namespace tessaroc::pattern {

uint32_t RandomKey(const ShadingContext& c, int64_t seed, int64_t salt) {
  // 64-bit integer sums wrap around: do them unsigned.
  const uint64_t A = (static_cast<uint64_t>(c.pixelx) + static_cast<uint64_t>(c.pixely)) * 43778u;
  const int64_t B = TruncateToInt64((c.subpixelx + c.subpixely) * 23676.0);
  const int64_t C = TruncateToInt64((c.rayorigin.x + c.rayorigin.y + c.rayorigin.z) * 12644.0);
  const int64_t D = TruncateToInt64((c.raydirection.x + c.raydirection.y + c.raydirection.z) * 94554.0);
  const int64_t F = FrameNumber(c.time, c.framerate);
  const uint64_t R = A + static_cast<uint64_t>(B) + 123u + static_cast<uint64_t>(C) + static_cast<uint64_t>(D) +
                     static_cast<uint64_t>(F) * 74643u;
  const uint32_t h = HashInt32(static_cast<uint32_t>(R));
  return h + HashKey(seed, salt);
}

namespace {

enum Access { kContext, kSeed, kSalt, kMinimum, kMaximum, kFirstResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const uint32_t key =
      RandomKey(ports.In<ShadingContext>(kContext), ports.In<int64_t>(kSeed), ports.In<int64_t>(kSalt));
  WriteDraws(DrawFromKey(key, ports.In<double>(kMinimum), ports.In<double>(kMaximum)), ports, kFirstResult);
}

constexpr PortDecl kInputs[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"seed", PortDir::kIn, &kInt64Type},
    {"salt", PortDir::kIn, &kInt64Type},
    {"minimum", PortDir::kIn, &kFloat64Type},
    {"maximum", PortDir::kIn, &kFloat64Type},
};
constexpr auto kPorts = Join(kInputs, kRandomResultPorts);
constexpr AccessDecl kInputAccess[] = {
    {kContext, "context"}, {kSeed, "seed"}, {kSalt, "salt"}, {kMinimum, "minimum"}, {kMaximum, "maximum"}};
constexpr auto kAccess = Join(kInputAccess, RandomResultAccess<kFirstResult>());
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kRandomId, "source/pattern/generator/random_node", false, kPorts, kMicro};

}  // namespace

Result RegisterRandomNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
