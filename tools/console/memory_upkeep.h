// The console runs for days. Every camera's pictures (some 200 KiB each) and
// documents pass through a hundred threads, and glibc keeps the pages they
// freed in one arena per thread group: the heap in use stays flat while the
// resident memory creeps up. Fewer arenas, large blocks mapped and unmapped
// on their own, and free pages handed back once a minute keep it flat.
#pragma once

#include <csignal>

namespace osconsole {

// Before any thread starts.
void tune_allocator();

// Waits for one of `signals`, handing free heap pages back to the system
// every minute meanwhile (where the system allows a timed wait).
void wait_releasing_memory(const sigset_t& signals);

}  // namespace osconsole
