#include "Quaden_PISSFrameCacheRegistry.h"

#include <cstdlib>
#include <cstring>

#include "Quaden_PISSUtilities.h"
#include "VeskLog.h"

namespace {

const int kLineSize = 1024;

void freeEntry(tFrameCacheRegistryKVPEntry* entry) {
    free(entry->_group);
    free(entry->_key);
    free(entry->_value);
    free(entry);
}

}  // namespace

QuadenPISSFrameCacheRegistry::QuadenPISSFrameCacheRegistry()
    : _first(nullptr), _last(nullptr), _cursor(nullptr), _count(0), _file(nullptr), _path(nullptr) {
    load();
}

QuadenPISSFrameCacheRegistry::~QuadenPISSFrameCacheRegistry() {
    while (_first != nullptr) {
        tFrameCacheRegistryKVPEntry* next = _first->_next;
        freeEntry(_first);
        _first = next;
    }
    free(_path);
}

void QuadenPISSFrameCacheRegistry::load() {
    char path[kLineSize];
    assignCorvixProFrameCacheRegistryFilePath(path, kLineSize);
    _path = strdup(path);
    _file = fopen(path, "r");
    if (_file == nullptr) {
        return;
    }
    char line[kLineSize];
    while (PISSReadStoreLine(_file, line, kLineSize)) {
        sPISSStoreLine fields;
        if (!PISSSplitStoreLine(line, &fields)) {
            break;
        }
        if (fields._key == nullptr) {
            vesk_logWarning("PersisentFrameCacheRegistry: keyValue was NULL");
            continue;
        }
        if (fields._value == nullptr) {
            vesk_logWarning("PersisentFrameCacheRegistry: stringRemainder was NULL for key: %s",
                            fields._key);
            continue;
        }
        if (strcmp(fields._type, "string") != 0) {
            vesk_logWarning(
                "PersisentFrameCacheRegistry:  type not yet supported: %s for key: %s\n",
                fields._type, fields._key);
            break;
        }
        AddWithoutHashing(fields._group, fields._key, fields._value);
    }
    fclose(_file);
    _file = nullptr;
}

int QuadenPISSFrameCacheRegistry::Commit() {
    if (_path == nullptr) {
        return 0;
    }
    _file = fopen(_path, "w");
    if (_file == nullptr) {
        vesk_logWarning(
            "PersisentFrameCacheRegistry: Commit: Cannot open generic config file '%s' for "
            "writing\n",
            _path);
        return 0;
    }
    int result = 1;
    for (tFrameCacheRegistryKVPEntry* entry = _first; entry != nullptr; entry = entry->_next) {
        if (entry->_type != 0) {
            vesk_logWarning("PersisentFrameCacheRegistry: Commit: Invalid type in KVP list\n");
            result = 0;
            break;
        }
        fprintf(_file, "%s string\t%s %s\n", entry->_group, entry->_key, entry->_value);
    }
    bool failed = ferror(_file) != 0;
    if (fclose(_file) != 0 || failed) {
        vesk_logWarning("PersisentFrameCacheRegistry: Commit: Could not write '%s'\n", _path);
        result = 0;
    }
    _file = nullptr;
    return result;
}

int QuadenPISSFrameCacheRegistry::append(const char* group, const char* key, const char* value,
                                         const char* mallocMessage) {
    auto* entry =
        static_cast<tFrameCacheRegistryKVPEntry*>(calloc(1, sizeof(tFrameCacheRegistryKVPEntry)));
    if (entry == nullptr || (entry->_group = strdup(group)) == nullptr ||
        (entry->_key = strdup(key)) == nullptr || (entry->_value = strdup(value)) == nullptr) {
        if (entry != nullptr) {
            freeEntry(entry);
        }
        vesk_logError("%s", mallocMessage);
        return 0;
    }
    if (_last == nullptr) {
        _first = entry;
    } else {
        _last->_next = entry;
    }
    _last = entry;
    ++_count;
    return 1;
}

