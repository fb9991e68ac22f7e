// The 22 exported functions as the fuzz target sees them: integer and float arguments by
// position, the buffers each call reads and writes with the sizes the header documents, the
// documented argument checks, and a rough cost to keep every executed call fast.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace fuzz {

struct Args {
    std::array<int, 12> i{};
    std::array<float, 3> f{};
};

struct Buf {
    double n;  // documented size in 32-bit elements (float or int)
    bool out;  // the call writes it
    bool nullable = false;
};

using Ptrs = float* const*;

struct Fn {
    const char* name;
    std::string kinds;  // one letter per int argument: c = count, e = enumeration
    int float_n;
    std::function<std::vector<Buf>(const Args&)> bufs;
    std::function<bool(const Args&)> refused;  // a documented check fails: status -1
    std::function<double(const Args&)> cost;   // element operations, roughly
    std::function<int(const Args&, Ptrs)> call;
    int alias_dst = -1, alias_src = -1;  // dst may be this src
};

const std::vector<Fn>& functions();

}  // namespace fuzz
