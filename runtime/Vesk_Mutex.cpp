#include "Vesk_Mutex.h"

Vesk_Mutex::Vesk_Mutex() {
    pthread_mutex_init(&_mutex, nullptr);
}

Vesk_Mutex::~Vesk_Mutex() {
    pthread_mutex_destroy(&_mutex);
}

int Vesk_Mutex::lock() {
    return pthread_mutex_lock(&_mutex);
}

int Vesk_Mutex::unlock() {
    return pthread_mutex_unlock(&_mutex);
}

pthread_mutex_t* Vesk_Mutex::gethandle() {
    return &_mutex;
}