int QuadenPISSFrameCacheRegistry::Add(const char* projectName, const char* key, const char* value) {
    if (projectName == nullptr || key == nullptr || value == nullptr) {
        vesk_logError("PersisentFrameCacheRegistry: Add received a null %s",
                      projectName == nullptr ? "projectName"
                      : key == nullptr       ? "key"
                                             : "value");
        return 0;
    }
    char hash[kPISSPrintableHashSize];
    if (!_MD5GetPrintableHash(projectName, hash)) {
        return 0;
    }
    return append(hash, key, value, "PersisentFrameCacheRegistry::Add malloc failed\n");
}

int QuadenPISSFrameCacheRegistry::AddWithoutHashing(const char* group, const char* key,
                                                    const char* value) {
    if (group == nullptr) {
        vesk_logError("PersisentFrameCacheRegistry: AddWithoutHashing received a null projectName");
        return 0;
    }
    if (key == nullptr) {
        vesk_logError("PersisentFrameCacheRegistry: AddWithoutHashing received a null key");
        return 0;
    }
    if (value == nullptr) {
        vesk_logError(
            "PersisentFrameCacheRegistry: AddWithoutHashing received a null value for key: %s",
            key);
        return 0;
    }
    return append(group, key, value,
                  "PersisentFrameCacheRegistry::AddWithoutHashing malloc failed\n");
}

tFrameCacheRegistryKVPEntry* QuadenPISSFrameCacheRegistry::find(const char* projectName,
                                                                const char* key) {
    char hash[kPISSPrintableHashSize];
    if (projectName == nullptr || key == nullptr || !_MD5GetPrintableHash(projectName, hash)) {
        return nullptr;
    }
    for (tFrameCacheRegistryKVPEntry* entry = _first; entry != nullptr; entry = entry->_next) {
        if (strcmp(entry->_key, key) == 0 && strcmp(entry->_group, hash) == 0) {
            return entry;
        }
    }
    return nullptr;
}

int QuadenPISSFrameCacheRegistry::GetItem(char** out, const char* projectName, const char* key) {
    if (out == nullptr) {
        return 0;
    }
    tFrameCacheRegistryKVPEntry* entry = find(projectName, key);
    *out = entry != nullptr ? strdup(entry->_value) : nullptr;
    return *out != nullptr ? 1 : 0;
}

int QuadenPISSFrameCacheRegistry::ChangeItem(const char* projectName, const char* key,
                                             const char* value) {
    if (value == nullptr) {
        vesk_logError("PersisentFrameCacheRegistry: ChangeItem received a null value for key: %s",
                      key != nullptr ? key : "");
        return 0;
    }
    tFrameCacheRegistryKVPEntry* entry = find(projectName, key);
    char* copy = entry != nullptr ? strdup(value) : nullptr;
    if (copy == nullptr) {
        return 0;
    }
    free(entry->_value);
    entry->_value = copy;
    return 1;
}

int QuadenPISSFrameCacheRegistry::DeleteItem(const char* projectName) {
    char hash[kPISSPrintableHashSize];
    if (projectName == nullptr || !_MD5GetPrintableHash(projectName, hash)) {
        return 0;
    }
    int removed = 0;
    tFrameCacheRegistryKVPEntry* previous = nullptr;
    tFrameCacheRegistryKVPEntry* entry = _first;
    while (entry != nullptr) {
        tFrameCacheRegistryKVPEntry* next = entry->_next;
        if (strcmp(entry->_group, hash) != 0) {
            previous = entry;
            entry = next;
            continue;
        }
        if (previous == nullptr) {
            _first = next;
        } else {
            previous->_next = next;
        }
        if (_last == entry) {
            _last = previous;
        }
        if (_cursor == entry) {
            _cursor = next;
        }
        freeEntry(entry);
        --_count;
        ++removed;
        entry = next;
    }
    return removed > 0 ? 1 : 0;
}

int QuadenPISSFrameCacheRegistry::PrepareKeyValuePairList() {
    _cursor = _first;
    return _first != nullptr ? 1 : 0;
}

tFrameCacheRegistryKVPEntry* QuadenPISSFrameCacheRegistry::GetNextKeyValuePairInList() {
    tFrameCacheRegistryKVPEntry* entry = _cursor;
    if (entry != nullptr) {
        _cursor = entry->_next;
    }
    return entry;
}
