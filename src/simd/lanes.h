// Independent items in lanes, then the rest one by one: the one driver of every frame loop
// that runs groups of frames through vector lanes. Full groups of `width` items go to the
// group body, the items after the last full group to the single-item body, both in ascending
// order. Each lane does what the single-item body does, so the split never changes a bit.
// Also the moves that bring items into lanes: a lane holds one item, so a block of samples of
// several items is transposed on its way in.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd/shuffles.h"
#include "simd/vec.h"

namespace vorel::audio::simd {

// How a run of items splits: [0, grouped) in groups of `width`, [grouped, n) one by one.
struct LaneSplit {
    std::size_t n = 0;
    std::size_t width = 1;
    std::size_t grouped = 0;
    bool lanes() const { return grouped > 0; }
};

// `width` is what the level runs at once (1: no lanes); `suits` whether the items take lanes at
// all (a frame too long for lane buffers does not). Fewer items than a group run one by one.
inline LaneSplit split_lanes(std::size_t n, std::size_t width, bool suits) {
    if (!suits || width < 2 || n < width) return {n, 1, 0};
    return {n, width, n - n % width};
}

// group(first) for each full group, then single(t) for each remaining item.
template <class Group, class Single>
VOREL_INLINE void run_lanes_then_rest(const LaneSplit& split, Group&& group, Single&& single) {
    std::size_t t = 0;
    for (; t < split.grouped; t += split.width) group(t);
    for (; t < split.n; ++t) single(t);
}

// Eight rows of eight floats become columns: afterwards r[j] holds element j of each input.
// The 4 x 4 blocks are transposed within each 128-bit half, then the halves exchanged.
VOREL_INLINE void transpose8(float8 (&r)[8]) {
    lanes::transpose4<1>(r[0], r[1], r[2], r[3]);
    lanes::transpose4<1>(r[4], r[5], r[6], r[7]);
    for (std::size_t j = 0; j < 4; ++j) {
        const float8 low = r[j], high = r[4 + j];
        r[j] = lanes::unpack<8, 4, 0>(low, high);
        r[4 + j] = lanes::unpack<8, 4, 1>(low, high);
    }
}

// count real parts and count imaginary parts (count a multiple of four) as (re, im) pairs at
// cell[0 .. 2 count). Only moves.
VOREL_INLINE void interleave(float* cell, const float* re, const float* im, std::size_t count) {
    for (std::size_t l = 0; l < count; l += 4) {
        const float4 r = load<float4>(re + l), i = load<float4>(im + l);
        store(cell + 2 * l, lanes::unpack<4, 1, 0>(r, i));
        store(cell + 2 * l + 4, lanes::unpack<4, 1, 1>(r, i));
    }
}

// True when no float of p[0 .. count) is infinite or NaN: x - x is +0 for every finite x and
// NaN otherwise, and a sum of +0 stays +0 while a NaN stays NaN. Four sums side by side, so that
// the additions do not wait on each other.
template <class V>
VOREL_INLINE bool all_finite(const float* p, std::size_t count) {
    constexpr std::size_t w = kLanes<V>;
    V acc[4] = {};
    std::size_t k = 0;
    for (; k + 4 * w <= count; k += 4 * w)
        for (std::size_t j = 0; j < 4; ++j) {
            const V v = load<V>(p + k + j * w);
            acc[j] = acc[j] + (v - v);
        }
    for (; k + w <= count; k += w) {
        const V v = load<V>(p + k);
        acc[0] = acc[0] + (v - v);
    }
    float rest[w + 1] = {};
    store(rest, (acc[0] + acc[1]) + (acc[2] + acc[3]));
    for (; k < count; ++k) rest[w] = rest[w] + (p[k] - p[k]);
    for (std::size_t l = 0; l < w; ++l) rest[w] = rest[w] + rest[l];
    return rest[w] == 0.0f;
}

// Output rows written in whole cache lines. A row's run of cells is staged so that each staged
// line maps onto one line of the destination: the run for `to` starts at stage[line_lead(to)],
// and stage[0, lead) carries the floats before `to` that the previous run of the row left.
constexpr std::size_t kLineFloats = 64 / sizeof(float);

// Floats between the start of the destination's cache line and `to` (0 when `to` is not even
// float-aligned, and then stream_run copies plainly).
inline std::size_t line_lead(const float* to) {
    const std::uintptr_t addr = reinterpret_cast<std::uintptr_t>(to);
    return addr % sizeof(float) != 0 ? 0 : addr / sizeof(float) % kLineFloats;
}

// Writes the run of `lines` x kLineFloats floats staged at stage[lead ..] to `to` (lead =
// line_lead(to)): the lines that the run fills with the carried floats go out as streaming stores,
// which write a line without reading it first; the run's first line when `opening` (its head
// is not this row's to write) and its last floats when `closing` with plain stores. Otherwise
// the last `lead` floats move to stage[0, lead) for the next run. The values are only moved.
// Call stream_fence() once after the last run.
inline void stream_run(float* to, float* stage, std::size_t lines, bool opening, bool closing) {
    const std::size_t lead = line_lead(to), n = lines * kLineFloats;
    if (reinterpret_cast<std::uintptr_t>(to) % sizeof(float) != 0) {
        for (std::size_t i = 0; i < n; ++i) to[i] = stage[i];
        return;
    }
    // Line L of the run starts at (to + L kLineFloats) - lead.
    std::size_t line = 0;
    if (opening && lead > 0) {
        for (std::size_t i = lead; i < kLineFloats; ++i) to[i - lead] = stage[i];
        line = 1;
    }
    for (; line < lines; ++line) {
        float* const at = (to + line * kLineFloats) - lead;
        for (std::size_t j = 0; j < kLineFloats; j += 4)
            _mm_stream_ps(at + j, _mm_load_ps(stage + line * kLineFloats + j));
    }
    if (closing)
        for (std::size_t i = 0; i < lead; ++i) to[n - lead + i] = stage[n + i];
    else
        for (std::size_t i = 0; i < lead; ++i) stage[i] = stage[n + i];
}

// Orders the streaming stores before whatever the thread writes next.
inline void stream_fence() { _mm_sfence(); }

}  // namespace vorel::audio::simd
