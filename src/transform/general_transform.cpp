// The passes of a general-length plan, written once over the vector type and built for each
// level above scalar. Outputs of one pass are independent sums, so lanes may hold any of them;
// each lane does the scalar operations in the scalar order (no fused multiply-add).
#include "transform/general_transform.h"

#include <algorithm>
#include <utility>

#include "common/aligned_floats.h"
#include "simd/lanes.h"
#include "simd/vec.h"
#include "transform/general_plan.h"
#include "transform/mixed_radix.h"
#include "transform/schedules.h"

namespace vorel::audio {

namespace {

using simd::float16;
using simd::float4;
using simd::float8;
using simd::kLanes;
using simd::load;
using simd::store;

// Every lane set to *p: a whole vector loaded from p (the plan pads its twiddles for that),
// lane 0 copied to all lanes. Written this way it is one broadcast from memory in every build;
// a vector built from the scalar, or a short vector widened, becomes a chain of lane inserts or
// a spill to the stack once inlined here.
template <class V, std::size_t... I>
VOREL_INLINE V splat_lanes(const float* p, std::index_sequence<I...>) {
    const V v = load<V>(p);
    return __builtin_shufflevector(v, v, ((void)I, 0)...);
}

template <class V>
VOREL_INLINE V splat(const float* p) {
    if constexpr (kLanes<V> == 1)
        return *p;
    else
        return splat_lanes<V>(p, std::make_index_sequence<kLanes<V>>{});
}

// f(V{}, lo, hi) over [lo, hi) in runs of the widest vector, the rest in halves of it down to
// four lanes, then single floats.
template <class V, class F>
VOREL_INLINE void by_widths(std::size_t lo, std::size_t hi, F& f) {
    constexpr std::size_t w = kLanes<V>;
    const std::size_t mid = lo + (hi - lo) / w * w;
    if (mid > lo) f(V{}, lo, mid);
    if constexpr (w > 1)
        if (mid < hi) by_widths<simd::Vec<float, (w > 4 ? w / 2 : 1)>>(mid, hi, f);
}

// One pass; the q outputs r len + s of a group read the same inputs, so they are computed
// together. Across blocks (the first layout: element j of block b at j B + rev(b), real parts at
// `in`, imaginary parts n floats later), output x = r len + s of block b' sums element s of its
// sub-blocks t = 0 .. q-1, which lie at s B + t B' + rev(b'), and goes to x B' + rev(b'); the
// lanes run over b'. The leaves are the case len = 1 with B' = B. Across outputs (blocks one
// after another), output x of block b sums element s of its sub-blocks, at b size + t len + s;
// the lanes run over s.
template <class Top, bool Across, bool RealIn, std::size_t Q>
VOREL_INLINE void run_pass(const float* in, float* out, std::size_t n, const GeneralPass& pass, const float* tw_re,
                           const float* tw_im, bool unit) {
    const std::size_t q = Q > 0 ? Q : pass.q, len = pass.len, size = q * len;
    // The groups of one lane run lie `apart` floats apart; `outer` runs them over s or b.
    const std::size_t apart = Across ? pass.blocks : len, outer = Across ? len : pass.blocks;
    for (std::size_t o = 0; o < outer; ++o) {
        const float* from = in + o * q * apart;
        float* to = out + (Across ? 0 : o * size);
        auto run = [&](auto tag, std::size_t i0, std::size_t i1) VOREL_INLINE_LAMBDA {
            using V = decltype(tag);
            for (std::size_t i = i0; i < i1; i += kLanes<V>) {
                const GroupInputs<V, Q, RealIn> x_in(from + i, q, apart, n);
                for (std::size_t r = 0; r < q; ++r) {
                    const std::size_t x = r * len + (Across ? o : i);
                    V re, im;
                    group_output<V, RealIn>(
                        x_in, q, unit, re, im, [&](std::size_t t, V& w_re, V& w_im) VOREL_INLINE_LAMBDA {
                            w_re = Across ? splat<V>(tw_re + t * size + x) : load<V>(tw_re + t * size + x);
                            w_im = Across ? splat<V>(tw_im + t * size + x) : load<V>(tw_im + t * size + x);
                        });
                    const std::size_t at = Across ? x * apart + i : x;
                    store(to + at, re), store(to + n + at, im);
                }
            }
        };
        by_widths<Top>(0, apart, run);
    }
}

// From the first layout to blocks one after another (see GeneralPlan::level_block): tiles of
// eight by eight transposed in vectors in the builds with eight lanes or more, the rest one by one.
template <class Top>
VOREL_INLINE void to_block_order(const float* in, float* out, std::size_t n, const std::vector<std::size_t>& block) {
    const std::size_t blocks = block.size(), size = n / blocks;
    std::size_t tiled_columns = 0, tiled_rows = 0;
    if constexpr (kLanes<Top> >= 8) {
        tiled_columns = blocks - blocks % 8, tiled_rows = size - size % 8;
        for (std::size_t c = 0; c < tiled_columns; c += 8)
            for (std::size_t part = 0; part < 2 * n; part += n)
                for (std::size_t x = 0; x < tiled_rows; x += 8) {
                    float8 r[8];
                    for (std::size_t i = 0; i < 8; ++i) r[i] = load<float8>(in + part + (x + i) * blocks + c);
                    simd::transpose8(r);
                    for (std::size_t j = 0; j < 8; ++j) store(out + part + block[c + j] * size + x, r[j]);
                }
    }
    for (std::size_t c = 0; c < blocks; ++c) {
        const float* from = in + c;
        float* to = out + block[c] * size;
        for (std::size_t x = c < tiled_columns ? tiled_rows : 0; x < size; ++x)
            to[x] = from[x * blocks], to[n + x] = from[n + x * blocks];
    }
}

// All passes from the input at src, through scratch a and b of 2 n floats each (real parts,
// then imaginary); returns the one holding the output in natural order.
template <class Top>
VOREL_INLINE float* run_passes(const GeneralPlan& plan, const float* src, bool real_input, std::size_t n, bool unit,
                               float* a, float* b) {
    // The first layout of the leaves is the input order itself. Real leaves read no imaginary
    // parts.
    if (real_input) {
        std::copy(src, src + n, a);
    } else {
        for (std::size_t k = 0; k < n; ++k) a[k] = src[2 * k], a[n + k] = src[2 * k + 1];
    }
    bool across = true;
    for (const GeneralPass& pass : plan.passes) {
        if (across && !pass.across_blocks) {
            to_block_order<Top>(a, b, n, plan.level_block);
            std::swap(a, b);
            across = false;
        }
        const float* tw_re = plan.tw_re.data() + pass.twiddles;
        const float* tw_im = plan.tw_im.data() + pass.twiddles;
        const bool real_leaves = real_input && &pass == &plan.passes.front();
        with_radix(pass.q, [&](auto radix) VOREL_INLINE_LAMBDA {
            constexpr std::size_t Q = decltype(radix)::value;
            if (across && real_leaves)
                run_pass<Top, true, true, Q>(a, b, n, pass, tw_re, tw_im, unit);
            else if (across)
                run_pass<Top, true, false, Q>(a, b, n, pass, tw_re, tw_im, unit);
            else
                run_pass<Top, false, false, Q>(a, b, n, pass, tw_re, tw_im, unit);
        });
        std::swap(a, b);
    }
    return a;
}

// The whole transform to dst. Term 0 is added without its product (group_output) unless a pass
// input holds an infinity or NaN. Such a value never leaves the outputs: each output of the
// next pass that reads it has a product with it (x * w is infinite or NaN, and so is x + 0),
// and a sum with an infinite or NaN term is infinite or NaN. Passes on finite input give the
// same bits either way, so an output that is all finite proves every pass input finite, and
// any other output is computed again with every product.
template <class Top>
VOREL_INLINE void run_plan(const GeneralPlan& plan, float* dst, const float* src, bool real_input, std::size_t n,
                           bool inverse, float* a, float* b) {
    const float* out = run_passes<Top>(plan, src, real_input, n, plan.unit_first, a, b);
    if (plan.unit_first && !simd::all_finite<Top>(out, 2 * n))
        out = run_passes<Top>(plan, src, real_input, n, false, a, b);
    const float length = static_cast<float>(n);
    for (std::size_t k = 0; k < n; ++k) {
        dst[2 * k] = inverse ? out[k] / length : out[k];
        dst[2 * k + 1] = inverse ? out[n + k] / length : out[n + k];
    }
}

using RunFn = void (*)(const GeneralPlan&, float*, const float*, bool, std::size_t, bool, float*, float*);

VOREL_TARGET_SSE2 void run_sse2(const GeneralPlan& plan, float* dst, const float* src, bool real_input, std::size_t n,
                                bool inverse, float* a, float* b) {
    run_plan<float4>(plan, dst, src, real_input, n, inverse, a, b);
}

VOREL_TARGET_AVX2 void run_avx2(const GeneralPlan& plan, float* dst, const float* src, bool real_input, std::size_t n,
                                bool inverse, float* a, float* b) {
    run_plan<float8>(plan, dst, src, real_input, n, inverse, a, b);
}

VOREL_TARGET_AVX512 void run_avx512(const GeneralPlan& plan, float* dst, const float* src, bool real_input,
                                    std::size_t n, bool inverse, float* a, float* b) {
    run_plan<float16>(plan, dst, src, real_input, n, inverse, a, b);
}

// A build and the lane count its plans are made for.
struct Build {
    RunFn run;
    std::size_t lanes;
};
constexpr Build kSse2{run_sse2, 4}, kAvx2{run_avx2, 8}, kAvx512{run_avx512, 16};
// The 512-bit build measured a few per cent faster than the 256-bit one on this family's
// AVX-512 machines (which issue 512-bit operations as two halves): fewer instructions.
constexpr simd::IsaBuilds<const Build*> kBuilds{nullptr, &kSse2, &kAvx2, &kAvx512};

}  // namespace

bool general_transform_to(float* dst, const float* src, bool real_input, std::size_t n, const std::vector<float>& table,
                          bool inverse, simd::Isa isa) {
    const Build* build = kBuilds(isa);
    if (build == nullptr) return false;
    const GeneralPlan& plan = general_plan_of(n, inverse, build->lanes, table);
    const RunFn run = build->run;
    if (!plan.usable) return false;
    // Two buffers of 2 n floats: on the stack up to n = 1024, where an allocation would cost a
    // fair share of the transform, else on the heap.
    constexpr std::size_t kStackFloats = 4096;
    if (4 * n <= kStackFloats) {
        alignas(64) float local[kStackFloats];
        run(plan, dst, src, real_input, n, inverse, local, local + 2 * n);
    } else {
        const AlignedFloats scratch = make_aligned_floats(4 * n);
        run(plan, dst, src, real_input, n, inverse, scratch.get(), scratch.get() + 2 * n);
    }
    return true;
}

}  // namespace vorel::audio
