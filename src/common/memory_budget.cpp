// The machine's memory is read once, with sysinfo (a system call, no file).
#include "common/memory_budget.h"

#include <sys/sysinfo.h>

#include <cstdint>
#include <new>

namespace vorel::audio {

namespace {

std::size_t machine_memory() {
    struct sysinfo info {};
    if (sysinfo(&info) != 0) return SIZE_MAX;
    const unsigned long long pages = static_cast<unsigned long long>(info.totalram) + info.totalswap;
    const unsigned long long unit = info.mem_unit == 0 ? 1 : info.mem_unit;
    if (pages > SIZE_MAX / unit) return SIZE_MAX;
    return static_cast<std::size_t>(pages * unit);
}

}  // namespace

void require_memory(std::size_t bytes) {
    static const std::size_t limit = machine_memory();
    if (bytes > limit) throw std::bad_alloc();
}

}  // namespace vorel::audio
