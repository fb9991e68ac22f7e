// Exported entry points of the level conversions: decibels, standardisation, log1p.
#include "errors/call_frame.h"
#include "errors/checks.h"
#include "features/levels.h"
#include "vorel_audio.h"

using namespace vorel::audio;

extern "C" int vorelAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(src_n >= 1, "Invalid src_n size.");
        convert_power_to_db(dst, src, src_n, top_db);
    });
}

extern "C" int vorelAudioStandardize(float* dst, const float* src, int src_n) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(src_n >= 1, "Invalid src_n size.");
        standardize(dst, src, src_n);
    });
}

extern "C" int vorelAudioLog1p(float* dst, const float* src, int src_n) {
    if (dst == nullptr || src == nullptr) return VOREL_STATUS_INVALID_ARGUMENT;
    return call_frame([&] {
        require(src_n >= 1, "Invalid src_n size.");
        log1p_elements(dst, src, src_n);
    });
}
