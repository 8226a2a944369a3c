#include "SupportPackageException.h"

#include <cstdlib>
#include <cstring>

SupportPackageException::SupportPackageException(const char* message)
    : _message(message ? strdup(message) : nullptr) {}

SupportPackageException::SupportPackageException(const SupportPackageException& other)
    : std::exception(other), _message(other._message ? strdup(other._message) : nullptr) {}

SupportPackageException& SupportPackageException::operator=(const SupportPackageException& other) {
    if (this != &other) {
        char* copy = other._message ? strdup(other._message) : nullptr;
        free(_message);
        _message = copy;
    }
    return *this;
}

SupportPackageException::~SupportPackageException() {
    free(_message);
}

const char* SupportPackageException::what() const noexcept {
    return _message ? _message : "";
}
