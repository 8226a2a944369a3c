// QuadenPISSConfig: the product's machine-wide settings, "Config.txt" in the product folder
// (below the machine root), held as a list of typed key/value entries in file order.
//
// Lifecycle: construct (loads the whole file), change in memory, Commit (rewrites the whole file),
// destroy. Several objects may exist over one file; they see each other's changes only after a
// Commit and a new construction. Nothing locks the file between processes.
//
// Loading: each line is "group type<TAB>key value". The first line without any token ends the
// load (later lines are dropped at the next Commit). A type word other than "string" or "int"
// stops the load with a warning and leaves the store invalid, holding the entries before it; so
// does a "string" or "int" line without a key, which could not be written back. A missing file
// logs a warning, leaves this store invalid and empty and creates the file with the defaults
// (initializePISSConfig): only stores built afterwards see them, which is how the product's first
// run has always behaved.
//
// Decisions where the product's behaviour was never pinned down:
// - A lookup does not look at the type. The string GetItem on an entry without a string value
//   (an int entry, or a string entry whose line had no value) reports the match with 1 and sets
//   *out to null: callers that need text use the accessor of the entry's own type and check for
//   null. The int GetItem on a string entry reports the match with its int value, 0.
// - An int line without a value is read as 0 (the line is kept, not refused).
//
// Ownership: strings handed out by GetItem are malloc'ed copies the caller frees with free().
// Entries handed out by GetNextKeyValuePairInList stay owned by the store and must not be used
// after the store changes or is destroyed.
//
// Threads: every operation that reads or changes the list (Add, GetItem, ChangeItem, the count,
// the iteration, Commit, the destructor) holds the store's own Vesk_Mutex for its whole run, so one
// store may be shared between threads. The iteration cursor is shared by all of them.
//
// Failures are logged through the product log at the levels the product has always used (see
// the .cpp) and reported as 0; nothing throws.
#ifndef QUADEN_PISSCONFIG_H
#define QUADEN_PISSCONFIG_H

#include <cstdint>

#include "Quaden_PISSKVPList.h"

class Vesk_Mutex;

class QuadenPISSConfig {
  public:
    QuadenPISSConfig();
    ~QuadenPISSConfig();
    QuadenPISSConfig(const QuadenPISSConfig&) = delete;
    QuadenPISSConfig& operator=(const QuadenPISSConfig&) = delete;

    // Non-zero when the file was loaded without fault.
    int IsValid() const { return _valid; }

    // Makes sure "Config.txt" exists and holds every default setting, appending the missing ones
    // in their fixed order after the lines already there; present values are kept. An invalid
    // file is left untouched. A file that exists but cannot be read is never truncated.
    static void initializePISSConfig();

    // Changes are held in memory until Commit; returns 1.
    int StartTransaction() { return 1; }
    // Rewrites the whole file from the list: 1, or 0 when it cannot be opened or written or an
    // entry has a type other than string or int (the file then holds the lines before it).
    int Commit();

    // Appends an entry (copies of the strings; a null string value stays null). No check for an
    // existing entry: a duplicate is written twice and lookups find the first. 0 for a null group
    // or key or when memory runs out.
    int Add(const char* group, const char* key, const char* value);
    int Add(const char* group, const char* key, int value);

    // First entry whose key and group match: *out becomes a malloc'ed copy of its string value
    // (null when it has none) and the result is 1. No match: *out is null, result 0.
    int GetItem(char** out, const char* group, const char* key);
    // First match: *out is its int value, result 1. No match: *out is 0, result 0.
    int GetItem(int* out, const char* group, const char* key);
    // Replaces the string value of the first match with a copy (null leaves none): 1; 0 when
    // nothing matches or memory runs out.
    int ChangeItem(const char* group, const char* key, const char* value);
    int ChangeItem(const char* group, const char* key, int value);

    uint32_t NumberOfKeyValuePairsInList();
    // Puts the cursor on the first entry: 1 when the list is not empty, else 0.
    int PrepareKeyValuePairList();
    // The entry at the cursor, which moves on; null at the end.
    tConfigKVPEntry* GetNextKeyValuePairInList();

    // The full path of "Config.txt" itself (not of its folder), owned by the store.
    const char* getRootPathToProjectConfigFile() const { return _path; }

  private:
    // The store built by initializePISSConfig must not start it again when its file is
    // unreadable: initializeWhenMissing is false there.
    explicit QuadenPISSConfig(bool initializeWhenMissing);
    void load(bool initializeWhenMissing);
    int append(const char* group, const char* key, int type, const char* value, int intValue);

    int _valid;
    tConfigKVPEntry* _first;
    tConfigKVPEntry* _last;
    tConfigKVPEntry* _cursor;
    uint32_t _count;
    char* _path;
    Vesk_Mutex* _mutex;
};

#endif
