// QuadenPISSFrameCacheRegistry: the machine-wide registry of facts about each project's frame
// cache, chiefly "PathToCache" (the cache's folder), in "FrameCache.cpr" in the product folder
// (below the machine root).
//
// Every entry is a string. One line per entry, "<name hash> string<TAB>key value", with no
// version line; the group is the MD5 name hash of the project name, so Add, GetItem, ChangeItem
// and DeleteItem take the plain project name and AddWithoutHashing (the loader's) takes the hash.
//
// Lifecycle: construct (loads the file; a missing file is an empty registry), change in memory,
// Commit (rewrites the whole file), destroy. The first line without any token ends the load;
// lines without key or value are skipped with a warning; a type word other than "string" ends
// the load with a warning, keeping the entries before it. Every message of the registry spells
// "Persisent" so, as the product always has; log readers match on it.
//
// Ownership: GetItem's strings are malloc'ed copies the caller frees with free(); entries handed
// out by GetNextKeyValuePairInList stay owned by the registry.
//
// Threads: the registry has no mutex; one object belongs to one thread. Nothing locks the file
// between processes: the last Commit wins.
//
// Failures are logged through the product log and reported as 0; nothing throws.
#ifndef QUADEN_PISSFRAMECACHEREGISTRY_H
#define QUADEN_PISSFRAMECACHEREGISTRY_H

#include <cstdint>
#include <cstdio>

// One registry entry, owned by the registry. _type is always 0 (string).
struct tFrameCacheRegistryKVPEntry {
    char* _group;
    int _type;
    char* _key;
    char* _value;
    tFrameCacheRegistryKVPEntry* _next;
};

class QuadenPISSFrameCacheRegistry {
  public:
    QuadenPISSFrameCacheRegistry();
    ~QuadenPISSFrameCacheRegistry();
    QuadenPISSFrameCacheRegistry(const QuadenPISSFrameCacheRegistry&) = delete;
    QuadenPISSFrameCacheRegistry& operator=(const QuadenPISSFrameCacheRegistry&) = delete;

    int StartTransaction() { return 1; }
    // Rewrites the file from the list: 1, or 0 when it cannot be opened or written or an entry is
    // not a string (the lines before it stay written).
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

    uint32_t NumberOfKeyValuePairsInList() const { return _count; }
    int PrepareKeyValuePairList();
    tFrameCacheRegistryKVPEntry* GetNextKeyValuePairInList();

    // The full path of "FrameCache.cpr", owned by the registry.
    const char* getPathToRegistryFile() const { return _path; }

  private:
    void load();
    int append(const char* group, const char* key, const char* value, const char* mallocMessage);
    tFrameCacheRegistryKVPEntry* find(const char* projectName, const char* key);

    tFrameCacheRegistryKVPEntry* _first;
    tFrameCacheRegistryKVPEntry* _last;
    tFrameCacheRegistryKVPEntry* _cursor;
    uint32_t _count;
    FILE* _file;  // open only while reading or writing
    char* _path;
};

#endif
