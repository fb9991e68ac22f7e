// Refusal of working sets the machine cannot hold. The kernel grants a huge request lazily
// and ends the process when its pages are touched; asking first turns that into a
// std::bad_alloc (status -5) before any buffer is written or any input read.
#pragma once

#include <cstddef>

namespace vorel::audio {

// Throws std::bad_alloc when `bytes` exceed the machine's RAM plus swap.
void require_memory(std::size_t bytes);

}  // namespace vorel::audio
