// Buffer sizes, checks and costs of the 22 exported functions, as the header states them.
#include "calls.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>

#include "vorel_audio.h"

namespace fuzz {

namespace {

bool bad(int v, std::initializer_list<int> ok) { return std::find(ok.begin(), ok.end(), v) == ok.end(); }
double fft_cost(double n) { return std::fmod(std::log2(n), 1.0) == 0.0 ? n * (std::log2(n) + 1) : n * n; }
double frames(double sample_n, double hop_n) { return hop_n <= 0 ? 0 : sample_n / hop_n + 1; }
int* ip(float* p) { return reinterpret_cast<int*>(p); }

#define A(k) static_cast<double>(a.i[k])
// The table is laid out by hand, one function per entry.
// clang-format off
std::vector<Fn> make() {
    auto unary = [](const char* name, int (*fn)(float*, const float*, int)) {
        return Fn{name, "c", 0, [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(0), false}}; },
                  [](const Args& a) { return a.i[0] < 1; }, [](const Args& a) { return A(0); },
                  [fn](const Args& a, Ptrs p) { return fn(p[0], p[1], a.i[0]); }, 0, 1};
    };
    auto transform = [](const char* name, int (*fn)(float*, const float*, int), double src_per_n) {
        return Fn{name, "c", 0,
                  [src_per_n](const Args& a) { return std::vector<Buf>{{2 * A(0), true}, {src_per_n * A(0), false}}; },
                  [](const Args& a) { return a.i[0] < 1; }, [](const Args& a) { return 4 * fft_cost(A(0)); },
                  [fn](const Args& a, Ptrs p) { return fn(p[0], p[1], a.i[0]); }, 0, 1};
    };
    return {
        transform("FFT", vorelAudioFFT, 1), transform("IFFT", vorelAudioIFFT, 2),
        {"GetWindow", "ce", 0, [](const Args& a) { return std::vector<Buf>{{A(0), true}}; },
         [](const Args& a) { return a.i[0] < 1 || bad(a.i[1], {1, 2}); }, [](const Args& a) { return A(0); },
         [](const Args& a, Ptrs p) { return vorelAudioGetWindow(p[0], a.i[0], a.i[1]); }},
        {"GetFrameLen", "ccce", 0, [](const Args&) { return std::vector<Buf>{{1, true}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || bad(a.i[3], {0, 1, 2}); },
         [](const Args&) { return 1.0; },
         [](const Args& a, Ptrs p) { return vorelAudioGetFrameLen(ip(p[0]), a.i[0], a.i[1], a.i[2], a.i[3]); }},
        {"GetSpectrogram", "ccccecee", 1,
         [](const Args& a) { return std::vector<Buf>{{2 * (A(1) / 2 + 1) * A(5), true}, {A(0), false}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || a.i[3] < 1 || A(3) > A(1) + 1 || bad(a.i[4], {1, 2}) ||
                    a.i[5] < 1 || bad(a.i[6], {0, 1, 2}) || a.f[0] < 0 || bad(a.i[7], {0, 1, 2});
         },
         [](const Args& a) { return (std::min(frames(A(0), A(2)), A(5)) + 1) * 4 * fft_cost(A(1)) + A(0); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetSpectrogram(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5], a.i[6],
                                             a.f[0], a.i[7]);
         }},
        {"GetSampleLen", "ccce", 0, [](const Args&) { return std::vector<Buf>{{1, true}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || bad(a.i[3], {0, 1, 2}); },
         [](const Args&) { return 1.0; },
         [](const Args& a, Ptrs p) { return vorelAudioGetSampleLen(ip(p[0]), a.i[0], a.i[1], a.i[2], a.i[3]); }},
        {"GetInverseSpectrogram", "ccccecee", 0,
         [](const Args& a) { return std::vector<Buf>{{A(5), true}, {2 * A(1) * A(0), false}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || a.i[3] < 1 || A(3) > 2 * A(1) - 2 ||
                    bad(a.i[4], {1, 2}) || a.i[5] < 1 || bad(a.i[6], {0, 1, 2}) || bad(a.i[7], {0, 1, 2});
         },
         // The overlap-add buffer spans every frame, wherever max_sample_n stops the output.
         [](const Args& a) {
             return (A(0) + 1) * 4 * fft_cost(2 * A(1) - 2) + A(0) * A(2) + A(5) + 2 * A(1) + A(0) * A(2);
         },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetInverseSpectrogram(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5],
                                                    a.i[6], a.i[7]);
         }},
        {"GetFBMatrix", "cccee", 2, [](const Args& a) { return std::vector<Buf>{{A(1) * A(0), true}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.f[0] < 0 || a.f[1] < 0 || a.f[1] <= a.f[0] || a.i[1] < 1 || a.i[0] <= a.i[1] ||
                    a.i[2] < 1 || bad(a.i[3], {0, 1}) || bad(a.i[4], {0, 1});
         },
         [](const Args& a) { return 4 * A(0) * A(1); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetFBMatrix(p[0], a.i[0], a.f[0], a.f[1], a.i[1], a.i[2], a.i[3], a.i[4]);
         }},
        {"GetMelSpectrogram", "ccccceceecee", 3,
         [](const Args& a) {
             int frame_n = 0;  // the documented frame count, only asked for when the checks pass
             if (vorelAudioGetFrameLen(&frame_n, a.i[0], a.i[2], a.i[3], a.i[7]) != 0) frame_n = a.i[6];
             return std::vector<Buf>{{A(9) * std::min<double>(frame_n, A(6)), true}, {A(0), false}};
         },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 0 || a.i[4] < 1 || A(4) > A(2) + 1 ||
                    bad(a.i[5], {1, 2}) || a.i[6] < 1 || bad(a.i[7], {0, 1, 2}) || a.f[0] < 0 ||
                    bad(a.i[8], {0, 1, 2}) || a.f[1] < 0 || a.f[2] < 0 || a.f[2] <= a.f[1] || a.i[9] < 1 ||
                    a.i[9] > a.i[2] / 2 || bad(a.i[10], {0, 1}) || bad(a.i[11], {0, 1});
         },
         [](const Args& a) {
             return (std::min(frames(A(0), A(3)), A(6)) + 1) * (4 * fft_cost(A(2)) + A(9) * A(2)) + A(0) +
                    4 * A(9) * A(2);
         },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetMelSpectrogram(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5], a.i[6],
                                                a.i[7], a.f[0], a.i[8], a.f[1], a.f[2], a.i[9], a.i[10], a.i[11]);
         }},
        {"ConvertToMel", "ccc", 0,
         [](const Args& a) {
             return std::vector<Buf>{{A(2) * A(1), true}, {A(0) * A(1), false}, {A(2) * A(0), false}};
         },
         [](const Args& a) { return a.i[0] < 1 || a.i[2] < 1 || a.i[0] <= a.i[2] || a.i[1] < 1; },
         [](const Args& a) { return A(0) * A(1) * A(2); },
         [](const Args& a, Ptrs p) { return vorelAudioConvertToMel(p[0], p[1], p[2], a.i[0], a.i[1], a.i[2]); }},
        {"LinerFilter", "ccccc", 0,
         [](const Args& a) {
             return std::vector<Buf>{{A(0), true}, {A(1), false}, {A(2), false}, {A(3), false}, {A(4), true, true}};
         },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 1; },
         [](const Args& a) { return (std::min(A(0), A(1)) + 1) * 4 * std::max(A(2), A(3)) + A(0); },
         [](const Args& a, Ptrs p) {
             return vorelAudioLinerFilter(p[0], p[1], p[2], p[3], p[4], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4]);
         },
         0, 1},
        {"GetLinerFilterZiCoef", "ccc", 0,
         [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(1), false}, {A(2), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1; },
         [](const Args& a) { return A(0) + 4 * std::pow(std::max(A(1), A(2)), 2); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetLinerFilterZiCoef(p[0], p[1], p[2], a.i[0], a.i[1], a.i[2]);
         }},
        {"FilterFilter", "ccccec", 0,
         [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(1), false}, {A(2), false}, {A(3), false}}; },
         [](const Args& a) {
             return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 1 || bad(a.i[4], {0, 1, 2, 3}) || a.i[5] < 0;
         },
         [](const Args& a) {
             const double n = A(1) + (a.i[4] == 0 ? 0 : 2 * A(5));
             return n > INT_MAX ? 1 : (n + 1) * 8 * std::max(A(2), A(3)) + A(0) + 4 * std::pow(std::max(A(2), A(3)), 2);
         },
         [](const Args& a, Ptrs p) {
             return vorelAudioFilterFilter(p[0], p[1], p[2], p[3], a.i[0], a.i[1], a.i[2], a.i[3], a.i[4], a.i[5]);
         },
         0, 1},
        {"GetResampleLen", "ccc", 0, [](const Args&) { return std::vector<Buf>{{1, true}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[2] < 1 || a.i[1] < 1; }, [](const Args&) { return 1.0; },
         [](const Args& a, Ptrs p) { return vorelAudioGetResampleLen(ip(p[0]), a.i[0], a.i[1], a.i[2]); }},
        {"Resample", "cccc", 0, [](const Args& a) { return std::vector<Buf>{{A(1), true}, {A(3), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1 || a.i[3] < 1; },
         // A new rate pair builds up rows of 65 taps, each with two cosines and a sine.
         [](const Args& a) {
             const double g = std::gcd(a.i[0], a.i[2]), up = A(0) / g, down = A(2) / g;
             return (A(1) + 1) * 65 + A(3) + (up > 4067203 ? 0 : 400 * up + (down <= 16 * up ? 32 * down : 0));
         },
         [](const Args& a, Ptrs p) { return vorelAudioResample(p[0], p[1], a.i[0], a.i[1], a.i[2], a.i[3]); }, 0, 1},
        {"ComplexNorm", "c", 1, [](const Args& a) { return std::vector<Buf>{{A(0), true}, {2 * A(0), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.f[0] <= 0; }, [](const Args& a) { return A(0); },
         [](const Args& a, Ptrs p) { return vorelAudioComplexNorm(p[0], p[1], a.i[0], a.f[0]); }},
        {"MagPhase", "cce", 1,
         [](const Args& a) {
             return std::vector<Buf>{{A(0) * A(1), true}, {(a.i[2] == 1 ? 2 : 1) * A(0) * A(1), true},
                                     {2 * A(0) * A(1), false}};
         },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.f[0] < 0 || bad(a.i[2], {0, 1}); },
         [](const Args& a) { return 4 * A(0) * A(1); },
         [](const Args& a, Ptrs p) { return vorelAudioMagPhase(p[0], p[1], p[2], a.i[0], a.i[1], a.f[0], a.i[2]); }},
        {"ConvertPowerToDB", "c", 1, [](const Args& a) { return std::vector<Buf>{{A(0), true}, {A(0), false}}; },
         [](const Args& a) { return a.i[0] < 1; }, [](const Args& a) { return A(0); },
         [](const Args& a, Ptrs p) { return vorelAudioConvertPowerToDB(p[0], p[1], a.i[0], a.f[0]); }, 0, 1},
        unary("Standardize", vorelAudioStandardize), unary("Log1p", vorelAudioLog1p),
        {"GetNonSilentPos", "ccc", 1, [](const Args& a) { return std::vector<Buf>{{1, true}, {1, true}, {A(0), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 0 || a.f[0] < 0; },
         [](const Args& a) { return A(0) + (A(0) < A(1) || a.i[2] == 0 ? 0 : 2 * frames(A(0), A(2)) * A(1)); },
         [](const Args& a, Ptrs p) {
             return vorelAudioGetNonSilentPos(ip(p[0]), ip(p[1]), p[2], a.i[0], a.i[1], a.i[2], a.f[0]);
         }},
        {"FixFrameLen", "ccc", 1,
         [](const Args& a) { return std::vector<Buf>{{A(0) * A(1), true}, {A(0) * A(2), false}}; },
         [](const Args& a) { return a.i[0] < 1 || a.i[1] < 1 || a.i[2] < 1; },
         [](const Args& a) { return A(0) * (A(1) + A(2)); },
         [](const Args& a, Ptrs p) { return vorelAudioFixFrameLen(p[0], p[1], a.i[0], a.i[1], a.i[2], a.f[0]); }},
    };
}
// clang-format on
#undef A

}  // namespace

const std::vector<Fn>& functions() {
    static const std::vector<Fn> fns = make();
    return fns;
}

}  // namespace fuzz
