// The error that the cleaner throws when the product's log files cannot be listed or deleted.
// It owns a heap copy of its message; what() returns it for the exception's lifetime.
#ifndef CORVIX_MAINTENANCE_CORVIXCLEANEREXCEPTION_H
#define CORVIX_MAINTENANCE_CORVIXCLEANEREXCEPTION_H

#include <exception>

class CorvixCleanerException : public std::exception {
  public:
    // A null message counts as empty.
    explicit CorvixCleanerException(const char* message);
    CorvixCleanerException(const CorvixCleanerException& other);
    CorvixCleanerException& operator=(const CorvixCleanerException&) = delete;
    ~CorvixCleanerException() override;

    const char* what() const noexcept override;

  private:
    char* _message;
};

#endif
