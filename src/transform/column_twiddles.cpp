// Rearranges the twiddle rows of a power of two by column, once per length and direction.
#include "transform/column_twiddles.h"

#include <bit>
#include <map>
#include <mutex>
#include <utility>

#include "common/process_table.h"
#include "transform/fft_table.h"

namespace vorel::audio {

std::size_t column_twiddle_floats(std::size_t n) {
    std::size_t floats = n >= 64 ? 2 * kLastStageFloats : 0;
    for (std::size_t quarter = n / 4; quarter >= 4; quarter /= 4) floats += kColumnValues * quarter;
    return floats;
}

namespace {

std::vector<float> make_columns(std::size_t len, const std::vector<float>& table) {
    std::vector<float> value(column_twiddle_floats(len));
    // The stage of quarter q reads row start * step for column start, step = n / (4 q).
    std::size_t offset = 0;
    for (std::size_t quarter = len / 4; quarter >= 4; quarter /= 4) {
        const std::size_t step = 12 * (len / (4 * quarter));
        for (std::size_t start = 0; start < quarter; ++start)
            for (std::size_t c = 0; c < 12; ++c)
                if (!kRowNegated[c]) value[offset + kRowSource[c] * quarter + start] = table[start * step + c];
        offset += kColumnValues * quarter;
    }
    // The last two stages as sixteen lanes: quarters 4 and 1 of an even log2(n), or 8 and 2 of
    // an odd one. Lane l of the first stage is column l mod its quarter; the second stage has
    // column l mod 2 of quarter 2, or column 0 of quarter 1 (row 0).
    if (len >= 64) {
        const std::size_t quarter = std::countr_zero(len) % 2 == 0 ? 4 : 8;
        const std::size_t step1 = 12 * (len / (4 * quarter)), step2 = 12 * (len / 8);
        for (std::size_t c = 0; c < 12; ++c)
            for (std::size_t l = 0; l < 16; ++l) {
                value[offset + 16 * c + l] = table[(l % quarter) * step1 + c];
                value[offset + kLastStageFloats + 16 * c + l] = table[(quarter == 8 && l % 2 == 1 ? step2 : 0) + c];
            }
    }
    return value;
}

}  // namespace

const std::vector<float>& column_twiddles_of(std::size_t n, bool inverse, const std::vector<float>& table) {
    using Key = std::pair<std::size_t, bool>;
    const Key key{n, inverse};
    return remembered<Key, std::vector<float>>(key, [&]() -> const std::vector<float>& {
        static std::mutex lock;
        static std::map<Key, std::vector<float>> columns;
        return lock_build_find(lock, columns, key, [&] {
            // Built whole before insertion, so a failed build leaves no entry behind.
            if (columns.count(key) == 0) columns.emplace(key, make_columns(n, table));
        });
    });
}

}  // namespace vorel::audio
