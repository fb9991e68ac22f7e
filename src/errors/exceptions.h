// The exception family internal code throws; only the error code ever reaches a caller.
#pragma once

#include <stdexcept>
#include <string>

namespace vorel::Util::Exceptions {

class VorelException {
public:
    VorelException(std::string message, int code);
    virtual ~VorelException();

    virtual int errorCode() const;
    // Composes "Layer:<layer> Error:<message>" once a layer is set. Must not throw: a failed
    // composition ends the process (noexcept).
    virtual const char* errorDetail() const noexcept;
    virtual const char* stackTrace() const;
    virtual const std::string& getLayerInfo() const;
    // The first caller wins: later calls leave the layer as it is.
    virtual void setLayerInfo(const std::string& first, const std::string& second);

private:
    std::string layer_info;
    std::string message;
    int error_code;
    mutable std::string detail;  // cache written by the const errorDetail()
};

class VorelInvalidArgmentExceptionBase : public std::invalid_argument, public VorelException {
public:
    VorelInvalidArgmentExceptionBase(const std::string& message, int code);
    ~VorelInvalidArgmentExceptionBase() override;
    const char* what() const noexcept override;
};

class VorelInvalidArgment : public VorelInvalidArgmentExceptionBase {
public:
    explicit VorelInvalidArgment(const char* message);
    ~VorelInvalidArgment() override;
};

}  // namespace vorel::Util::Exceptions
