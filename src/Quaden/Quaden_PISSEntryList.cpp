#include "Quaden_PISSEntryList.h"

#include <cstdlib>
#include <cstring>

#include "Quaden_PISSUtilities.h"

namespace {

// The field of record at offset, in the type the layout gives it.
char** textAt(const void* record, size_t offset) {
    return reinterpret_cast<char**>(static_cast<char*>(const_cast<void*>(record)) + offset);
}

int* numberAt(const void* record, size_t offset) {
    return reinterpret_cast<int*>(static_cast<char*>(const_cast<void*>(record)) + offset);
}

}  // namespace

void** QuadenPISSEntryList::link(const void* record) const {
    return reinterpret_cast<void**>(static_cast<char*>(const_cast<void*>(record)) + _layout->_next);
}

void QuadenPISSEntryList::destroy(void* record) const {
    if (_layout->_destroy != nullptr) {
        _layout->_destroy(record);
        return;
    }
    free(*textAt(record, _layout->_group));
    free(*textAt(record, _layout->_key));
    free(*textAt(record, _layout->_string));
    free(record);
}

void QuadenPISSEntryList::Clear() {
    while (_first != nullptr) {
        Remove(_first, nullptr);
    }
}

int QuadenPISSEntryList::Append(const char* group, const char* key, int type, const char* string,
                                int number) {
    void* record = group != nullptr && key != nullptr ? calloc(1, _layout->_size) : nullptr;
    if (record == nullptr) {
        return 0;
    }
    *numberAt(record, _layout->_type) = type;
    if (_layout->_int != kPISSNoField) {
        *numberAt(record, _layout->_int) = number;
    }
    if (!PISSReplaceString(textAt(record, _layout->_group), group) ||
        !PISSReplaceString(textAt(record, _layout->_key), key) ||
        !PISSReplaceString(textAt(record, _layout->_string), string)) {
        destroy(record);
        return 0;
    }
    return AppendRecord(record);
}

int QuadenPISSEntryList::AppendRecord(void* record) {
    if (record == nullptr) {
        return 0;
    }
    InsertAfter(record, _last);
    return 1;
}

void* QuadenPISSEntryList::Find(const char* group, const char* key) const {
    void* record = group != nullptr && key != nullptr ? _first : nullptr;
    while (record != nullptr && (strcmp(*textAt(record, _layout->_key), key) != 0 ||
                                 strcmp(*textAt(record, _layout->_group), group) != 0)) {
        record = NextOf(record);
    }
    return record;
}

int QuadenPISSEntryList::GetString(char** out, const char* group, const char* key) const {
    const void* record = Find(group, key);
    const char* value = record != nullptr ? *textAt(record, _layout->_string) : nullptr;
    *out = value != nullptr ? strdup(value) : nullptr;
    return record != nullptr ? 1 : 0;
}

int QuadenPISSEntryList::GetInt(int* out, const char* group, const char* key) const {
    const void* record = Find(group, key);
    *out = record != nullptr ? *numberAt(record, _layout->_int) : 0;
    return record != nullptr ? 1 : 0;
}

int QuadenPISSEntryList::ChangeString(const char* group, const char* key, const char* value) {
    void* record = Find(group, key);
    return record != nullptr ? PISSReplaceString(textAt(record, _layout->_string), value) : 0;
}

int QuadenPISSEntryList::ChangeInt(const char* group, const char* key, int value) {
    void* record = Find(group, key);
    if (record != nullptr) {
        *numberAt(record, _layout->_int) = value;
    }
    return record != nullptr ? 1 : 0;
}

int QuadenPISSEntryList::RemoveGroup(const char* group) {
    int removed = 0;
    void* previous = nullptr;
    for (void* record = _first; record != nullptr;) {
        void* next = NextOf(record);
        if (strcmp(*textAt(record, _layout->_group), group) == 0) {
            Remove(record, previous);
            ++removed;
        } else {
            previous = record;
        }
        record = next;
    }
    return removed;
}

size_t QuadenPISSEntryList::LongestLine(const char* indent) const {
    size_t longest = 0;
    for (const void* record = _first; record != nullptr; record = NextOf(record)) {
        const char* string = *textAt(record, _layout->_string);
        bool isInt = *numberAt(record, _layout->_type) == kPISSIntEntry;
        char number[16] = "";
        if (isInt && _layout->_int != kPISSNoField) {
            snprintf(number, sizeof number, "%d", *numberAt(record, _layout->_int));
        }
        size_t length = strlen(indent) + strlen(*textAt(record, _layout->_group)) +
                        strlen(isInt ? " int\t" : " string\t") +
                        strlen(*textAt(record, _layout->_key)) + 1 +
                        strlen(isInt               ? number
                               : string != nullptr ? string
                                                   : "");
        longest = length > longest ? length : longest;
    }
    return longest;
}

int QuadenPISSEntryList::WriteTo(FILE* file, const char* indent) const {
    for (const void* record = _first; record != nullptr; record = NextOf(record)) {
        const char* group = *textAt(record, _layout->_group);
        const char* key = *textAt(record, _layout->_key);
        const char* string = *textAt(record, _layout->_string);
        int type = *numberAt(record, _layout->_type);
        if (type == kPISSStringEntry) {
            fprintf(file, "%s%s string\t%s %s\n", indent, group, key,
                    string != nullptr ? string : "");
        } else if (type == kPISSIntEntry && _layout->_int != kPISSNoField) {
            fprintf(file, "%s%s int\t%s %d\n", indent, group, key,
                    *numberAt(record, _layout->_int));
        } else {
            return 0;
        }
    }
    return 1;
}

void* QuadenPISSEntryList::NextOf(const void* record) const {
    return *link(record);
}

void QuadenPISSEntryList::Unlink(void* record, void* previous) {
    void* next = NextOf(record);
    *(previous != nullptr ? link(previous) : &_first) = next;
    if (_last == record) {
        _last = previous;
    }
    if (_cursor == record) {
        _cursor = next;
    }
    *link(record) = nullptr;
    --_count;
}

void QuadenPISSEntryList::InsertAfter(void* record, void* previous) {
    void** slot = previous != nullptr ? link(previous) : &_first;
    *link(record) = *slot;
    *slot = record;
    if (previous == _last) {
        _last = record;
    }
    ++_count;
}

void QuadenPISSEntryList::Remove(void* record, void* previous) {
    Unlink(record, previous);
    destroy(record);
}

int QuadenPISSEntryList::Prepare() {
    _cursor = _first;
    return _first != nullptr ? 1 : 0;
}

void* QuadenPISSEntryList::Next() {
    void* record = _cursor;
    _cursor = record != nullptr ? NextOf(record) : nullptr;
    return record;
}
