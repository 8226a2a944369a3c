// QuadenPISSPerProjectConfig: the settings the product keeps per project and per composition,
// in the hidden file ".CorvixPro2ProjectConfig.cpr" in the project's folder.
//
// The file starts with the line "cpr-version:1"; every other line is an entry in the global
// store's format, "group type<TAB>key value", whose group is the name hash (MD5, 32 lower-case
// hexadecimal digits) of the project or composition name. Add, GetItem and ChangeItem take the
// plain name and hash it; AddWithoutHashing takes a group that already is a hash (the loader uses
// it), which is why an entry loaded from the file is found again by its plain name.
//
// Lifecycle: construct (loads the file when it exists; a missing file is an empty store that
// Commit creates), StartTransaction, change in memory, Commit (rewrites the whole file), destroy.
// A file without the version prefix or with a version below 1 loads as an empty store that the
// next Commit replaces. Lines without key or value are skipped with a warning; a type word other
// than "string" or "int" ends the load with a warning, keeping what was read. An int value is read
// as atoi would (clamped to the int range). A file that is not a regular file, or is larger than
// kPISSSettingsFileMaxBytes, is refused with a warning and never written over.
//
// Transactions, other writers and threads: see QuadenPISSKVPStore; the file's lock is the hidden
// "..CorvixPro2ProjectConfig.cpr.lock" beside it. AddWithoutHashing does not take the mutex: it
// is meant for loading, before the store is shared.
//
// Ownership: GetItem's strings are malloc'ed copies the caller frees with free().
//
// Failures are logged through the product log and reported as 0; nothing throws.
#ifndef QUADEN_PISSPERPROJECTCONFIG_H
#define QUADEN_PISSPERPROJECTCONFIG_H

#include "Quaden_PISSKVPStore.h"

class QuadenPISSPerProjectConfig final : public QuadenPISSKVPStore {
  public:
    // pathToProject is the project's folder, with or without a final "/". Null or empty: a
    // warning and an empty store; a null path cannot Commit, nor can a folder whose settings file
    // path would be longer than 1023 bytes (an error in the log names it).
    explicit QuadenPISSPerProjectConfig(const char* pathToProject);
    ~QuadenPISSPerProjectConfig();

    // Writes the version line and every entry and ends the transaction: 1, or 0 without a file
    // path, when the file was changed by another writer since it was read, cannot be written, or
    // for an entry of an unknown type (the file is then left as it was).
    int Commit();

    // Append an entry under the name hash of projectOrCompositionName; no check for an existing
    // one. A null string value stays null and is written as an empty value (which a later load
    // skips). 0 for a null name or key, or when memory runs out.
    int Add(const char* projectOrCompositionName, const char* key, const char* value);
    int Add(const char* projectOrCompositionName, const char* key, int value);
    // Append an entry with group taken as given. Null group, key or (string) value: 0 and an
    // error.
    int AddWithoutHashing(const char* group, const char* key, const char* value);
    int AddWithoutHashing(const char* group, const char* key, int value);

    // Lookups hash the name and take the first entry whose key and group match. The string form
    // sets *out to a malloc'ed copy (null when the entry has no string value) and returns 1; the
    // int form sets its value. No match: *out null or 0, result 0.
    int GetItem(char** out, const char* projectOrCompositionName, const char* key);
    int GetItem(int* out, const char* projectOrCompositionName, const char* key);
    // Replace the value of the first match (a string with a copy; null leaves none); 0 when
    // nothing matches.
    int ChangeItem(const char* projectOrCompositionName, const char* key, const char* value);
    int ChangeItem(const char* projectOrCompositionName, const char* key, int value);

    // The full path of the settings file; null when there is none (see the constructor).
    const char* getPathToConfigFile() const { return _file.Path(); }

  private:
    void load();
    void reload() override { load(); }
    int addHashed(const char* which, const char* projectOrCompositionName, const char* key,
                  int type, const char* value, int intValue);

    char* _projectPath;
};

#endif
