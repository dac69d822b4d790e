// Conversions the compiler puts between ports of different but compatible
// types: a Float into a colour, a Color into a ColorA and back, integers into
// Floats, Ids into interned ids and back. They are ordinary kernels in a
// registry of the compiler's own, so they run like any node; literals are
// converted once, at compile time.
#pragma once

#include "tessaroc/core/data.h"
#include "tessaroc/core/registry.h"

namespace tessaroc::graph {

// The registry holding the conversion nodes.
CoreNodeRegistry& ConversionNodes();

// The conversion node from one type to another, or an error naming both.
Result FindConversion(const DataType& from, const DataType& to, const MicroNodeGroup*& out);

// Converts a literal. Integers out of the target's range are an error.
Result ConvertLiteral(const DataType& from, const void* value, const DataType& to, Data& out);

}  // namespace tessaroc::graph
