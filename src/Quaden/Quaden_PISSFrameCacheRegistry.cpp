#include "Quaden_PISSFrameCacheRegistry.h"

#include <cstdlib>
#include <cstring>

#include "Quaden_PISSUtilities.h"
#include "VeskLog.h"
#include "VeskPath.h"

QuadenPISSFrameCacheRegistry::QuadenPISSFrameCacheRegistry()
    : _entries(kPISSFrameCacheRegistryEntryLayout),
      _file("PersisentFrameCacheRegistry",
            "PersisentFrameCacheRegistry: Commit: Cannot open generic config file '%s' for "
            "writing\n",
            "PersisentFrameCacheRegistry: Commit: Invalid type in KVP list\n"),
      _changed(false) {
    char path[kVeskPathBufferSize];
    if (assignCorvixProFrameCacheRegistryFilePath(path, sizeof path)) {
        _file.SetPath(path);
        load();
    }
}

void QuadenPISSFrameCacheRegistry::load() {
    _entries.Clear();
    bool missing = false;
    FILE* file = _file.OpenForLoading(&missing);
    if (file == nullptr) {
        return;
    }
    char line[kPISSLineBufferSize];
    sPISSStoreLine fields;
    while (PISSReadStoreEntry(file, line, &fields)) {
        if (fields._key == nullptr) {
            vesk_logWarning("PersisentFrameCacheRegistry: keyValue was NULL");
        } else if (fields._value == nullptr) {
            vesk_logWarning("PersisentFrameCacheRegistry: stringRemainder was NULL for key: %s",
                            fields._key);
        } else if (strcmp(fields._type, "string") == 0) {
            AddWithoutHashing(fields._group, fields._key, fields._value);
        } else {
            vesk_logWarning(
                "PersisentFrameCacheRegistry:  type not yet supported: %s for key: %s\n",
                fields._type, fields._key);
            break;
        }
    }
    fclose(file);
    _changed = false;
}

int QuadenPISSFrameCacheRegistry::StartTransaction() {
    bool reload = false;
    if (!_file.BeginTransaction(_changed, &reload)) {
        return 0;
    }
    if (reload) {
        load();
    }
    return 1;
}

int QuadenPISSFrameCacheRegistry::Commit() {
    if (!_file.Commit(_entries, nullptr)) {
        return 0;
    }
    _changed = false;
    return 1;
}

int QuadenPISSFrameCacheRegistry::append(const char* group, const char* key, const char* value,
                                         const char* mallocMessage) {
    if (!_entries.Append(group, key, kPISSStringEntry, value, 0)) {
        vesk_logError("%s", mallocMessage);
        return 0;
    }
    _changed = true;
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
                                                                const char* key) const {
    char hash[kPISSPrintableHashSize];
    return projectName != nullptr && _MD5GetPrintableHash(projectName, hash)
               ? static_cast<tFrameCacheRegistryKVPEntry*>(_entries.Find(hash, key))
               : nullptr;
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
    _changed = true;
    return entry != nullptr ? PISSReplaceString(&entry->_value, value) : 0;
}

int QuadenPISSFrameCacheRegistry::DeleteItem(const char* projectName) {
    char hash[kPISSPrintableHashSize];
    if (projectName == nullptr || !_MD5GetPrintableHash(projectName, hash)) {
        return 0;
    }
    _changed = true;
    return _entries.RemoveGroup(hash) > 0 ? 1 : 0;
}
