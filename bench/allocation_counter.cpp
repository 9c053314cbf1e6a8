// The replacements forward to glibc's own allocator under its internal names, so the
// process allocates exactly as it would without them.
#include "allocation_counter.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* pointer, std::size_t size);
void __libc_free(void* pointer);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace bench {
namespace {

// Static thread-local storage of the executable: reading it never allocates.
thread_local bool tCounting = false;
uint64_t gAllocations = 0;  // written only by threads inside a scope
bool gEveryThread = false;
uint64_t gEverywhere = 0;

inline void countAllocation() {
    if (tCounting) __atomic_fetch_add(&gAllocations, 1, __ATOMIC_RELAXED);
    if (__atomic_load_n(&gEveryThread, __ATOMIC_RELAXED))
        __atomic_fetch_add(&gEverywhere, 1, __ATOMIC_RELAXED);
}

bool validAlignment(std::size_t alignment) {
    return alignment >= sizeof(void*) && (alignment & (alignment - 1)) == 0;
}

// operator new's contract: retry through the new-handler, throw when there is none.
void* allocateOrThrow(std::size_t size, std::size_t alignment) {
    countAllocation();
    if (size == 0) size = 1;
    for (;;) {
        void* p = alignment ? __libc_memalign(alignment, size) : __libc_malloc(size);
        if (p) return p;
        std::new_handler handler = std::get_new_handler();
        if (!handler) throw std::bad_alloc();
        handler();
    }
}

void* allocateOrNull(std::size_t size, std::size_t alignment) noexcept {
    try {
        return allocateOrThrow(size, alignment);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

AllocationScope::AllocationScope() { tCounting = true; }
AllocationScope::~AllocationScope() { tCounting = false; }

uint64_t allocationsCounted() { return __atomic_load_n(&gAllocations, __ATOMIC_RELAXED); }

void countEveryThread(bool on) { __atomic_store_n(&gEveryThread, on, __ATOMIC_RELAXED); }

uint64_t allocationsEverywhere() { return __atomic_load_n(&gEverywhere, __ATOMIC_RELAXED); }

}  // namespace bench

using bench::allocateOrNull;
using bench::allocateOrThrow;

// ---- The C allocator --------------------------------------------------------------------

extern "C" {

void* malloc(std::size_t size) noexcept {
    bench::countAllocation();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    bench::countAllocation();
    return __libc_calloc(count, size);
}

void* realloc(void* pointer, std::size_t size) noexcept {
    bench::countAllocation();
    return __libc_realloc(pointer, size);
}

void free(void* pointer) noexcept { __libc_free(pointer); }

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    bench::countAllocation();
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    bench::countAllocation();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** pointer, std::size_t alignment, std::size_t size) noexcept {
    if (!bench::validAlignment(alignment)) return EINVAL;
    bench::countAllocation();
    void* p = __libc_memalign(alignment, size);
    if (!p) return ENOMEM;
    *pointer = p;
    return 0;
}

}  // extern "C"

// ---- operator new and delete, every form ----------------------------------------------------

void* operator new(std::size_t size) { return allocateOrThrow(size, 0); }
void* operator new[](std::size_t size) { return allocateOrThrow(size, 0); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, 0);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, 0);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* p) noexcept { __libc_free(p); }
void operator delete[](void* p) noexcept { __libc_free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { __libc_free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { __libc_free(p); }
void operator delete(void* p, std::size_t) noexcept { __libc_free(p); }
void operator delete[](void* p, std::size_t) noexcept { __libc_free(p); }
void operator delete(void* p, std::align_val_t) noexcept { __libc_free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { __libc_free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { __libc_free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept {
    __libc_free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { __libc_free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { __libc_free(p); }
