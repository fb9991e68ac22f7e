// The interface every transform plan of the planned engine implements, its element types
// and the algorithm selector.
#pragma once

#include <cstdint>

namespace vorel::audio::qentor {

// One complex sample: two 32-bit floats, real part first, laid out like an interleaved buffer.
struct Complex {
    float re;
    float im;
};

namespace fft {

// A plan transforms `size` elements per exec, always writing `size` complex outputs; real
// input is taken by value (16-bit samples are not normalised) and gives the full spectrum.
// Forward: X[k] = sum_j x[j] exp(-2 pi i j k / n). Inverse plans built by the facade carry
// the factor 1/n themselves. Plans check nothing: the caller hands buffers of the planned size.
class FFTImpl {
public:
    virtual ~FFTImpl() = default;
    virtual void exec(const int16_t* input, Complex* output) = 0;
    virtual void exec(const float* input, Complex* output) = 0;
    virtual void exec(const Complex* input, Complex* output) = 0;
};

// Held in 32 bits; any value outside the list behaves as DFT.
enum class FFTAlgorithm : uint32_t {
    FFT2 = 0,
    CooleyTukey = 1,
    Bluestein = 2,
    DFT = 3,
};

}  // namespace fft
}  // namespace vorel::audio::qentor
