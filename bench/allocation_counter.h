// Counts the heap allocations the calling thread makes while a scope is open. The
// benchmark executable replaces malloc and its kin and every global operator new, so
// allocations made inside the shared libraries are counted too.
#pragma once

#include <cstdint>

namespace bench {

// Opens the count on this thread for its lifetime; scopes do not nest.
class AllocationScope {
public:
    AllocationScope();
    ~AllocationScope();
    AllocationScope(const AllocationScope&) = delete;
    AllocationScope& operator=(const AllocationScope&) = delete;
};

// Allocations counted so far, on any thread, inside a scope.
uint64_t allocationsCounted();

// Counts the allocations of every thread of the process too, while on: for work done
// on threads the benchmark does not own, such as a library's worker.
void countEveryThread(bool on);
uint64_t allocationsEverywhere();

}  // namespace bench
