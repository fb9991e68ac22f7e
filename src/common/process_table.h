// The shape shared by the process-wide coefficient caches: a map from key to an entry that
// is built once under the table's lock and never changed, moved or evicted afterwards, so a
// reference to it stays valid without the lock.
#pragma once

#include <map>
#include <mutex>

namespace vorel::audio {

// Locks `lock`, runs `build` (which must return at once when the key is present, and insert
// the entry otherwise), finds the entry and returns it. The lock is released by unwinding
// when the build throws.
template <class Map, class Key, class Build>
const typename Map::mapped_type& lock_build_find(std::mutex& lock, Map& map, const Key& key, Build&& build) {
    std::lock_guard<std::mutex> guard(lock);
    build();
    return map.find(key)->second;
}

}  // namespace vorel::audio
