// Declaring a core node as data: its ports in creation order, and per micro
// node its access table and kernel. One generic finaliser and describe
// function turn the declaration into a group, step by step as the contract
// asks, so a node's source holds only its tables and its kernel.
#pragma once

#include <array>
#include <span>
#include <string_view>
#include <string>
#include <utility>
#include <vector>

#include "tessaroc/core/micronode.h"
#include "tessaroc/core/registry.h"

namespace tessaroc {

enum class PortDir : uint8_t { kIn, kOut };

struct PortDecl {
  const char* id;
  PortDir dir;
  const DataType* type;
  uint32_t flags = 0;  // added with AddFlags after creation (private state)
  bool array = false;  // a variable number of elements: "<id>#0", "<id>#1", ...
};

// One line of a micro node's access table: the access index the kernel uses
// and the port id. The index is stated so that a table out of order fails to
// compile instead of reading the wrong port.
struct AccessDecl {
  int index;
  const char* port;
};

struct MicroNodeDecl {
  const char* name;
  std::span<const AccessDecl> access;
  KernelFn kernel;
  MicroNode::TYPE kind = MicroNode::BASIC;
};

struct CoreNodeDecl {
  const char* id;
  const char* source;
  bool pure;
  std::span<const PortDecl> ports;
  std::span<const MicroNodeDecl> microNodes;
};

constexpr bool AccessInOrder(std::span<const AccessDecl> access) {
  for (size_t i = 0; i < access.size(); ++i)
    if (access[i].index != static_cast<int>(i)) return false;
  return true;
}

// The array words that follow the fixed fields of a record (see ArrayMicroNodeImpl).
inline const ArrayPortWords& ArrayWords(const MicroNodeImpl& impl, int array) {
  return reinterpret_cast<const ArrayPortWords*>(reinterpret_cast<const std::byte*>(&impl) +
                                                 sizeof(MicroNodeImpl))[array];
}
static_assert(offsetof(ArrayMicroNodeImpl<1>, arrays) == sizeof(MicroNodeImpl));

namespace detail {

const PortDecl* FindDecl(const CoreNodeDecl& node, std::string_view id);
int ArrayCountOf(const MicroNodeDecl& micro, const CoreNodeDecl& node);
Result DescribeDeclared(const CoreNodeDecl& node, const MicroNodeDecl& micro, const MicroNodeImpl& impl,
                        PortAccessBuilder& builder);
Result FinaliseDeclared(const CoreNodeDecl& node, const DescribeFn* describes, const NodeArguments* args,
                        GroupPtr& out);

template <const CoreNodeDecl& N, size_t M>
Result Describe(const MicroNodeImpl& impl, PortAccessBuilder& builder) {
  return DescribeDeclared(N, N.microNodes[M], impl, builder);
}

template <const CoreNodeDecl& N, size_t... M>
constexpr auto DescribeTable(std::index_sequence<M...>) {
  return std::array<DescribeFn, sizeof...(M)>{&Describe<N, M>...};
}

}  // namespace detail

// The finaliser of a declared node.
template <const CoreNodeDecl& N, size_t MicroCount>
Result DeclaredFinaliser(const NodeArguments* args, GroupPtr& out) {
  static constexpr auto kDescribes = detail::DescribeTable<N>(std::make_index_sequence<MicroCount>());
  return detail::FinaliseDeclared(N, kDescribes.data(), args, out);
}

// Registers a declared node under its id in a registry.
template <const CoreNodeDecl& N, size_t MicroCount = N.microNodes.size()>
Result RegisterDeclaredNode(CoreNodeRegistry& registry) {
  std::vector<std::string> arrays;
  for (const PortDecl& p : N.ports)
    if (p.array) arrays.emplace_back(p.id);
  return registry.Register(Id(N.id), N.source, &DeclaredFinaliser<N, MicroCount>, N.pure, std::move(arrays));
}

}  // namespace tessaroc
