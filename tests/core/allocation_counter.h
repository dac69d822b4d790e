// Counts the allocations of the calling thread, through this test binary's
// global allocation functions (link the tessaroc_allocation_counter object
// library). The library's own worker threads may allocate while a sample
// runs; the sampling thread must not.
#pragma once

long AllocationCount();
