// One-line argument checks. Messages are the library's own texts and are passed verbatim.
#pragma once

#include <initializer_list>

#include "errors/exceptions.h"

namespace vorel::audio {

[[noreturn]] inline void fail(const char* message) { throw vorel::Util::Exceptions::VorelInvalidArgment(message); }

// Float comparisons are written by the caller as plain comparisons, so a NaN passes them.
inline void require(bool ok, const char* message) {
    if (!ok) fail(message);
}

// Enumerated values are looked up in a fixed list; the check itself cannot fail otherwise.
inline void require_one_of(int value, std::initializer_list<int> allowed, const char* message) {
    for (int a : allowed)
        if (a == value) return;
    fail(message);
}

}  // namespace vorel::audio
