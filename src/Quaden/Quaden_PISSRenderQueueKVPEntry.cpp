#include "Quaden_PISSRenderQueueKVPEntry.h"

#include <cstdlib>
#include <cstring>

sRenderQueueItemKVPEntry* PISSNewRenderQueueEntry(const char* group, const char* key, int type,
                                                  const char* stringValue, int intValue) {
    if (group == nullptr || key == nullptr) {
        return nullptr;
    }
    auto* entry =
        static_cast<sRenderQueueItemKVPEntry*>(calloc(1, sizeof(sRenderQueueItemKVPEntry)));
    if (entry == nullptr) {
        return nullptr;
    }
    entry->_group = strdup(group);
    entry->_key = strdup(key);
    entry->_stringValue = stringValue != nullptr ? strdup(stringValue) : nullptr;
    entry->_type = type;
    entry->_intValue = intValue;
    if (entry->_group == nullptr || entry->_key == nullptr ||
        (stringValue != nullptr && entry->_stringValue == nullptr)) {
        PISSFreeRenderQueueEntries(entry);
        return nullptr;
    }
    return entry;
}

void PISSFreeRenderQueueEntries(sRenderQueueItemKVPEntry* first) {
    while (first != nullptr) {
        sRenderQueueItemKVPEntry* next = first->_next;
        free(first->_group);
        free(first->_key);
        free(first->_stringValue);
        free(first);
        first = next;
    }
}

void PISSAppendRenderQueueEntry(sRenderQueueItemKVPEntry** first, sRenderQueueItemKVPEntry** last,
                                sRenderQueueItemKVPEntry* entry) {
    entry->_next = nullptr;
    if (*last == nullptr) {
        *first = entry;
    } else {
        (*last)->_next = entry;
    }
    *last = entry;
}

sRenderQueueItemKVPEntry* PISSFindRenderQueueEntry(sRenderQueueItemKVPEntry* first,
                                                   const char* group, const char* key) {
    if (group == nullptr || key == nullptr) {
        return nullptr;
    }
    for (sRenderQueueItemKVPEntry* entry = first; entry != nullptr; entry = entry->_next) {
        if (strcmp(entry->_key, key) == 0 && strcmp(entry->_group, group) == 0) {
            return entry;
        }
    }
    return nullptr;
}

int PISSReplaceRenderQueueString(sRenderQueueItemKVPEntry* entry, const char* value) {
    char* copy = nullptr;
    if (value != nullptr && (copy = strdup(value)) == nullptr) {
        return 0;
    }
    free(entry->_stringValue);
    entry->_stringValue = copy;
    return 1;
}

void PISSWriteRenderQueueEntry(FILE* file, const char* indent,
                               const sRenderQueueItemKVPEntry* entry) {
    if (entry->_type == 0) {
        fprintf(file, "%s%s string\t%s %s\n", indent, entry->_group, entry->_key,
                entry->_stringValue != nullptr ? entry->_stringValue : "");
    } else {
        fprintf(file, "%s%s int\t%s %d\n", indent, entry->_group, entry->_key, entry->_intValue);
    }
}
