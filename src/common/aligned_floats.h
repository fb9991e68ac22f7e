// Scratch of floats on a 64-byte boundary (one cache line, one 512-bit vector), left
// uninitialised: for buffers whose every float is written before it is read.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace vorel::audio {

struct AlignedDelete {
    void operator()(float* p) const { ::operator delete[](p, std::align_val_t{64}); }
};

using AlignedFloats = std::unique_ptr<float[], AlignedDelete>;

inline AlignedFloats make_aligned_floats(std::size_t count) {
    return AlignedFloats(static_cast<float*>(::operator new[](count * sizeof(float), std::align_val_t{64})));
}

}  // namespace vorel::audio
