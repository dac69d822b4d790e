#include "core/node_decl.h"

#include <new>
#include <string>

namespace tessaroc::detail {

namespace {

std::string ElementId(std::string_view base, int64_t i) { return std::string(base) + "#" + std::to_string(i); }

// Keeps the first error of a run of port creations; later ones are skipped.
class PortCreator {
 public:
  explicit PortCreator(MicroNodeGroup& g) : group_(g) {}
  void Create(const Id& id, PortDir dir, const DataType* type) {
    if (result_.failed()) return;
    const bool in = dir == PortDir::kIn;
    result_ = group_.PrivateCreatePort(PortKey(id.view(), in), id,
                                       in ? MicroNode::VIRTUAL_INPUT_PORT : MicroNode::VARIABLE, 0, type, -1);
  }
  const Result& result() const { return result_; }

 private:
  MicroNodeGroup& group_;
  Result result_;
};

void DisposeRecord(MicroNodeImpl* impl) {
  impl->~MicroNodeImpl();
  ::operator delete(static_cast<void*>(impl));
}

}  // namespace

const PortDecl* FindDecl(const CoreNodeDecl& node, std::string_view id) {
  for (const PortDecl& p : node.ports)
    if (id == p.id) return &p;
  return nullptr;
}

int ArrayCountOf(const MicroNodeDecl& micro, const CoreNodeDecl& node) {
  int n = 0;
  for (const AccessDecl& a : micro.access) {
    const PortDecl* p = FindDecl(node, a.port);
    if (p && p->array) ++n;
  }
  return n;
}

// The ordinal of an array port among the node's array ports, in declaration order.
static int NodeArrayOrdinal(const CoreNodeDecl& node, std::string_view id) {
  int n = 0;
  for (const PortDecl& p : node.ports) {
    if (!p.array) continue;
    if (id == p.id) return n;
    ++n;
  }
  return -1;
}

Result DescribeDeclared(const CoreNodeDecl& node, const MicroNodeDecl& micro, const MicroNodeImpl& impl,
                        PortAccessBuilder& builder) {
  int64_t index = 0;
  // Fixed ports first, in the order of the access table.
  for (const AccessDecl& a : micro.access) {
    const PortDecl* p = FindDecl(node, a.port);
    if (p == nullptr) return Result::Fail(errors::kIllegalState, std::string("undeclared port ") + a.port);
    if (p->array) continue;
    TESSAROC_RETURN_IF_FAILED(builder.PrivateDescribePortAccess(index++, PortKey(p->id, p->dir == PortDir::kIn),
                                                                p->dir == PortDir::kOut ? 1 : 0));
  }
  // Then the elements of each array port, from its first index on.
  int ordinal = 0;
  for (const AccessDecl& a : micro.access) {
    const PortDecl* p = FindDecl(node, a.port);
    if (!p->array) continue;
    const ArrayPortWords& w = ArrayWords(impl, ordinal++);
    for (int64_t i = 0; i < w.count; ++i) {
      std::string id = ElementId(p->id, i);
      TESSAROC_RETURN_IF_FAILED(builder.PrivateDescribePortAccess(index++, PortKey(id, p->dir == PortDir::kIn),
                                                                  p->dir == PortDir::kOut ? 1 : 0));
    }
  }
  return Result::Ok();
}

Result FinaliseDeclared(const CoreNodeDecl& node, const DescribeFn* describes, const NodeArguments* args,
                        GroupPtr& out) {
  out.reset();
  // 1. The node id from the arguments, or an empty id.
  const Id nodeId = args ? args->nodeId : Id();
  auto countOf = [&](const PortDecl& p) -> int64_t {
    const int ord = NodeArrayOrdinal(node, p.id);
    if (args == nullptr || ord < 0 || ord >= static_cast<int>(args->arrayCounts.size())) return 0;
    return args->arrayCounts[ord] < 0 ? 0 : args->arrayCounts[ord];
  };

  // 2. The port function.
  GroupPtr group(MicroNodeGroup::Alloc(SourceLocation::From(std::source_location::current())));
  if (!group) return Result::Fail(errors::kOutOfMemory, "cannot allocate group for " + nodeId.str());
  if (!nodeId.empty()) TESSAROC_RETURN_IF_FAILED(group->SetId(nodeId));

  PortCreator creator(*group);
  for (const PortDecl& p : node.ports) {
    if (!p.array) {
      creator.Create(Id(p.id), p.dir, p.type);
      continue;
    }
    for (int64_t i = 0, n = countOf(p); i < n; ++i) creator.Create(Id::Owned(ElementId(p.id, i)), p.dir, p.type);
  }
  TESSAROC_RETURN_IF_FAILED(creator.result());

  for (const PortDecl& p : node.ports) {
    if (p.flags == 0 || p.array) continue;
    Port* port = group->PrivateGetMicroNode(Id(p.id), p.type, MicroNode::VARIABLE, 0);
    if (port) TESSAROC_RETURN_IF_FAILED(MicroNodeGroup::AddFlags(port, p.flags));
  }

  for (size_t m = 0; m < node.microNodes.size(); ++m) {
    const MicroNodeDecl& micro = node.microNodes[m];
    const int arrays = ArrayCountOf(micro, node);
    void* storage = ::operator new(sizeof(MicroNodeImpl) + arrays * sizeof(ArrayPortWords), std::nothrow);
    if (storage == nullptr) return Result::Fail(errors::kOutOfMemory, "cannot allocate micro node record");
    auto* impl = new (storage) MicroNodeImpl();
    auto* words = reinterpret_cast<std::byte*>(storage) + sizeof(MicroNodeImpl);
    impl->kind = micro.kind;
    impl->dispose = &DisposeRecord;
    impl->describe = describes[m];
    impl->kernel = micro.kernel;
    int64_t fixed = 0;
    for (const AccessDecl& a : micro.access) {
      const PortDecl* p = FindDecl(node, a.port);
      if (p == nullptr) {
        DisposeRecord(impl);
        return Result::Fail(errors::kIllegalState, std::string("undeclared port ") + a.port);
      }
      if (!p->array) ++fixed;
    }
    int64_t next = fixed;
    int ordinal = 0;
    for (const AccessDecl& a : micro.access) {
      const PortDecl* p = FindDecl(node, a.port);
      if (!p->array) continue;
      auto* w = new (words + ordinal * sizeof(ArrayPortWords)) ArrayPortWords();
      w->count = countOf(*p);
      w->firstIndex = next;
      next += w->count;
      ++ordinal;
    }
    impl->portCount = static_cast<uintptr_t>(next);
    TESSAROC_RETURN_IF_FAILED(group->AddMicroNode(Id(micro.name), impl));
  }

  // 3. Tie the group to its factory and finish it.
  TESSAROC_RETURN_IF_FAILED(group->InitFactory(args ? args->factory : nullptr));
  TESSAROC_RETURN_IF_FAILED(group->PrivateFinalize());
  out = std::move(group);
  return Result::Ok();
}

}  // namespace tessaroc::detail
