// QuadenPISSKVPStore: what the global settings store (QuadenPISSConfig) and the per-project
// settings file (QuadenPISSPerProjectConfig) share: their entries (tConfigKVPEntry, in file
// order), the file under them (QuadenPISSStoreFile: bounded reading, the transaction lock, whole
// commits by temporary file and rename) and the store's Vesk_Mutex.
//
// Transactions: StartTransaction takes the file's lock and, when another writer committed since
// this store read the file and the store holds no changes of its own yet, loads it afresh; the
// store's Commit writes under the lock (taken for the write when no transaction holds it) and lets
// go. A load, change and commit inside one transaction therefore never loses another writer's
// keys. A Commit that would overwrite what someone else committed since this store read the file
// (changes made before StartTransaction, or no transaction at all) is refused with a warning, as
// is a StartTransaction that finds both the store and the file changed. One thread must not hold
// two transactions on one file.
//
// Threads: the public operations here and in the stores hold the store's mutex for their whole
// run, so one store may be shared between threads; the iteration cursor is shared by all of them.
// Entries handed out by GetNextKeyValuePairInList stay owned by the store and must not be used
// after it changes (a StartTransaction that loads afresh counts) or is destroyed.
#ifndef QUADEN_PISSKVPSTORE_H
#define QUADEN_PISSKVPSTORE_H

#include <cstdint>

#include "Quaden_PISSEntryList.h"
#include "Quaden_PISSKVPEntry.h"
#include "Quaden_PISSStoreFile.h"

class Vesk_Mutex;

class QuadenPISSKVPStore {
  public:
    QuadenPISSKVPStore(const QuadenPISSKVPStore&) = delete;
    QuadenPISSKVPStore& operator=(const QuadenPISSKVPStore&) = delete;

    // Takes the file's lock and loads it afresh when another writer committed since: 1, or 0
    // with a warning (no file, the lock cannot be had within 10 s, or both changed).
    int StartTransaction();

    uint32_t NumberOfKeyValuePairsInList();
    // Puts the cursor on the first entry: 1 when the list is not empty, else 0.
    int PrepareKeyValuePairList();
    // The entry at the cursor, which moves on; null at the end.
    tConfigKVPEntry* GetNextKeyValuePairInList();

  protected:
    // label begins the store's warnings; cannotWrite is its commit's message for a file it cannot
    // write (a format taking the path). Both are constants.
    QuadenPISSKVPStore(const char* label, const char* cannotWrite);
    ~QuadenPISSKVPStore();

    // Loads the file afresh for StartTransaction; called with the mutex held.
    virtual void reload() = 0;

    // These take the mutex. A null group matches nothing (see QuadenPISSEntryList).
    int getString(char** out, const char* group, const char* key);
    int getInt(int* out, const char* group, const char* key);
    int changeString(const char* group, const char* key, const char* value);
    int changeInt(const char* group, const char* key, int value);

    // These do not: the caller holds the mutex, or the store is not shared yet.
    // Writes header (when given) and every entry and ends the transaction.
    int commit(const char* header);
    // Appends an entry and counts it as a change; mallocMessage is logged when memory runs out.
    int append(const char* group, const char* key, int type, const char* value, int intValue,
               const char* mallocMessage);
    // Forgets the entries and that they changed, before a load.
    void clear();
    // The load is over: what it appended is no change.
    void loaded() { _changed = false; }

    QuadenPISSEntryList _entries;
    QuadenPISSStoreFile _file;
    Vesk_Mutex* _mutex;

  private:
    bool _changed;  // the list was changed since it was loaded or committed
};

#endif
