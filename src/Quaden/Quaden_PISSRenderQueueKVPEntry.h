// The typed key/value entry of a render queue item and of its output modules, with the list
// operations both build on. Queue files hold one entry per line, indented by tabs:
// "<tabs>group string<TAB>key value" or "<tabs>group int<TAB>key number".
//
// The functions take no lock: a render queue store and its items belong to one thread at a time.
// Memory is malloc'ed; strings handed to callers are released with free().
#ifndef QUADEN_PISSRENDERQUEUEKVPENTRY_H
#define QUADEN_PISSRENDERQUEUEKVPENTRY_H

#include <cstdio>

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

// A new entry holding copies of group, key and stringValue (a null stringValue stays null).
// Null for a null group or key, or when memory runs out.
sRenderQueueItemKVPEntry* PISSNewRenderQueueEntry(const char* group, const char* key, int type,
                                                  const char* stringValue, int intValue);

// Frees the entry and every entry after it, strings included. Null is ignored.
void PISSFreeRenderQueueEntries(sRenderQueueItemKVPEntry* first);

// Appends entry at the end of first..last.
void PISSAppendRenderQueueEntry(sRenderQueueItemKVPEntry** first, sRenderQueueItemKVPEntry** last,
                                sRenderQueueItemKVPEntry* entry);

// The first entry whose key and then group equal the arguments exactly; null when none does or an
// argument is null. The type is not looked at.
sRenderQueueItemKVPEntry* PISSFindRenderQueueEntry(sRenderQueueItemKVPEntry* first,
                                                   const char* group, const char* key);

// Replaces the string value with a copy of value (null leaves none): 1, or 0 when memory runs out
// (the old value is then kept).
int PISSReplaceRenderQueueString(sRenderQueueItemKVPEntry* entry, const char* value);

// Writes the entry's line after indent ("\t" for an item, "\t\t\t" for a module); a missing
// string value is written empty, which reads back as a string entry without value.
void PISSWriteRenderQueueEntry(FILE* file, const char* indent,
                               const sRenderQueueItemKVPEntry* entry);

#endif
