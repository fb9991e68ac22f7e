// Scratch of one call, declared once: the same declaration gives the byte total refused up front
// and lays the parts out, so the two cannot drift. allocate() makes all before any output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "common/aligned_floats.h"

namespace vorel::audio {

// A part of the one block: `count` elements of T at byte `offset`.
template <class T>
struct Part {
    std::size_t offset = 0;
    std::size_t count = 0;
};

// A part that an interface takes as a std::vector<float>, counted and made as the others.
struct VectorPart {
    std::size_t index = 0;
};

class WorkingSet {
public:
    static constexpr std::size_t kAlign = 64;  // as AlignedFloats: a cache line, one 512-bit vector

    template <class T>
    Part<T> part(std::size_t count) {
        static_assert(std::is_trivially_copyable_v<T> && alignof(T) <= kAlign);
        const Part<T> p{block_bytes_, count};
        block_bytes_ = add(block_bytes_, round_up(times(count, sizeof(T))));
        return p;
    }
    VectorPart vector(std::size_t count);
    // Bytes the call allocates elsewhere (tables, plans): counted in the refusal only.
    void outside(std::size_t bytes) { outside_bytes_ = add(outside_bytes_, bytes); }

    // Everything declared, saturating at SIZE_MAX.
    std::size_t bytes() const;
    // std::bad_alloc when bytes() exceed what the machine holds.
    void require_fits() const;
    // require_fits(), then every part made and zero-filled.
    void allocate();

    template <class T>
    T* operator[](Part<T> p) const {
        return p.count == 0 ? nullptr : reinterpret_cast<T*>(reinterpret_cast<std::byte*>(block_.get()) + p.offset);
    }
    std::vector<float>& operator[](VectorPart p) { return vectors_[p.index]; }

private:
    static std::size_t add(std::size_t a, std::size_t b);
    static std::size_t times(std::size_t a, std::size_t b);
    static std::size_t round_up(std::size_t bytes) { return add(bytes, kAlign - 1) / kAlign * kAlign; }

    std::size_t block_bytes_ = 0, vector_bytes_ = 0, outside_bytes_ = 0;
    std::vector<std::size_t> vector_counts_;
    AlignedFloats block_;
    std::vector<std::vector<float>> vectors_;
};

}  // namespace vorel::audio
