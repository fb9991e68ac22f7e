// Per-length plans of the mixed-radix transform for one whole transform in vector lanes,
// cached like the coefficient tables. A plan holds the order of the passes (the leaf DFTs, then
// one combine step per factor), the reordering between layouts, and every twiddle already
// gathered in the order the passes read it, so that a call computes no index and no angle.
//
// Two layouts share the passes. While many blocks remain, element j of block b lies at
// j B + rev(b), rev reversing the digits of b (the factors found first are its low digits):
// consecutive blocks of a pass are consecutive floats, and the sub-blocks that a combine step
// joins lie B' apart, so the lanes run across blocks. The decimated input is then the input
// itself: element m of leaf block b is input element rev(b) + B m. Once fewer blocks remain than
// lanes, one transposition moves the data to block after block, and the lanes run across
// consecutive outputs of a block.
#pragma once

#include <cstddef>
#include <vector>

namespace vorel::audio {

struct GeneralPass {
    std::size_t q;         // terms of each output sum (the leaf length for the leaves)
    std::size_t len;       // length of the sub-blocks joined (1 for the leaves)
    std::size_t blocks;    // blocks after the pass
    bool across_blocks;    // lanes across blocks (first layout), else across outputs
    std::size_t twiddles;  // offset of its q * q * len twiddles, entry t * q len + x
};

// Floats after the last twiddle of each part, so that a kernel may load a short vector from
// any twiddle.
constexpr std::size_t kTwiddlePad = 16;

struct GeneralPlan {
    bool usable = false;  // false: the length has no fast plan at this width (few blocks, huge leaves)
    std::vector<GeneralPass> passes;
    // The transposition after the passes across blocks, at a level of B = `level_block.size()`
    // blocks: element x of the block level_block[c] moves from x B + c to level_block[c] n / B + x.
    std::vector<std::size_t> level_block;
    std::vector<float> tw_re, tw_im;
    // Whether every twiddle of term 0 is exactly (1, +0) or (1, -0) (always, with a correct sine
    // and cosine).
    bool unit_first = false;
};

// The plan for a length n that is not a power of two, forward or inverse, for vectors of
// `lanes` floats, built once per process from that direction's FftTable value `table`, and
// remembered per thread.
const GeneralPlan& general_plan_of(std::size_t n, bool inverse, std::size_t lanes, const std::vector<float>& table);

}  // namespace vorel::audio
