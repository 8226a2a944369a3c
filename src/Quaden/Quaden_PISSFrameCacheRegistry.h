// QuadenPISSFrameCacheRegistry: the machine-wide registry of facts about each project's frame
// cache, chiefly "PathToCache" (the cache's folder), in "FrameCache.cpr" in the product folder
// (below the machine root).
//
// Every entry is a string. One line per entry, "<name hash> string<TAB>key value", with no
// version line; the group is the MD5 name hash of the project name, so Add, GetItem, ChangeItem
// and DeleteItem take the plain project name and AddWithoutHashing (the loader's) takes the hash.
//
// Lifecycle: construct (loads the file; a missing file is an empty registry), StartTransaction,
// change in memory, Commit (rewrites the whole file), destroy. The first line without any token
// ends the load; lines without key or value are skipped with a warning; a type word other than
// "string" ends the load with a warning, keeping the entries before it. A file that is not a
// regular file, or is larger than kPISSSettingsFileMaxBytes, is refused with a warning and never
// written over. Every message of the registry spells "Persisent" so, as the product always has;
// log readers match on it.
//
// Transactions and other writers: as QuadenPISSKVPStore says: StartTransaction takes
// the file's lock (".FrameCache.cpr.lock" beside it) and loads the file afresh when another writer
// committed since; Commit writes by temporary file and rename and lets go; a Commit that would
// overwrite another writer's entries is refused.
//
// Ownership: GetItem's strings are malloc'ed copies the caller frees with free(); entries handed
// out by GetNextKeyValuePairInList stay owned by the registry.
//
// Threads: the registry has no mutex; one object belongs to one thread.
//
// Failures are logged through the product log and reported as 0; nothing throws.
#ifndef QUADEN_PISSFRAMECACHEREGISTRY_H
#define QUADEN_PISSFRAMECACHEREGISTRY_H

#include <cstddef>
#include <cstdint>

#include "Quaden_PISSEntryList.h"
#include "Quaden_PISSStoreFile.h"

// One registry entry, owned by the registry. _type is always 0 (string).
struct tFrameCacheRegistryKVPEntry {
    char* _group;
    int _type;
    char* _key;
    char* _value;
    tFrameCacheRegistryKVPEntry* _next;
};

inline const sPISSEntryLayout kPISSFrameCacheRegistryEntryLayout = PISSKeyValueLayout(
    sizeof(tFrameCacheRegistryKVPEntry), offsetof(tFrameCacheRegistryKVPEntry, _next),
    offsetof(tFrameCacheRegistryKVPEntry, _group), offsetof(tFrameCacheRegistryKVPEntry, _key),
    offsetof(tFrameCacheRegistryKVPEntry, _value), offsetof(tFrameCacheRegistryKVPEntry, _type),
    kPISSNoField);

class QuadenPISSFrameCacheRegistry {
  public:
    QuadenPISSFrameCacheRegistry();
    QuadenPISSFrameCacheRegistry(const QuadenPISSFrameCacheRegistry&) = delete;
    QuadenPISSFrameCacheRegistry& operator=(const QuadenPISSFrameCacheRegistry&) = delete;

    // Takes the file's lock and loads it afresh when another writer committed since: 1, or 0 with
    // a warning (the lock cannot be had, or the registry and the file both changed).
    int StartTransaction();
    // Rewrites the file from the list and ends the transaction: 1, or 0 when the file was changed
    // by another writer since it was read, cannot be written, or an entry is not a string (the
    // file is then left as it was).
    int Commit();

    // Appends an entry under the name hash of projectName; no check for an existing one. 0 for a
    // null argument or when memory runs out.
    int Add(const char* projectName, const char* key, const char* value);
    // Appends an entry with group as given. 0 and an error for a null argument.
    int AddWithoutHashing(const char* group, const char* key, const char* value);
    // First entry with that key and the project's hash: *out is a malloc'ed copy of its value and
    // the result 1; else *out is null and the result 0.
    int GetItem(char** out, const char* projectName, const char* key);
    // Replaces the value of the first match with a copy of value (required: null gives 0).
    int ChangeItem(const char* projectName, const char* key, const char* value);
    // Removes every entry of the project, whatever its key: 1 when at least one went, else 0.
    int DeleteItem(const char* projectName);

    uint32_t NumberOfKeyValuePairsInList() const { return _entries.Count(); }
    int PrepareKeyValuePairList() { return _entries.Prepare(); }
    tFrameCacheRegistryKVPEntry* GetNextKeyValuePairInList() {
        return static_cast<tFrameCacheRegistryKVPEntry*>(_entries.Next());
    }

    // The full path of "FrameCache.cpr", owned by the registry; null when the machine root makes
    // it too long to use.
    const char* getPathToRegistryFile() const { return _file.Path(); }

  private:
    void load();
    int append(const char* group, const char* key, const char* value, const char* mallocMessage);
    tFrameCacheRegistryKVPEntry* find(const char* projectName, const char* key) const;

    QuadenPISSEntryList _entries;
    QuadenPISSStoreFile _file;
    bool _changed;  // the list was changed since it was loaded
};

#endif
