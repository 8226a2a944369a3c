#include "Quaden_PISSKVPStore.h"

#include "VeskLog.h"
#include "Vesk_Mutex.h"

QuadenPISSKVPStore::QuadenPISSKVPStore(const char* label, const char* cannotWrite)
    : _entries(kPISSConfigEntryLayout),
      _file(label, cannotWrite, "Commit: Invalid type in KVP list\n"),
      _mutex(new Vesk_Mutex()),
      _changed(false) {}

QuadenPISSKVPStore::~QuadenPISSKVPStore() {
    {
        Vesk_MutexLocker locker(_mutex);
        _entries.Clear();
        _file.Unlock();
    }
    delete _mutex;
}

int QuadenPISSKVPStore::StartTransaction() {
    Vesk_MutexLocker locker(_mutex);
    bool reloadNeeded = false;
    int begun = _file.BeginTransaction(_changed, &reloadNeeded);
    if (begun && reloadNeeded) {
        reload();
    }
    return begun;
}

int QuadenPISSKVPStore::commit(const char* header) {
    int committed = _file.Commit(_entries, header);
    _changed = _changed && !committed;
    return committed;
}

int QuadenPISSKVPStore::append(const char* group, const char* key, int type, const char* value,
                               int intValue, const char* mallocMessage) {
    if (!_entries.Append(group, key, type, value, intValue)) {
        vesk_logError("%s", mallocMessage);
        return 0;
    }
    _changed = true;
    return 1;
}

void QuadenPISSKVPStore::clear() {
    _entries.Clear();
    _changed = false;
}

int QuadenPISSKVPStore::getString(char** out, const char* group, const char* key) {
    Vesk_MutexLocker locker(_mutex);
    return out != nullptr ? _entries.GetString(out, group, key) : 0;
}

int QuadenPISSKVPStore::getInt(int* out, const char* group, const char* key) {
    Vesk_MutexLocker locker(_mutex);
    return out != nullptr ? _entries.GetInt(out, group, key) : 0;
}

int QuadenPISSKVPStore::changeString(const char* group, const char* key, const char* value) {
    Vesk_MutexLocker locker(_mutex);
    _changed = true;
    return _entries.ChangeString(group, key, value);
}

int QuadenPISSKVPStore::changeInt(const char* group, const char* key, int value) {
    Vesk_MutexLocker locker(_mutex);
    _changed = true;
    return _entries.ChangeInt(group, key, value);
}

uint32_t QuadenPISSKVPStore::NumberOfKeyValuePairsInList() {
    Vesk_MutexLocker locker(_mutex);
    return _entries.Count();
}

int QuadenPISSKVPStore::PrepareKeyValuePairList() {
    Vesk_MutexLocker locker(_mutex);
    return _entries.Prepare();
}

tConfigKVPEntry* QuadenPISSKVPStore::GetNextKeyValuePairInList() {
    Vesk_MutexLocker locker(_mutex);
    return static_cast<tConfigKVPEntry*>(_entries.Next());
}
