// libFuzzer target: each input becomes one call of one exported function, with buffers of
// exactly the documented sizes between poisoned guard zones. Checked: the status is one of
// the four, a documented argument check gives -1, nothing is written outside the outputs or
// into an input, and a call that fails leaves its outputs as they were.
//
// Input layout: function byte, one encoded value per int argument, one per float argument,
// a flags byte (bit 0: dst is src; bits 1-3: which buffer, if any, is null), then the bytes
// that fill the input buffers, read as floats and repeated as needed.
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "calls.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#endif
#endif
#ifndef ASAN_POISON_MEMORY_REGION
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace {

using namespace fuzz;

// Buffers above this run only for calls that must refuse (as inaccessible reservations), and
// valid calls above the cost bound are not made: huge valid shapes legitimately take seconds.
constexpr double kMaxFloats = 1 << 22;
constexpr double kMaxCost = 3e7;
constexpr std::size_t kGuard = 64;
constexpr std::uint32_t kGuardWord = 0x7fc0deadu, kUnwritten = 0x7fa5a5a5u;

class Reader {
public:
    Reader(const std::uint8_t* p, std::size_t n) : p_(p), n_(n) {}
    std::uint8_t byte() { return at_ < n_ ? p_[at_++] : 0; }
    std::uint32_t word(int bytes) {
        std::uint32_t v = 0;
        for (int k = 0; k < bytes; ++k) v |= static_cast<std::uint32_t>(byte()) << (8 * k);
        return v;
    }
    std::size_t left() const { return n_ - std::min(at_, n_); }
    const std::uint8_t* rest() const { return p_ + std::min(at_, n_); }

private:
    const std::uint8_t* p_;
    std::size_t n_;
    std::size_t at_ = 0;
};

// Mostly small counts, sometimes negative, sometimes at the edges of the int range.
int read_int(Reader& r, char kind) {
    static const int edges[] = {INT_MAX, INT_MIN, INT_MAX / 2, 1 << 20, 1 << 24, 1 << 28, INT_MAX - 63, 65536};
    const std::uint8_t sel = r.byte();
    if (kind == 'e' && sel < 0xc0) return sel % 4 - (sel % 16 == 15 ? 4 : 0);
    switch (sel >> 5) {
        case 0:
        case 1:
        case 2: return static_cast<int>(r.byte());
        case 3:
        case 4: return static_cast<int>(r.word(2));
        case 5: return -static_cast<int>(r.byte());
        case 6: return edges[sel % 8];
        default: return static_cast<int>(r.word(4));
    }
}

float read_float(Reader& r) {
    static const float specials[] = {std::numeric_limits<float>::quiet_NaN(),
                                     -std::numeric_limits<float>::quiet_NaN(),
                                     INFINITY,
                                     -INFINITY,
                                     0.0f,
                                     -0.0f,
                                     1.0f,
                                     2.0f,
                                     0.5f,
                                     1e30f,
                                     -1.0f,
                                     std::numeric_limits<float>::denorm_min(),
                                     8000.0f,
                                     16000.0f,
                                     100.0f,
                                     60.0f};
    const std::uint8_t sel = r.byte();
    if (sel < 0x80) return specials[sel % 16];
    const std::uint32_t bits = r.word(4);
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

[[noreturn]] void finding(const Fn& fn, const Args& a, const char* what) {
    std::fprintf(stderr, "\n%s: %s; ints", fn.name, what);
    for (std::size_t k = 0; k < fn.kinds.size(); ++k) std::fprintf(stderr, " %d", a.i[k]);
    std::fprintf(stderr, "; floats");
    for (int k = 0; k < fn.float_n; ++k) std::fprintf(stderr, " %g", a.f[k]);
    std::fprintf(stderr, "\n");
    std::abort();
}

// A caller buffer: accessible words between poisoned guard zones, or, for a call that must
// refuse at a size too large to hold, an inaccessible reservation that faults on any access.
class Buffer {
public:
    Buffer(std::size_t n, bool reserved) : n_(n), reserved_(reserved) {
        if (reserved_) {
            bytes_ = std::max<std::size_t>(n * sizeof(float), 4096);
            void* p = mmap(nullptr, bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
            base_ = p == MAP_FAILED ? nullptr : static_cast<std::uint32_t*>(p);
            return;
        }
        words_.assign(n + 2 * kGuard, kGuardWord);
        base_ = words_.data() + kGuard;
    }
    ~Buffer() {
        if (reserved_ && base_ != nullptr) munmap(base_, bytes_);
        if (!reserved_) unpoison();
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    std::uint32_t* data() const { return base_; }
    std::size_t size() const { return reserved_ ? 0 : n_; }
    void poison() {
        if (reserved_) return;
        ASAN_POISON_MEMORY_REGION(words_.data(), kGuard * 4);
        ASAN_POISON_MEMORY_REGION(words_.data() + kGuard + n_, kGuard * 4);
    }
    void unpoison() { ASAN_UNPOISON_MEMORY_REGION(words_.data(), words_.size() * 4); }
    bool guards_intact() const {
        if (reserved_) return true;
        const auto ok = [](std::uint32_t w) { return w == kGuardWord; };
        return std::all_of(words_.begin(), words_.begin() + kGuard, ok) &&
               std::all_of(words_.end() - kGuard, words_.end(), ok);
    }

private:
    std::size_t n_;
    bool reserved_;
    std::size_t bytes_ = 0;
    std::vector<std::uint32_t> words_;
    std::uint32_t* base_ = nullptr;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reader r(data, size);
    const std::vector<Fn>& fns = functions();
    const Fn& fn = fns[r.byte() % fns.size()];
    Args a;
    for (std::size_t k = 0; k < fn.kinds.size(); ++k) a.i[k] = read_int(r, fn.kinds[k]);
    for (int k = 0; k < fn.float_n; ++k) a.f[k] = read_float(r);
    const std::uint8_t flags = r.byte();

    std::vector<Buf> bufs = fn.bufs(a);
    const bool alias = (flags & 1) != 0 && fn.alias_dst >= 0;
    const int null_idx = static_cast<int>((flags >> 1) & 7) - 1;
    if (alias) bufs[fn.alias_dst].n = std::max(bufs[fn.alias_dst].n, bufs[fn.alias_src].n);
    const bool has_null = null_idx >= 0 && null_idx < static_cast<int>(bufs.size());
    const bool refused = fn.refused(a) || (has_null && !bufs[null_idx].nullable);
    double total = 0;
    for (const Buf& b : bufs) total += std::max(0.0, b.n);
    const bool huge = total > kMaxFloats;
    if (!refused && (huge || fn.cost(a) > kMaxCost)) return 0;

    // Inputs hold the rest of the fuzz input as floats; outputs a pattern the call must
    // overwrite or leave; an aliased dst holds the input it shares.
    std::vector<std::unique_ptr<Buffer>> mem;
    for (std::size_t b = 0; b < bufs.size(); ++b) {
        const std::size_t n = static_cast<std::size_t>(std::max(0.0, bufs[b].n));
        mem.push_back(std::make_unique<Buffer>(n, huge));
        if (huge) continue;
        const bool filled = !bufs[b].out || (alias && static_cast<int>(b) == fn.alias_dst);
        for (std::size_t k = 0; k < n; ++k) {
            std::uint32_t w = kUnwritten;
            if (filled && r.left() >= 4) {
                const std::size_t at = (4 * k) % (r.left() - r.left() % 4);
                std::memcpy(&w, r.rest() + at, 4);
            } else if (filled) {
                const float v = std::sin(0.37f * static_cast<float>(k)) * static_cast<float>(1 + k % 3);
                std::memcpy(&w, &v, 4);
            }
            mem[b]->data()[k] = w;
        }
    }
    std::vector<std::vector<std::uint32_t>> before;
    for (const auto& m : mem) before.emplace_back(m->data(), m->data() + m->size());
    std::vector<float*> ptrs(bufs.size());
    for (std::size_t b = 0; b < bufs.size(); ++b) {
        const std::size_t owner = alias && static_cast<int>(b) == fn.alias_src ? fn.alias_dst : b;
        ptrs[b] = static_cast<int>(b) == null_idx ? nullptr : reinterpret_cast<float*>(mem[owner]->data());
    }

    for (const auto& m : mem) m->poison();
    const int status = fn.call(a, ptrs.data());
    for (const auto& m : mem) m->unpoison();

    if (status != 0 && status != -1 && status != -5 && status != -128) finding(fn, a, "status outside the four");
    if (refused && status != -1) finding(fn, a, "a documented check did not refuse");
    for (std::size_t b = 0; b < bufs.size(); ++b) {
        if (!mem[b]->guards_intact()) finding(fn, a, "write into a guard zone");
        const bool written = bufs[b].out || (alias && static_cast<int>(b) == fn.alias_dst);
        const bool same = std::equal(before[b].begin(), before[b].end(), mem[b]->data());
        if (!written && !same) finding(fn, a, "an input buffer changed");
        if (written && status != 0 && !same) finding(fn, a, "an output changed on a failed call");
    }
    return 0;
}
