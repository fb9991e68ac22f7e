// Sizes saturate rather than wrap, so an impossible declaration is refused, never under-allocated.
#include "common/working_set.h"

#include <cstring>

#include "common/memory_budget.h"

namespace vorel::audio {

std::size_t WorkingSet::add(std::size_t a, std::size_t b) {
    std::size_t sum;
    return __builtin_add_overflow(a, b, &sum) ? SIZE_MAX : sum;
}

std::size_t WorkingSet::times(std::size_t a, std::size_t b) {
    std::size_t product;
    return __builtin_mul_overflow(a, b, &product) ? SIZE_MAX : product;
}

VectorPart WorkingSet::vector(std::size_t count) {
    vector_counts_.push_back(count);
    vector_bytes_ = add(vector_bytes_, times(count, sizeof(float)));
    return {vector_counts_.size() - 1};
}

std::size_t WorkingSet::bytes() const { return add(add(block_bytes_, vector_bytes_), outside_bytes_); }

void WorkingSet::require_fits() const { require_memory(bytes()); }

void WorkingSet::allocate() {
    require_fits();
    if (block_bytes_ > 0) {
        block_ = make_aligned_floats(block_bytes_ / sizeof(float));
        std::memset(block_.get(), 0, block_bytes_);
    }
    vectors_.reserve(vector_counts_.size());
    for (std::size_t count : vector_counts_) vectors_.emplace_back(count, 0.0f);
}

}  // namespace vorel::audio
