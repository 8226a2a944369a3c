#include "VeskStringMap.h"

#include <cstdlib>
#include <cstring>

#include "Vesk_Mutex.h"

VeskStringMapEntry::VeskStringMapEntry(const char* key, const char* value)
    : _key(strdup(key)), _value(strdup(value)), _next(nullptr) {}

VeskStringMapEntry::~VeskStringMapEntry() {
    free(_key);
    free(_value);
    // Iterative, so that a long list does not recurse once per entry.
    VeskStringMapEntry* next = _next;
    while (next) {
        VeskStringMapEntry* after = next->_next;
        next->_next = nullptr;
        delete next;
        next = after;
    }
}

VeskStringMap::VeskStringMap() : _mutex(new Vesk_Mutex), _head(nullptr) {}

VeskStringMap::~VeskStringMap() {
    _mutex->lock();
    delete _head;
    _head = nullptr;
    _mutex->unlock();
    delete _mutex;
}

void VeskStringMap::put(const char* key, const char* value) {
    Vesk_MutexLocker lock(_mutex);
    VeskStringMapEntry** link = &_head;
    while (*link) {
        if (strcmp((*link)->_key, key) == 0) {
            free((*link)->_value);
            (*link)->_value = strdup(value);
            return;
        }
        link = &(*link)->_next;
    }
    *link = new VeskStringMapEntry(key, value);
}

const char* VeskStringMap::get(const char* key) {
    Vesk_MutexLocker lock(_mutex);
    for (VeskStringMapEntry* e = _head; e; e = e->_next) {
        if (strcmp(e->_key, key) == 0) {
            return e->_value;
        }
    }
    return nullptr;
}

void VeskStringMap::lockMap() {
    _mutex->lock();
}

void VeskStringMap::unlockMap() {
    _mutex->unlock();
}

VeskStringMapEntry* VeskStringMap::getHead() {
    return _head;
}
