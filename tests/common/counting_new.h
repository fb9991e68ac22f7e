// A replaced global operator new for one test program (include it in exactly one source file):
// it counts the allocations and bytes of a stretch of code, and can fail the k-th allocation
// with std::bad_alloc, so that a test sees what a call leaves behind when memory runs out.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

#include <gtest/gtest.h>

namespace counting_new {

inline std::atomic<long> allocations{0};
inline std::atomic<std::size_t> bytes{0};
inline std::atomic<long> fail_at{-1};  // the allocation (counted from 0) that fails; -1: none

// Counters reset on entry; the failing allocation is disarmed on exit.
struct Watch {
    explicit Watch(long fail = -1) {
        allocations = 0;
        bytes = 0;
        fail_at = fail;
    }
    ~Watch() { fail_at = -1; }
};

inline void* allocate(std::size_t n, std::size_t align) {
    const long k = allocations.fetch_add(1);
    bytes += n;
    if (k == fail_at.load()) throw std::bad_alloc();
    void* p = align > alignof(std::max_align_t) ? std::aligned_alloc(align, (n + align - 1) / align * align)
                                                : std::malloc(n == 0 ? 1 : n);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

inline void* allocate_or_null(std::size_t n) noexcept {
    try {
        return allocate(n, 0);
    } catch (...) {
        return nullptr;
    }
}

// Fails allocation k = 0, 1, ... of call(out) until the call succeeds, out starting as
// want.size() copies of `fill` each time: a refusal must be VOREL_STATUS_OUT_OF_MEMORY (-5) with
// out as it was, and the success must satisfy `same(out, want)`. Returns the refusals seen.
template <class Call, class Same>
long sweep_failures(const std::vector<float>& want, float fill, Call&& call, Same&& same) {
    for (long k = 0;; ++k) {
        std::vector<float> out(want.size(), fill);
        int status;
        {
            Watch watch(k);
            status = call(out);
        }
        if (status == 0) {
            same(out, want);
            return k;
        }
        EXPECT_EQ(status, -5) << "allocation " << k;
        EXPECT_EQ(out, std::vector<float>(want.size(), fill)) << "allocation " << k;
        if (::testing::Test::HasFailure()) return k;
    }
}

}  // namespace counting_new

void* operator new(std::size_t n) { return counting_new::allocate(n, 0); }
void* operator new[](std::size_t n) { return counting_new::allocate(n, 0); }
void* operator new(std::size_t n, std::align_val_t a) { return counting_new::allocate(n, static_cast<std::size_t>(a)); }
void* operator new[](std::size_t n, std::align_val_t a) {
    return counting_new::allocate(n, static_cast<std::size_t>(a));
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return counting_new::allocate_or_null(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return counting_new::allocate_or_null(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
