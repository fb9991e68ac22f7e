// Builds the per-length plans of the mixed-radix transform in lanes, once per length,
// direction and vector width.
#include "transform/general_plan.h"

#include <cstring>
#include <map>
#include <mutex>
#include <tuple>

#include "common/process_table.h"
#include "transform/fft_table.h"
#include "transform/mixed_radix.h"

namespace vorel::audio {

namespace {

// Plans whose gathered twiddles would pass this many per element are left to the plain path:
// those are lengths with a long leaf (a large prime factor), where the table would be huge.
// Common lengths need four to six.
constexpr std::size_t kMaxTwiddlesPerElement = 16;
// Longer lengths keep the plain path too, so that a plan never costs more memory than a few
// megabytes, and a call that fits in memory without a plan is never refused for want of one.
constexpr std::size_t kMaxPlanned = std::size_t{1} << 16;

// Block b of the level with factors f[0..k-1] (the last found is its lowest digit), with its
// digits reversed: r1 (q2..qk) + ... + rk becomes r1 + q1 r2 + ... + (q1..q(k-1)) rk.
std::size_t reversed_block(std::size_t b, const FactorList& f, std::size_t k) {
    std::size_t weight = 1;
    for (std::size_t j = 0; j < k; ++j) weight *= f[j];
    std::size_t rev = 0;
    for (std::size_t j = k; j-- > 0;) {
        weight /= f[j];
        rev += (b % f[j]) * weight;
        b /= f[j];
    }
    return rev;
}

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

    // Entry t x mod size (scaled to the table of n) of term t for output x: the plain path
    // reaches the same reduced exponent by adding and subtracting.
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
    for (std::size_t b = 0; b < level_blocks; ++b) plan.level_block[reversed_block(b, factors, level_factors)] = b;
    plan.usable = true;
    return plan;
}

}  // namespace

const GeneralPlan& general_plan_of(std::size_t n, bool inverse, std::size_t lanes, const std::vector<float>& table) {
    using Key = std::tuple<std::size_t, bool, std::size_t>;
    const Key key{n, inverse, lanes};
    return remembered<Key, GeneralPlan>(key, [&]() -> const GeneralPlan& {
        static std::mutex lock;
        static std::map<Key, GeneralPlan> plans;
        return lock_build_find(lock, plans, key, [&] {
            // Built whole before insertion, so a failed build leaves no entry behind.
            if (plans.count(key) == 0) plans.emplace(key, make_general_plan(n, lanes, table));
        });
    });
}

}  // namespace vorel::audio
