// SupportPackageException: what the staging area throws when it cannot make one of its folders or
// the pipe of a command capture.
//
// The exception owns a heap copy of its message (made with strdup) and frees it when destroyed;
// copies make their own copy, so an exception may be copied freely while it propagates. what()
// returns the message, or "" when the copy could not be made.
#ifndef CORVIX_SUPPORT_SUPPORTPACKAGEEXCEPTION_H
#define CORVIX_SUPPORT_SUPPORTPACKAGEEXCEPTION_H

#include <exception>

class SupportPackageException : public std::exception {
  public:
    explicit SupportPackageException(const char* message);
    SupportPackageException(const SupportPackageException& other);
    SupportPackageException& operator=(const SupportPackageException& other);
    ~SupportPackageException() override;

    const char* what() const noexcept override;

  private:
    char* _message;
};

#endif
