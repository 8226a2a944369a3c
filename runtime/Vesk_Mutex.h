// Vesk_Mutex: the runtime library's lock, one non-recursive POSIX mutex.
//
// Objects are created on the heap and owned by whoever made them. lock() and unlock() return the
// pthread result (0 on success). Locking twice from one thread deadlocks: callers keep their own
// lock order (the log takes logMutex before timeMutex, never the other way round).
#ifndef CORVIX_RUNTIME_VESK_MUTEX_H
#define CORVIX_RUNTIME_VESK_MUTEX_H

#include <pthread.h>

class Vesk_Mutex {
  public:
    Vesk_Mutex();
    virtual ~Vesk_Mutex();

    Vesk_Mutex(const Vesk_Mutex&) = delete;
    Vesk_Mutex& operator=(const Vesk_Mutex&) = delete;

    int lock();
    int unlock();
    pthread_mutex_t* gethandle();

  private:
    pthread_mutex_t _mutex;
};

// Holds a Vesk_Mutex for one scope; a null mutex is not locked.
class Vesk_MutexLocker {
  public:
    explicit Vesk_MutexLocker(Vesk_Mutex* mutex) : _mutex(mutex) {
        if (_mutex) {
            _mutex->lock();
        }
    }
    ~Vesk_MutexLocker() {
        if (_mutex) {
            _mutex->unlock();
        }
    }
    Vesk_MutexLocker(const Vesk_MutexLocker&) = delete;
    Vesk_MutexLocker& operator=(const Vesk_MutexLocker&) = delete;

  private:
    Vesk_Mutex* _mutex;
};

#endif
