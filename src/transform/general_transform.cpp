// Whole transforms of lengths that are not powers of two in vector lanes, through per-length
// plans. Outputs of one pass are independent sums, so lanes may hold any of them; each lane
// does the scalar operations in the scalar order (no fused multiply-add).
#include "transform/general_transform.h"

#include <algorithm>
#include <cstring>
#include <tuple>
#include <utility>

#include "common/aligned_floats.h"
#include "simd/lanes.h"
#include "simd/vec.h"
#include "transform/fft_table.h"
#include "transform/schedules.h"

namespace vorel::audio {

namespace {

using simd::float16;
using simd::float4;
using simd::float8;
using simd::kLanes;
using simd::load;
using simd::store;

// A plan, cached per length, direction and width, holds the passes (the leaf DFTs, then one
// combine step per factor), the reordering between layouts, and every twiddle in the order the
// passes read it. While many blocks remain, element j of block b lies at j B + rev(b) (b's
// digits reversed), so the lanes run across blocks and the decimated input is the input itself.
// Once fewer blocks remain than lanes, a transposition puts blocks one after another, and the
// lanes run across consecutive outputs of a block.
struct GeneralPass {
    std::size_t q;         // terms of each output sum (the leaf length for the leaves)
    std::size_t len;       // length of the sub-blocks joined (1 for the leaves)
    std::size_t blocks;    // blocks after the pass
    bool across_blocks;    // lanes across blocks (first layout), else across outputs
    std::size_t twiddles;  // offset of its q * q * len twiddles, entry t * q len + x
};

// Floats after the last twiddle, so that a kernel may load a vector from any twiddle.
constexpr std::size_t kTwiddlePad = 16;

struct GeneralPlan {
    bool usable = false;  // false: the length has no fast plan at this width (few blocks, huge leaves)
    std::vector<GeneralPass> passes;
    // The transposition to block order at B = level_block.size() blocks: element x of block
    // level_block[c] moves from x B + c to level_block[c] n / B + x.
    std::vector<std::size_t> level_block;
    std::vector<float> tw_re, tw_im;
    // Whether every twiddle of term 0 is exactly (1, +-0).
    bool unit_first = false;
};

// Lengths with more twiddles per element (a long leaf) or longer than kMaxPlanned keep the plain
// path, so that a plan costs a few megabytes at most and no call is refused for want of one.
constexpr std::size_t kMaxTwiddlesPerElement = 16;
constexpr std::size_t kMaxPlanned = std::size_t{1} << 16;

// (1, +0) or (1, -0): the forward table's angle 0 is -0, whose sine is -0.
bool is_unit(float re, float im) {
    const float one = 1.0f;
    return std::memcmp(&re, &one, sizeof re) == 0 && im == 0.0f;
}

GeneralPlan make_general_plan(std::size_t n, std::size_t lanes, const std::vector<float>& table) {
    GeneralPlan plan;
    FactorList factors;
    std::size_t factor_n = mixed_radix_factors(n, factors);
    std::size_t blocks = 1;
    for (std::size_t j = 0; j < factor_n; ++j) blocks *= factors[j];
    if (lanes < 2 || n > kMaxPlanned || factor_n == 0 || blocks < lanes) return plan;

    // The leaves are the case len = 1 of a combine step whose blocks stay as they are.
    std::size_t twiddles = 0;
    const auto add_pass = [&](std::size_t q, std::size_t len, std::size_t after) {
        plan.passes.push_back({q, len, after, after >= lanes, twiddles});
        twiddles += q * q * len;
    };
    add_pass(n / blocks, 1, blocks);
    for (std::size_t j = factor_n; j-- > 0;) {
        add_pass(factors[j], n / blocks, blocks / factors[j]);
        blocks /= factors[j];
    }
    if (twiddles > kMaxTwiddlesPerElement * n) return plan;

    // Entry c (t x mod size) for term t of output x, the entry the plain path reads.
    plan.tw_re.reserve(twiddles + kTwiddlePad), plan.tw_im.reserve(twiddles + kTwiddlePad);
    plan.unit_first = true;
    for (const GeneralPass& pass : plan.passes) {
        const std::size_t size = pass.q * pass.len, c = n / size;
        for (std::size_t t = 0; t < pass.q; ++t)
            for (std::size_t x = 0; x < size; ++x) {
                const std::size_t e = c * (t * x % size);
                plan.tw_re.push_back(table[2 * e]), plan.tw_im.push_back(table[2 * e + 1]);
                if (t == 0) plan.unit_first = plan.unit_first && is_unit(table[2 * e], table[2 * e + 1]);
            }
    }

    plan.tw_re.resize(twiddles + kTwiddlePad), plan.tw_im.resize(twiddles + kTwiddlePad);

    // The level after the last pass across blocks: its blocks, and the factors still to join.
    std::size_t level_blocks = plan.passes.front().blocks, level_factors = factor_n;
    for (std::size_t p = 1; p < plan.passes.size() && plan.passes[p].across_blocks; ++p)
        level_blocks = plan.passes[p].blocks, --level_factors;
    plan.level_block.resize(level_blocks);
    for_each_decimated(level_blocks, factors, level_factors,
                       [&](std::size_t to, std::size_t from) { plan.level_block[from] = to; });
    plan.usable = true;
    return plan;
}

const GeneralPlan& general_plan_of(std::size_t n, bool inverse, std::size_t lanes, const std::vector<float>& table) {
    using Key = std::tuple<std::size_t, bool, std::size_t>;
    return cached<Key, GeneralPlan>(Key{n, inverse, lanes}, [&] { return make_general_plan(n, lanes, table); });
}

// Every lane set to *p, written as lane 0 of a whole vector load (the twiddles are padded) so
// that every build makes it one broadcast from memory rather than lane inserts or a spill.
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

// f(V{}, lo, hi) over [lo, hi) in runs of the widest vector, the rest in halves down to 4, then 1.
template <class V, class F>
VOREL_INLINE void by_widths(std::size_t lo, std::size_t hi, F& f) {
    constexpr std::size_t w = kLanes<V>;
    const std::size_t mid = lo + (hi - lo) / w * w;
    if (mid > lo) f(V{}, lo, mid);
    if constexpr (w > 1)
        if (mid < hi) by_widths<simd::Vec<float, (w > 4 ? w / 2 : 1)>>(mid, hi, f);
}

// One pass; the q outputs r len + s of a group share their inputs. Across blocks (real parts at
// `in`, imaginary parts n floats on), output x = r len + s of block b' sums element s of its
// sub-blocks, at s B + t B' + rev(b'), to x B' + rev(b'), lanes over b'. Across outputs, output
// x of block b sums elements b size + t len + s, lanes over s.
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
// eight by eight transposed in vectors where the build has eight lanes, the rest one by one.
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

// All passes from src through scratch a and b of 2 n floats (real parts, then imaginary);
// returns the one holding the output in natural order.
template <class Top>
VOREL_INLINE float* run_passes(const GeneralPlan& plan, const float* src, bool real_input, std::size_t n, bool unit,
                               float* a, float* b) {
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

// The whole transform to dst. Term 0 is added without its product (group_output); an infinity
// or NaN in any pass input reaches the outputs (x * w and sums with it stay non-finite), so an
// all-finite output proves the shortcut exact, and any other is computed again in full.
struct RunPlan {
    template <class Top>
    VOREL_INLINE static void run(const GeneralPlan& plan, float* dst, const float* src, bool real_input, std::size_t n,
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
};

using RunFn = void (*)(const GeneralPlan&, float*, const float*, bool, std::size_t, bool, float*, float*);

constexpr auto kBuilds = simd::builds_of<RunFn, RunPlan, simd::Isa::sse2, simd::Isa::avx2, simd::Isa::avx512>();

}  // namespace

bool general_transform_to(float* dst, const float* src, bool real_input, std::size_t n, const std::vector<float>& table,
                          bool inverse, simd::Isa isa) {
    const RunFn run = kBuilds(isa);
    if (run == nullptr) return false;
    const GeneralPlan& plan = general_plan_of(n, inverse, simd::isa_lanes(isa), table);
    if (!plan.usable) return false;
    // Two buffers of 2 n floats, on the stack up to n = 1024 where an allocation would show.
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
