// QuadenPISSConfig: the product's machine-wide settings, "Config.txt" in the product folder
// (below the machine root), held as a list of typed key/value entries in file order.
//
// Lifecycle: construct (loads the whole file), StartTransaction, change in memory, Commit
// (rewrites the whole file), destroy. Several objects may exist over one file; they see each
// other's changes after a Commit and a new load (or a StartTransaction). Transactions, other
// writers and threads: see QuadenPISSKVPStore.
//
// Loading: each line is "group type<TAB>key value". The first line without any token ends the
// load (later lines are dropped at the next Commit). A type word other than "string" or "int"
// stops the load with a warning and leaves the store invalid, holding the entries before it; so
// does a "string" or "int" line without a key, which could not be written back. A missing file
// logs a warning, leaves this store invalid and empty and creates the file with the defaults
// (initializePISSConfig): only stores built afterwards (or a StartTransaction of this one) see
// them, which is how the product's first run has always behaved. A file that is not a regular
// file or is larger than kPISSSettingsFileMaxBytes is refused: the store is invalid.
//
// An invalid store never commits: its list is what could be read before a fault (or nothing), and
// writing it would cut off the rest of the file or replace the defaults.
//
// Decisions where the product's behaviour was never pinned down:
// - A lookup does not look at the type. The string GetItem on an entry without a string value
//   (an int entry, or a string entry whose line had no value) reports the match with 1 and sets
//   *out to null: callers that need text use the accessor of the entry's own type and check for
//   null. The int GetItem on a string entry reports the match with its int value, 0.
// - An int line without a value is read as 0 (the line is kept, not refused).
//
// Ownership: strings handed out by GetItem are malloc'ed copies the caller frees with free().
// Failures are logged through the product log at the levels the product has always used (see
// the .cpp) and reported as 0; nothing throws.
#ifndef QUADEN_PISSCONFIG_H
#define QUADEN_PISSCONFIG_H

#include "Quaden_PISSKVPStore.h"

class QuadenPISSConfig final : public QuadenPISSKVPStore {
  public:
    QuadenPISSConfig();
    ~QuadenPISSConfig() = default;

    // Non-zero when the file was loaded without fault.
    int IsValid() const { return _valid; }

    // Makes sure "Config.txt" exists and holds every default setting, appending the missing ones
    // in their fixed order after the lines already there, inside a transaction; present values
    // are kept. A file that is there but invalid or unreadable is left untouched.
    static void initializePISSConfig();

    // Rewrites the whole file from the list and ends the transaction: 1, or 0 when the store is
    // invalid, the file was changed by another writer since it was read, it cannot be written, or
    // an entry has a type other than string or int (the file is then left as it was).
    int Commit();

    // Appends an entry (copies of the strings; a null string value stays null). No check for an
    // existing entry: a duplicate is written twice and lookups find the first. 0 for a null group
    // or key or when memory runs out.
    int Add(const char* group, const char* key, const char* value);
    int Add(const char* group, const char* key, int value);

    // First entry whose key and group match: *out becomes a malloc'ed copy of its string value
    // (null when it has none) and the result is 1. No match: *out is null, result 0.
    int GetItem(char** out, const char* group, const char* key) {
        return getString(out, group, key);
    }
    // First match: *out is its int value, result 1. No match: *out is 0, result 0.
    int GetItem(int* out, const char* group, const char* key) { return getInt(out, group, key); }
    // Replaces the value of the first match (a string with a copy, null leaving none): 1; 0 when
    // nothing matches or memory runs out.
    int ChangeItem(const char* group, const char* key, const char* value) {
        return changeString(group, key, value);
    }
    int ChangeItem(const char* group, const char* key, int value) {
        return changeInt(group, key, value);
    }

    // The full path of "Config.txt" itself (not of its folder), owned by the store; null when the
    // machine root makes it too long to use.
    const char* getRootPathToProjectConfigFile() const { return _file.Path(); }

  private:
    // The store built by initializePISSConfig must not start it again when its file is
    // unreadable: initializeWhenMissing is false there.
    explicit QuadenPISSConfig(bool initializeWhenMissing);
    void load(bool initializeWhenMissing);
    void reload() override { load(false); }
    int add(const char* group, const char* key, int type, const char* value, int intValue);

    int _valid;
};

#endif
