// The typed key/value entry shared by the global settings store and the per-project settings
// file, and the list operations both stores build on. Store files hold one entry per line:
// "group string<TAB>key value" or "group int<TAB>key value".
//
// The functions here take no lock: each store holds its own mutex around them. Memory is
// malloc'ed, so strings handed to callers are released with free().
#ifndef QUADEN_PISSKVPLIST_H
#define QUADEN_PISSKVPLIST_H

#include <cstdio>

// Entry types as stored in tConfigKVPEntry::_type.
enum { kPISSStringEntry = 0, kPISSIntEntry = 1 };

// One entry of a singly linked list in file order. Owned by its store, strings included.
struct tConfigKVPEntry {
    char* _group;
    char* _key;
    char* _stringValue;  // null for an int entry and for a string entry without value
    tConfigKVPEntry* _next;
    int _type;      // kPISSStringEntry or kPISSIntEntry
    int _intValue;  // 0 for a string entry
};

// A new entry holding copies of group, key and stringValue (a null stringValue stays null).
// Null when memory runs out.
tConfigKVPEntry* PISSNewKVPEntry(const char* group, const char* key, int type,
                                 const char* stringValue, int intValue);

// Frees the entry and its strings (not the entries after it).
void PISSFreeKVPEntry(tConfigKVPEntry* entry);

// Appends entry at the end of the list first..last.
void PISSAppendKVPEntry(tConfigKVPEntry** first, tConfigKVPEntry** last, tConfigKVPEntry* entry);

// The first entry whose key and then group equal the arguments exactly; null when none does or
// an argument is null. The type is not looked at.
tConfigKVPEntry* PISSFindKVPEntry(tConfigKVPEntry* first, const char* group, const char* key);

// Replaces the entry's string value with a copy of value (null leaves none). 0 when memory runs
// out; the old value is then kept.
int PISSReplaceKVPString(tConfigKVPEntry* entry, const char* value);

// Writes the entry's line in the format of its type; a string entry without value is written
// with an empty value, which reads back as a string entry without value. 0 (nothing written)
// for an entry of any other type.
int PISSWriteKVPEntry(FILE* file, const tConfigKVPEntry* entry);

#endif
