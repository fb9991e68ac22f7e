// Valid calls at INT_MAX-sized counts: each answers promptly and touches no memory beyond what
// it reads by the header. The huge input is address space without pages, apart from a short
// readable head, so any read past what the call documents faults.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "vorel_audio.h"

namespace {

constexpr std::size_t kHeadFloats = 4096;

// INT_MAX floats of reservation; the first kHeadFloats hold a test signal, the rest fault.
class HugeSignal {
public:
    HugeSignal() {
        void* p = mmap(nullptr, bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (p == MAP_FAILED) return;
        p_ = static_cast<float*>(p);
        mprotect(p_, kHeadFloats * sizeof(float), PROT_READ | PROT_WRITE);
        for (std::size_t i = 0; i < kHeadFloats; ++i) p_[i] = std::sin(0.01f * static_cast<float>(i)) + 0.1f;
    }
    ~HugeSignal() {
        if (p_ != nullptr) munmap(p_, bytes_);
    }
    const float* get() const { return p_; }

private:
    std::size_t bytes_ = static_cast<std::size_t>(INT_MAX) * sizeof(float);
    float* p_ = nullptr;
};

// One call on the huge input with `n` floats of output, and, for calls that succeed, the
// same call on the head alone, whose output must match: the huge count only moves where
// the output stops, not what it holds.
struct Row {
    const char* what;
    int status;
    std::size_t out_n;
    std::function<int(const float* src, int src_n, float* out)> call;
    int head_n = 0;  // src_n of the comparison call
};

const std::vector<Row>& rows() {
    static const std::vector<Row> r = {
        {"resample, equal rates, one output", 0, 1,
         [](const float* s, int n, float* o) { return vorelAudioResample(o, s, 16000, 1, 16000, n); }, 100},
        {"resample 44100 to 48000, three outputs", 0, 3,
         [](const float* s, int n, float* o) { return vorelAudioResample(o, s, 48000, 3, 44100, n); }, 1000},
        {"resample 1 to 3, 300 outputs", 0, 300,
         [](const float* s, int n, float* o) { return vorelAudioResample(o, s, 3, 300, 1, n); }, 1000},
        {"resample length beyond int", -1, 1,
         [](const float*, int n, float* o) { return vorelAudioGetResampleLen(reinterpret_cast<int*>(o), 2, n, 1); }},
        {"frame count saturates", 0, 1,
         [](const float*, int n, float* o) { return vorelAudioGetFrameLen(reinterpret_cast<int*>(o), n, 1, 1, 2); }},
        {"linear filter of one output sample", 0, 1,
         [](const float* s, int n, float* o) {
             static const float b[] = {0.5f, 0.25f}, a[] = {1.0f, -0.5f};
             return vorelAudioLinerFilter(o, s, b, a, nullptr, 1, n, 2, 2, 0);
         },
         10},
        {"frame fit keeps the first frame", 0, 1,
         [](const float* s, int n, float* o) { return vorelAudioFixFrameLen(o, s, 1, 1, n, 0.0f); }, 10},
        {"spectrogram, first frame only", 0, 2 * 33,
         [](const float* s, int n, float* o) {
             return vorelAudioGetSpectrogram(o, s, n, 64, INT_MAX / 2, 64, 1, 1, 1, 2.0f, 1);
         },
         1000},
        {"mel spectrogram, first frame only", 0, 8,
         [](const float* s, int n, float* o) {
             return vorelAudioGetMelSpectrogram(o, s, n, 16000, 64, INT_MAX / 2, 64, 1, 1, 1, 2.0f, 1, 0.0f, 8000.0f, 8,
                                                0, 0);
         },
         1000},
        // Refused before anything is read or written: the output here is the guard zone alone.
        {"transform of INT_MAX points", -5, 0, [](const float* s, int n, float* o) { return vorelAudioFFT(o, s, n); }},
        {"inverse transform of INT_MAX points", -5, 0,
         [](const float* s, int n, float* o) { return vorelAudioIFFT(o, s, n); }},
        {"resample to a rate of its own, INT_MAX outputs", -5, 0,
         [](const float* s, int n, float* o) { return vorelAudioResample(o, s, 4067209, n, 1, n); }},
        {"zero-phase filter padding past int", VOREL_STATUS_UNKNOWN_ERROR, 0,
         [](const float* s, int n, float* o) {
             return vorelAudioFilterFilter(o, s, s, s, n, 2, 3, 3, VOREL_AUDIO_PAD_TYPE_ODD, n / 2);
         }},
        // hop 0: no frame, so neither the signal nor the output is looked at.
        {"spectrogram, hop 0", 0, 0,
         [](const float* s, int n, float* o) {
             return vorelAudioGetSpectrogram(o, s, n, 64, 0, 64, 1, 65536, 1, 2.0f, 1);
         }},
        {"mel spectrogram, hop 0", 0, 0,
         [](const float* s, int n, float* o) {
             return vorelAudioGetMelSpectrogram(o, s, n, 16000, 64, 0, 64, 1, 65536, 1, 2.0f, 1, 0.0f, 8000.0f, 8, 0,
                                                0);
         }},
        {"non-silent, hop 0", 0, 2,
         [](const float* s, int n, float* o) {
             return vorelAudioGetNonSilentPos(reinterpret_cast<int*>(o), reinterpret_cast<int*>(o) + 1, s, n, 16, 0,
                                              60.0f);
         }},
        {"non-silent, 2^31 one-sample frames", -5, 2,
         [](const float* s, int n, float* o) {
             return vorelAudioGetNonSilentPos(reinterpret_cast<int*>(o), reinterpret_cast<int*>(o) + 1, s, n, 1, 1,
                                              60.0f);
         }},
        {"non-silent, windows of 2048 every 512", -5, 2,
         [](const float* s, int n, float* o) {
             return vorelAudioGetNonSilentPos(reinterpret_cast<int*>(o), reinterpret_cast<int*>(o) + 1, s, n, 2048, 512,
                                              60.0f);
         }},
        {"non-silent, one window of the whole signal per sample", -5, 2,
         [](const float* s, int n, float* o) {
             return vorelAudioGetNonSilentPos(reinterpret_cast<int*>(o), reinterpret_cast<int*>(o) + 1, s, n, n, 1,
                                              60.0f);
         }},
    };
    return r;
}

constexpr std::uint32_t kCanary = 0x7fa5a5a5u;
constexpr std::size_t kGuard = 16;

std::vector<std::uint32_t> run(const Row& row, const float* src, int src_n, int* status) {
    std::vector<std::uint32_t> out(row.out_n + kGuard, kCanary);
    *status = row.call(src, src_n, reinterpret_cast<float*>(out.data()));
    return out;
}

class HugeShapes : public testing::TestWithParam<std::size_t> {};

TEST_P(HugeShapes, AnsweredWithinTheDocumentedReads) {
    static const HugeSignal huge;
    ASSERT_NE(huge.get(), nullptr);
    const Row& row = rows()[GetParam()];
    int status = 99;
    const std::vector<std::uint32_t> got = run(row, huge.get(), INT_MAX, &status);
    ASSERT_EQ(status, row.status) << row.what;
    const std::vector<std::uint32_t> guard(kGuard, kCanary);
    EXPECT_TRUE(std::equal(guard.begin(), guard.end(), got.end() - kGuard)) << row.what << ": wrote past its output";
    if (status != 0) {
        EXPECT_EQ(got, std::vector<std::uint32_t>(got.size(), kCanary)) << row.what << ": output changed on refusal";
    } else if (row.head_n > 0) {
        int head_status = 99;
        EXPECT_EQ(got, run(row, huge.get(), row.head_n, &head_status)) << row.what;
        EXPECT_EQ(head_status, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(IntMaxCounts, HugeShapes, testing::Range<std::size_t>(0, rows().size()));

}  // namespace
