// Process-wide cache of transform coefficients, one entry per length and direction.
#pragma once

#include <map>
#include <mutex>
#include <vector>

#include "common/process_table.h"

namespace vorel::audio {

// Powers of two (n >= 4) hold n/4 rows of 12 floats laid out for the radix-4 butterfly;
// other lengths hold n complex twiddles. A value must be used with the n it was built for.
class FftTable {
public:
    static FftTable& instance();
    const std::vector<float>& ref_table(int n);
    const std::vector<float>& ref_inv_table(int n);

private:
    FftTable() = default;
    void init_fft_table(int n, std::map<int, std::vector<float>>& map, bool inverse);

    std::map<int, std::vector<float>> table;
    std::map<int, std::vector<float>> inv_table;
    std::mutex lock;
};

// The entry find() gives for key, remembered per thread and call site: a thread that asks for
// one key over and over takes no lock. Cache entries never change or move once built.
template <class Key, class Entry, class Find>
const Entry& remembered(const Key& key, Find&& find) {
    thread_local struct {
        Key key{};
        const Entry* entry = nullptr;
    } last;
    if (last.entry == nullptr || !(last.key == key)) {
        last.entry = nullptr;
        last.entry = &find();
        last.key = key;
    }
    return *last.entry;
}

// The entry of key in a process-wide cache of the call site, made by make() and inserted whole,
// so that a failed build leaves no entry behind; remembered per thread.
template <class Key, class Entry, class Make>
const Entry& cached(const Key& key, Make&& make) {
    return remembered<Key, Entry>(key, [&]() -> const Entry& {
        static std::mutex lock;
        static std::map<Key, Entry> entries;
        return lock_build_find(lock, entries, key, [&] {
            if (entries.count(key) == 0) entries.emplace(key, make());
        });
    });
}

}  // namespace vorel::audio
