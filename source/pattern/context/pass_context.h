// The start of every node that passes a context on: its output begins as its
// input.
#pragma once

#include "tessaroc/core/micronode.h"
#include "tessaroc/core/shading_context.h"

namespace tessaroc::pattern {

// Copies the input context at access `in` to `out`. When the engine says the
// input only moved since this node last ran, `out` already holds the rest
// from that run, so the moved fields are all there is to copy: a fifth of the
// record, on nearly every sample of a plane render. A node using this must
// write the same fields of `out` on every run.
inline void PassContext(const PortAccess& ports, int in, ShadingContext& out) {
  const ShadingContext& from = ports.In<ShadingContext>(in);
  if (ports.ContextMoved(in)) CopyMovedFields(from, out);
  else out = from;
}

}  // namespace tessaroc::pattern
