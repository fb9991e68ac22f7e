// Exported entry points of the mel analysis: filter banks, mel spectrograms, mel conversion.
#include <algorithm>
#include <vector>

#include "errors/call_frame.h"
#include "errors/checks.h"
#include "mel/mel_filter_bank.h"
#include "mel/mel_spectrogram.h"
#include "stft/spectrogram.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioGetFBMatrix(float* dst, int freq_n, float f_min, float f_max, int mel_n, int sample_rate,
                                     int mel_norm, int mel_formula) {
    if (dst == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(freq_n >= 1, "Invalid freq_n value.");
        require(!(f_min < 0.0f), "Invalid f_min value.");
        require(!(f_max < 0.0f), "Invalid f_max value.");
        require(!(f_max <= f_min), "f_max must be greater than f_min.");
        require(mel_n >= 1, "Invalid mel_n size.");
        require(freq_n > mel_n, "mel_n must be lesser than freq_n.");
        require(sample_rate >= 1, "Invalid sample_rate value.");
        require_one_of(mel_norm, {VOREL_AUDIO_MEL_NORM_NONE, VOREL_AUDIO_MEL_NORM_AREA}, "Invalid mel_norm format.");
        require_one_of(mel_formula, {VOREL_AUDIO_MEL_FORMULA_HTK, VOREL_AUDIO_MEL_FORMULA_SLANEY},
                       "Invalid mel_formula format.");
        const MelMatrix& fb = MFBTable::instance().ref_table(freq_n, f_min, f_max, mel_n, sample_rate, mel_norm,
                                                             mel_formula != VOREL_AUDIO_MEL_FORMULA_SLANEY);
        for (const std::vector<float>& row : fb) dst = std::copy(row.begin(), row.end(), dst);
    });
}

extern "C" int vorelAudioGetMelSpectrogram(float* dst, const float* src, int sample_n, int sample_rate, int fft_n,
                                           int hop_n, int win_n, int win_type, int max_frame_n, int center, float power,
                                           int fft_norm_type, float f_min, float f_max, int mel_n, int mel_norm,
                                           int mel_formula) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(sample_n >= 1, "Invalid sample_n size.");
        require(sample_rate >= 1, "Invalid sample_rate value.");
        require_stft_arguments(fft_n, hop_n, win_n, win_type, max_frame_n, center, power);
        require_one_of(fft_norm_type,
                       {VOREL_AUDIO_NORM_TYPE_NONE, VOREL_AUDIO_NORM_TYPE_TORCH, VOREL_AUDIO_NORM_TYPE_TORCH,
                        VOREL_AUDIO_NORM_TYPE_SCIPY},
                       "Invalid fft_norm_type format.");
        require(!(f_min < 0.0f), "Invalid f_min value.");
        require(!(f_max < 0.0f), "Invalid f_max value.");
        require(!(f_max <= f_min), "f_max must be greater than f_min.");
        require(mel_n >= 1, "Invalid mel_n size.");
        require(mel_n <= fft_n / 2, "mel_n must be lesser than freq_n( fft_n / 2 + 1).");
        require_one_of(mel_norm, {VOREL_AUDIO_MEL_NORM_NONE, VOREL_AUDIO_MEL_NORM_AREA}, "Invalid mel_norm format.");
        require_one_of(mel_formula, {VOREL_AUDIO_MEL_FORMULA_HTK, VOREL_AUDIO_MEL_FORMULA_SLANEY},
                       "Invalid mel_formula format.");
        mel_spectrogram(dst, src, sample_n, sample_rate, fft_n, hop_n, win_n, win_type, max_frame_n, center, power,
                        fft_norm_type, f_min, f_max, mel_n, mel_norm, mel_formula);
    });
}

extern "C" int vorelAudioConvertToMel(float* dst, const float* src, const float* mel_fb, int freq_n, int frame_n,
                                      int mel_n) {
    if (dst == nullptr || src == nullptr || mel_fb == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(freq_n >= 1, "Invalid freq_n value.");
        require(mel_n >= 1, "Invalid mel_n size.");
        require(freq_n > mel_n, "mel_n must be lesser than freq_n.");
        require(frame_n >= 1, "Invalid frame_n value.");
        convert_freq_to_mel_2d(dst, src, mel_fb, freq_n, frame_n, mel_n);
    });
}
