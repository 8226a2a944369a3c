#include "Quaden_PISSKVPList.h"

#include <cstdlib>
#include <cstring>

tConfigKVPEntry* PISSNewKVPEntry(const char* group, const char* key, int type,
                                 const char* stringValue, int intValue) {
    auto* entry = static_cast<tConfigKVPEntry*>(calloc(1, sizeof(tConfigKVPEntry)));
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
        PISSFreeKVPEntry(entry);
        return nullptr;
    }
    return entry;
}

void PISSFreeKVPEntry(tConfigKVPEntry* entry) {
    if (entry == nullptr) {
        return;
    }
    free(entry->_group);
    free(entry->_key);
    free(entry->_stringValue);
    free(entry);
}

void PISSAppendKVPEntry(tConfigKVPEntry** first, tConfigKVPEntry** last, tConfigKVPEntry* entry) {
    entry->_next = nullptr;
    if (*last == nullptr) {
        *first = entry;
    } else {
        (*last)->_next = entry;
    }
    *last = entry;
}

tConfigKVPEntry* PISSFindKVPEntry(tConfigKVPEntry* first, const char* group, const char* key) {
    if (group == nullptr || key == nullptr) {
        return nullptr;
    }
    for (tConfigKVPEntry* entry = first; entry != nullptr; entry = entry->_next) {
        if (strcmp(entry->_key, key) == 0 && strcmp(entry->_group, group) == 0) {
            return entry;
        }
    }
    return nullptr;
}

int PISSReplaceKVPString(tConfigKVPEntry* entry, const char* value) {
    char* copy = nullptr;
    if (value != nullptr && (copy = strdup(value)) == nullptr) {
        return 0;
    }
    free(entry->_stringValue);
    entry->_stringValue = copy;
    return 1;
}

int PISSWriteKVPEntry(FILE* file, const tConfigKVPEntry* entry) {
    switch (entry->_type) {
        case kPISSStringEntry:
            fprintf(file, "%s string\t%s %s\n", entry->_group, entry->_key,
                    entry->_stringValue != nullptr ? entry->_stringValue : "");
            return 1;
        case kPISSIntEntry:
            fprintf(file, "%s int\t%s %d\n", entry->_group, entry->_key, entry->_intValue);
            return 1;
        default:
            return 0;
    }
}
