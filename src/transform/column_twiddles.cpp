// Rearranges the twiddle rows of a power of two by column, once per length and direction.
#include "transform/column_twiddles.h"

#include "common/process_table.h"

namespace vorel::audio {

ColumnTwiddleTable& ColumnTwiddleTable::instance() {
    static ColumnTwiddleTable inst;
    return inst;
}

std::size_t column_twiddle_floats(std::size_t n) {
    std::size_t floats = 0;
    for (std::size_t quarter = n / 4; quarter >= 4; quarter /= 4) floats += 12 * quarter;
    return floats;
}

const std::vector<float>& ColumnTwiddleTable::ref_columns(int n, bool inverse, const std::vector<float>& table) {
    return lock_build_find(lock, columns, std::make_pair(n, inverse), [&] { init_columns(n, inverse, table); });
}

void ColumnTwiddleTable::init_columns(int n, bool inverse, const std::vector<float>& table) {
    const auto key = std::make_pair(n, inverse);
    if (columns.count(key) != 0) return;
    const auto len = static_cast<std::size_t>(n);
    std::vector<float> value(column_twiddle_floats(len));
    // The stage of quarter q reads row start * step for column start, step = n / (4 q).
    std::size_t offset = 0;
    for (std::size_t quarter = len / 4; quarter >= 4; quarter /= 4) {
        const std::size_t step = 12 * (len / (4 * quarter));
        for (std::size_t start = 0; start < quarter; ++start)
            for (std::size_t c = 0; c < 12; ++c) value[offset + c * quarter + start] = table[start * step + c];
        offset += 12 * quarter;
    }
    columns.emplace(key, std::move(value));
}

}  // namespace vorel::audio
