#include "pattern/string/substr_node.h"

#include <cstdint>
#include <limits>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kString, kStart, kCount, kResult };

int64_t Clamp(int64_t v, int64_t len) { return v < 0 ? 0 : (v > len ? len : v); }

int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t sum;
  if (__builtin_add_overflow(a, b, &sum))
    return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
  return sum;
}

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const String& s = ports.In<String>(kString);
  const int64_t len = s.GetLength();
  // The start is clamped before the count is added, so a negative start does
  // not shorten the part.
  const int64_t from = Clamp(ports.In<int64_t>(kStart), len);
  const int64_t to = Clamp(SaturatingAdd(from, ports.In<int64_t>(kCount)), len);
  const String part = s.GetPart(from, to);
  String& out = ports.Out<String>(kResult);
  if (!part.IsNull()) {
    if (!out.SameHandle(part)) out = part;
  } else if (to - from > 0) {
    result = Result::Fail(errors::kOutOfMemory, "substring");
  } else {
    out = String();
  }
}

constexpr PortDecl kPorts[] = {
    {"string", PortDir::kIn, &kStringType},
    {"start", PortDir::kIn, &kInt64Type},
    {"count", PortDir::kIn, &kInt64Type},
    {"result", PortDir::kOut, &kStringType},
};
constexpr AccessDecl kAccess[] = {{kString, "string"}, {kStart, "start"}, {kCount, "count"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kSubstrId, "source/pattern/string/substr_node", true, kPorts, kMicro};

}  // namespace

Result RegisterSubstrNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
