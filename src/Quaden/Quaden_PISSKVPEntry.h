// The typed key/value entry of the global settings store and the per-project settings file. Store
// files hold one entry per line: "group string<TAB>key value" or "group int<TAB>key value".
// Entries live in a QuadenPISSEntryList described by kPISSConfigEntryLayout.
#ifndef QUADEN_PISSKVPENTRY_H
#define QUADEN_PISSKVPENTRY_H

#include <cstddef>

#include "Quaden_PISSEntryList.h"

// One entry of a singly linked list in file order, owned by its list, strings included.
struct tConfigKVPEntry {
    char* _group;
    char* _key;
    char* _stringValue;  // null for an int entry and for a string entry without value
    tConfigKVPEntry* _next;
    int _type;      // kPISSStringEntry or kPISSIntEntry
    int _intValue;  // 0 for a string entry
};

inline const sPISSEntryLayout kPISSConfigEntryLayout = PISSKeyValueLayout(
    sizeof(tConfigKVPEntry), offsetof(tConfigKVPEntry, _next), offsetof(tConfigKVPEntry, _group),
    offsetof(tConfigKVPEntry, _key), offsetof(tConfigKVPEntry, _stringValue),
    offsetof(tConfigKVPEntry, _type), offsetof(tConfigKVPEntry, _intValue));

#endif
