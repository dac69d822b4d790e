// The node contract: ports, micro-node implementation records, the kernel's
// view of its ports (PortAccess), and the micro-node group a finaliser fills.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/result.h"

namespace tessaroc {

// Per-slot flags a kernel may test.
namespace PORT_FLAGS {
inline constexpr uint8_t NONE = 0;
inline constexpr uint8_t INPUT_WITHOUT_VALUE = 1;
inline constexpr uint8_t OUTPUT_UNUSED = 2;
// On a context input, set by the engine: the context differs from the one the
// node read when it last ran only in the moved fields (CopyMovedFields).
inline constexpr uint8_t CONTEXT_MOVED = 4;
}  // namespace PORT_FLAGS

enum ACCESS_INDEX : int { UNUSED = -1, INDEX_0 = 0, INDEX_1 = 1, INDEX_2 = 2, INDEX_3 = 3 };

namespace MicroNode {

enum PORTSACCESS_FLAGS : uint32_t {
  PORTSACCESS_NONE = 0,
  ITERATION = 1,
  CONTAINER_MASK = 2,
  CONST_MASK = 4,
  BATCH_FLAG = 8,  // named BATCH in the framework; renamed to stay apart from TYPE::BATCH
  BATCH_ACCESS = 16,
  CONTAINER = 2,
  CONST_CONTAINER = 6,
  DIRECT_ACCESS_TEST = 18,
};

namespace FLAGS {
inline constexpr uint32_t NONE = 0;
inline constexpr uint32_t STATE = 0x1;
inline constexpr uint32_t STATE_MODIFIER = 0x2;
inline constexpr uint32_t LOCAL = 0x4;
inline constexpr uint32_t PERMANENT = 0x8;
inline constexpr uint32_t CACHED = 0x10;
inline constexpr uint32_t DONT_WRAP = 0x20;
inline constexpr uint32_t CURRENT_ITV = 0x40;
inline constexpr uint32_t NEXT_ITV = 0x80;
inline constexpr uint32_t CONTAINER_MEMBER = 0x100;
inline constexpr uint32_t COMMUTATIVE = 0x200;
inline constexpr uint32_t STATE_MAPPER = 0x400;
inline constexpr uint32_t PARAMETER = 0x1000;
inline constexpr uint32_t INPUT_WITHOUT_VALUE = 0x2000;
inline constexpr uint32_t OUTER_DOMAIN = 0x4000;
inline constexpr uint32_t NO_FACTORS = 0x8000;
inline constexpr uint32_t SUSPEND = 0x10000;
inline constexpr uint32_t KEEP_LETTER_CASE = 0x20000;
inline constexpr uint32_t INDEPENDENT = 0x40000;
inline constexpr uint32_t INCLUDE_IN_PREDECESSORS = 0x80000;
inline constexpr uint32_t FACTOR_REFERENCE = 0x100000;
inline constexpr uint32_t OPTIONAL_INPUT = 0x200000;
inline constexpr uint32_t CURRENT_ITV_GROUP = 0x400000;
inline constexpr uint32_t NEXT_ITV_GROUP = 0x800000;
inline constexpr uint32_t HIDDEN = 0x1000000;
inline constexpr uint32_t ITV_MASK = 0xc0;
inline constexpr uint32_t ITV_GROUP_MASK = 0xc00000;
inline constexpr uint32_t PORT_MODIFIERS = 0x12200f8;
inline constexpr uint32_t MODIFIERS = 0x1f746fa;
inline constexpr uint32_t ALL = 0xfffffff;
}  // namespace FLAGS

// The rows of the framework's type enumeration that this system declares.
enum TYPE : uint32_t {
  INVALID = 0,
  BASIC = 1,
  BATCH = 2,
  VIRTUAL_INPUT_PORT = 0x61,
  VARIABLE = 0xb0,
};

}  // namespace MicroNode

// The rows of the wire-type enumeration used for array ports.
enum WIRETYPE : uint32_t {
  WIRETYPE_NONE = 0,
  WIRETYPE_VALUE = 0x18,
  WIRETYPE_DEFAULT_INPUT = 0x7e007fff,
  WIRETYPE_DEFAULT_OUTPUT = 0x7e207fff,
};

// One port of a group.
struct Port {
  Id id;
  int64_t key = 0;
  MicroNode::TYPE type = MicroNode::VARIABLE;
  uint32_t flags = 0;
  const DataType* dataType = nullptr;
  int64_t index = -1;

  bool IsInput() const { return type == MicroNode::VIRTUAL_INPUT_PORT; }
};

// What a kernel finds at base + offsets[i].
struct PortSlot {
  void* value;
  int32_t stride;  // BATCH kernels only: bytes between consecutive evaluations
  uint8_t reserved[2];
  uint8_t portFlags;
  uint8_t reserved2;
};
static_assert(sizeof(PortSlot) == 16 && offsetof(PortSlot, portFlags) == 14);

// The head of every value block; a BATCH kernel finds its range right behind it.
struct ValueBlockHead {
  uint64_t size;
  uint64_t portCount;
};
struct BatchRange {
  int64_t first;
  int64_t end;
};

// A kernel's whole view of its ports: two words.
struct PortAccess {
  std::byte* base;
  const int32_t* offsets;

