// Process-wide cache of periodic analysis windows, one entry per length and type.
#pragma once

#include <map>
#include <mutex>
#include <vector>

namespace vorel::audio {

// Periodic Hann and Hamming; the type is not validated: any value but Hamming gives Hann.
class WindowTable {
public:
    static WindowTable& instance();
    const std::vector<float>& ref_table(int n, int win_type);

private:
    WindowTable() = default;
    void init_window(int n, int win_type);

    std::map<int, std::vector<float>> hann;
    std::map<int, std::vector<float>> hamming;
    std::mutex lock;
};

// Copies the n samples of the cached window to dst.
void copy_window(float* dst, int n, int win_type);

}  // namespace vorel::audio
