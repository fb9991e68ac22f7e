// Refusal of working sets the machine cannot hold: the kernel grants a huge request lazily and
// kills the process when its pages are touched; asking first gives std::bad_alloc instead.
#pragma once

#include <cstddef>

namespace vorel::audio {

// Throws std::bad_alloc when `bytes` exceed the machine's RAM plus swap.
void require_memory(std::size_t bytes);

}  // namespace vorel::audio
