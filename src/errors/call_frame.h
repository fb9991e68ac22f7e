// The frame of every exported function: the one place where exceptions become statuses.
#pragma once

#include <new>

#include "errors/exceptions.h"
#include "vorel_audio.h"

namespace vorel::audio {

template <class Body>
int call_frame(Body&& body) noexcept {
    using vorel::Util::Exceptions::VorelException;
    try {
        body();
        return VOREL_STATUS_SUCCESS;
    } catch (const std::bad_alloc&) {
        return VOREL_STATUS_OUT_OF_MEMORY;
    } catch (const VorelException& e) {
        return e.errorCode();
    } catch (const VorelException* e) {
        return e->errorCode();
    } catch (...) {
        return VOREL_STATUS_UNKNOWN_ERROR;
    }
}

}  // namespace vorel::audio
