// The typed key/value entry of a render queue item and of its output modules. Queue files hold
// one entry per line, indented by tabs: "<tabs>group string<TAB>key value" or "<tabs>group
// int<TAB>key number". Entries live in a QuadenPISSEntryList described by
// kPISSRenderQueueEntryLayout.
#ifndef QUADEN_PISSRENDERQUEUEKVPENTRY_H
#define QUADEN_PISSRENDERQUEUEKVPENTRY_H

#include <cstddef>

#include "Quaden_PISSEntryList.h"

// One entry of a singly linked list in file order, owned by its item or module, strings included.
// _type is 0 (string: _stringValue, which may be null when the line had no value) or 1 (int:
// _intValue).
struct sRenderQueueItemKVPEntry {
    char* _group;
    int _type;
    char* _key;
    char* _stringValue;
    int _intValue;
    sRenderQueueItemKVPEntry* _next;
};

inline const sPISSEntryLayout kPISSRenderQueueEntryLayout = PISSKeyValueLayout(
    sizeof(sRenderQueueItemKVPEntry), offsetof(sRenderQueueItemKVPEntry, _next),
    offsetof(sRenderQueueItemKVPEntry, _group), offsetof(sRenderQueueItemKVPEntry, _key),
    offsetof(sRenderQueueItemKVPEntry, _stringValue), offsetof(sRenderQueueItemKVPEntry, _type),
    offsetof(sRenderQueueItemKVPEntry, _intValue));

#endif
