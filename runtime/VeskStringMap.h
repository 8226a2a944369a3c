// VeskStringMap: a locked list of unique string keys and values, in insertion order.
//
// The map owns heap copies of every key and value. put(), get() and destruction take the map's
// own lock; a caller that walks the list with getHead() holds lockMap()/unlockMap() around the
// walk. Keys compare case-sensitively.
#ifndef CORVIX_RUNTIME_VESKSTRINGMAP_H
#define CORVIX_RUNTIME_VESKSTRINGMAP_H

class Vesk_Mutex;

class VeskStringMapEntry {
  public:
    VeskStringMapEntry(const char* key, const char* value);
    // Frees key and value and destroys every following entry: deleting the head frees the list.
    ~VeskStringMapEntry();

    VeskStringMapEntry(const VeskStringMapEntry&) = delete;
    VeskStringMapEntry& operator=(const VeskStringMapEntry&) = delete;

    char* _key;
    char* _value;
    VeskStringMapEntry* _next;
};

class VeskStringMap {
  public:
    VeskStringMap();
    virtual ~VeskStringMap();

    VeskStringMap(const VeskStringMap&) = delete;
    VeskStringMap& operator=(const VeskStringMap&) = delete;

    // Stores a copy of value under key. An existing key keeps its place and gets the new value.
    void put(const char* key, const char* value);
    // The stored value, or null. The pointer stays owned by the map and is invalid after the next
    // put() of the same key.
    const char* get(const char* key);

    void lockMap();
    void unlockMap();
    VeskStringMapEntry* getHead();

  private:
    Vesk_Mutex* _mutex;
    VeskStringMapEntry* _head;
};

#endif
