// Triangular mel filter banks: the two mel scales, the builder and the process-wide cache.
#pragma once

#include <map>
#include <mutex>
#include <vector>

namespace vorel::audio {

// Scale conversions in single precision. The slaney pair is not an exact inverse: the
// forward direction breaks at 1000 Hz, the reverse at 15.000001 mel.
float hz_to_mel_slaney(float f);
float mel_to_hz_slaney(float m);
float hz_to_mel_htk(float f);
float mel_to_hz_htk(float m);

// mel_n rows (band m, lowest first) of freq_n weights (bin j).
using MelMatrix = std::vector<std::vector<float>>;

// Fills `fb` (mel_n rows of freq_n zeros); mel_formula true selects htk, mel_norm area norm.
void create_fb_matrix(MelMatrix& fb, int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int mel_norm,
                      bool mel_formula);

// Cache key, ordered field by field: numbers by less-than (+0.0 and -0.0 share a key), a NaN
// limit after every number and NaNs by bit pattern, so the order stays strict weak.
struct MelFilterBankParam {
    int freq_n;
    float f_min;
    float f_max;
    int mel_n;
    int sample_rate;
    int mel_norm;
    bool mel_formula;

    bool operator<(const MelFilterBankParam& b) const;
};

class MFBTable {
public:
    static MFBTable& instance();
    // The bank for these parameters, built on first request; valid until process exit.
    const MelMatrix& ref_table(int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int mel_norm,
                               bool mel_formula);

private:
    MFBTable() = default;
    // Caller holds `lock`.
    void init_mfb_table(const MelFilterBankParam& key);

    std::map<MelFilterBankParam, MelMatrix> table;
    std::mutex lock;
};

}  // namespace vorel::audio