  PortSlot& slot(int i) const { return *reinterpret_cast<PortSlot*>(base + offsets[i]); }
  template <class T>
  const T& In(int i) const {
    return *static_cast<const T*>(slot(i).value);
  }
  template <class T>
  T& Out(int i) const {
    return *static_cast<T*>(slot(i).value);
  }
  bool HasValue(int i) const { return (slot(i).portFlags & PORT_FLAGS::INPUT_WITHOUT_VALUE) == 0; }
  bool IsUsed(int i) const { return (slot(i).portFlags & PORT_FLAGS::OUTPUT_UNUSED) == 0; }
  bool ContextMoved(int i) const { return (slot(i).portFlags & PORT_FLAGS::CONTEXT_MOVED) != 0; }
  BatchRange& batch() const { return *reinterpret_cast<BatchRange*>(base + sizeof(ValueBlockHead)); }
};
static_assert(sizeof(PortAccess) == 2 * sizeof(void*));

class PortAccessBuilder;
struct MicroNodeImpl;

using DisposeFn = void (*)(MicroNodeImpl* impl);
using DescribeFn = Result (*)(const MicroNodeImpl& impl, PortAccessBuilder& builder);
using KernelFn = void (*)(Result& result, const MicroNodeImpl& impl, const PortAccess& ports);

// The implementation record of a micro node. Field order is part of the contract.
struct MicroNodeImpl {
  uintptr_t reserved0 = 0;
  uintptr_t kind = MicroNode::BASIC;
  DisposeFn dispose = nullptr;
  DescribeFn describe = nullptr;
  uintptr_t portCount = 0;
  KernelFn kernel = nullptr;
  uintptr_t user0 = 0;
  uintptr_t user1 = 0;
};

// The two words an array port adds: the access index of its first element and
// the number of elements.
struct ArrayPortWords {
  int64_t firstIndex = -1;
  int64_t count = 0;
};

// A record for nodes with N array ports, the words in the order of the arrays.
template <int N>
struct ArrayMicroNodeImpl {
  MicroNodeImpl base;
  ArrayPortWords arrays[N];
};

// Collects one line per access index from a describe function.
class PortAccessBuilder {
 public:
  Result PrivateDescribePortAccess(int64_t accessIndex, int64_t key, int isOutput);

  struct Line {
    int64_t accessIndex;
    int64_t key;
    int isOutput;
  };
  const std::vector<Line>& lines() const { return lines_; }

 private:
  std::vector<Line> lines_;
};

class CoreNodeDefinition;

// A micro node as the group holds it: its name, record and access table.
struct MicroNodeEntry {
  Id name;
  MicroNodeImpl* impl = nullptr;
  std::vector<int> portOfAccess;  // port index per access index, filled at finalize
};

// A group of ports and micro nodes; immutable once finalised.
class MicroNodeGroup {
 public:
  ~MicroNodeGroup();
  MicroNodeGroup(const MicroNodeGroup&) = delete;
  MicroNodeGroup& operator=(const MicroNodeGroup&) = delete;

  // A new empty group, or null when out of memory.
  static MicroNodeGroup* Alloc(const SourceLocation& where);

  Result SetId(const Id& id);
  Result PrivateCreatePort(int64_t key, const Id& id, MicroNode::TYPE type, uint32_t flags, const DataType* dataType,
                           int64_t index);
  // The port of the given id as a micro node to add flags to; null when missing.
  Port* PrivateGetMicroNode(const Id& portId, const DataType* genericType, MicroNode::TYPE type, int reserved);
  static Result AddFlags(Port* port, uint32_t flags);
  // Appends a micro node; the group owns the record from here on, also on failure.
  Result AddMicroNode(const Id& name, MicroNodeImpl* impl);
  Result InitFactory(const CoreNodeDefinition* factory);
  // Runs every describe function and builds the access tables; the group is
  // immutable afterwards.
  Result PrivateFinalize();

  const Id& id() const { return id_; }
  bool finalized() const { return finalized_; }
  const CoreNodeDefinition* factory() const { return factory_; }
  const std::vector<Port>& ports() const { return ports_; }
  const std::vector<MicroNodeEntry>& microNodes() const { return microNodes_; }
  // The index of the port with this id and direction, or -1.
  int FindPortIndex(const Id& id, bool input) const;
  // The index of the port with this id, inputs first, or -1.
  int FindPortIndex(const Id& id) const;

 private:
  MicroNodeGroup() = default;
  Id id_;
  std::vector<Port> ports_;
  // The ports' keys, for the duplicate check: an array of 100,000 elements
  // makes its ports in linear time.
  std::unordered_set<int64_t> keys_;
  // Port indices by their id's word, made at finalize: the compiler looks a
  // port up for every element of an array port.
  std::unordered_multimap<uint64_t, int> portsByWord_;
  std::vector<MicroNodeEntry> microNodes_;
  const CoreNodeDefinition* factory_ = nullptr;
  bool finalized_ = false;
};

struct GroupDeleter {
  void operator()(MicroNodeGroup* g) const { delete g; }
};
using GroupPtr = std::unique_ptr<MicroNodeGroup, GroupDeleter>;

}  // namespace tessaroc
