// Out-of-line members of the exception family, so that its vtables live in one place.
#include "errors/exceptions.h"

#include <utility>

namespace vorel::Util::Exceptions {

VorelException::VorelException(std::string message_, int code) : message(std::move(message_)), error_code(code) {}

VorelException::~VorelException() = default;

int VorelException::errorCode() const { return error_code; }

const char* VorelException::errorDetail() const noexcept {
    if (layer_info.empty()) return message.c_str();
    detail = "Layer:" + layer_info + " Error:" + message;
    return detail.c_str();
}

const char* VorelException::stackTrace() const { return ""; }

const std::string& VorelException::getLayerInfo() const { return layer_info; }

void VorelException::setLayerInfo(const std::string& first, const std::string& second) {
    if (!layer_info.empty()) return;
    layer_info = first + "(" + second + ")";
}

VorelInvalidArgmentExceptionBase::VorelInvalidArgmentExceptionBase(const std::string& message, int code)
    : std::invalid_argument(message), VorelException(message, code) {}

VorelInvalidArgmentExceptionBase::~VorelInvalidArgmentExceptionBase() = default;

const char* VorelInvalidArgmentExceptionBase::what() const noexcept { return errorDetail(); }

VorelInvalidArgment::VorelInvalidArgment(const char* message)
    : VorelInvalidArgmentExceptionBase(std::string(message), -1) {}

VorelInvalidArgment::~VorelInvalidArgment() = default;

}  // namespace vorel::Util::Exceptions
