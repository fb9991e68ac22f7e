// The shape of the process-wide coefficient caches: an entry is built once under the table's
// lock and never changed, moved or evicted, so a reference to it stays valid without the lock.
#pragma once

#include <map>
#include <mutex>

namespace vorel::audio {

// Locks `lock`, runs `build` (which inserts the entry unless the key is present), and returns
// the entry; a throwing build releases the lock by unwinding.
template <class Map, class Key, class Build>
const typename Map::mapped_type& lock_build_find(std::mutex& lock, Map& map, const Key& key, Build&& build) {
    std::lock_guard<std::mutex> guard(lock);
    build();
    return map.find(key)->second;
}

}  // namespace vorel::audio
