#include "CorvixCleanerException.h"

#include <cstdlib>
#include <cstring>

CorvixCleanerException::CorvixCleanerException(const char* message)
    : _message(strdup(message ? message : "")) {}

CorvixCleanerException::CorvixCleanerException(const CorvixCleanerException& other)
    : std::exception(other), _message(strdup(other.what())) {}

CorvixCleanerException::~CorvixCleanerException() {
    free(_message);
}

const char* CorvixCleanerException::what() const noexcept {
    return _message ? _message : "";
}
