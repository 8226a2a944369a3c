#include "Quaden_PISSPerProjectConfig.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Quaden_PISSUtilities.h"
#include "VeskLog.h"
#include "Vesk_Mutex.h"

namespace {

const int kLineSize = 1024;
const char* const kVersionPrefix = "cpr-version:";
const int kVersion = 1;

}  // namespace

QuadenPISSPerProjectConfig::QuadenPISSPerProjectConfig(const char* pathToProject)
    : _first(nullptr),
      _last(nullptr),
      _cursor(nullptr),
      _count(0),
      _projectPath(nullptr),
      _filePath(nullptr),
      _mutex(new Vesk_Mutex()) {
    load(pathToProject);
}

QuadenPISSPerProjectConfig::~QuadenPISSPerProjectConfig() {
    {
        Vesk_MutexLocker locker(_mutex);
        while (_first != nullptr) {
            tConfigKVPEntry* next = _first->_next;
            PISSFreeKVPEntry(_first);
            _first = next;
        }
        _last = _cursor = nullptr;
        _count = 0;
        free(_projectPath);
        free(_filePath);
    }
    delete _mutex;
}

void QuadenPISSPerProjectConfig::load(const char* pathToProject) {
    if (pathToProject == nullptr) {
        vesk_logWarning("PerProjectConfig::PerProjectConfig : pathToProject set to null.\n");
        return;
    }
    if (pathToProject[0] == '\0') {
        vesk_logWarning("PerProjectConfig::PerProjectConfig : pathToProject has length 0.\n");
        return;
    }
    _projectPath = strdup(pathToProject);
    char folder[kLineSize];
    snprintf(folder, sizeof folder, "%s", pathToProject);
    size_t length = strlen(folder);
    size_t fileSize = length + 64;
    _filePath = static_cast<char*>(malloc(fileSize));
    if (_projectPath == nullptr || _filePath == nullptr) {
        vesk_logError("PerProjectConfig::PerProjectConfig : malloc failed\n");
        free(_filePath);
        _filePath = nullptr;
        return;
    }
    snprintf(_filePath, fileSize, "%s%s.%s", folder, folder[length - 1] == '/' ? "" : "/",
             "CorvixPro2ProjectConfig.cpr");

    FILE* file = fopen(_filePath, "r");
    if (file == nullptr) {
        return;
    }
    char line[kLineSize];
    if (!PISSReadStoreLine(file, line, kLineSize) || strncmp(line, kVersionPrefix, 10) != 0) {
        vesk_logWarning("CPR version for %s is out of date.", _filePath);
        fclose(file);
        return;
    }
    // Only ten characters of the prefix are compared, so the line may be shorter than the
    // twelve characters skipped here.
    int version = -1;
    if (strlen(line) < 12 || sscanf(line + 12, "%d", &version) != 1) {
        version = -1;
    }
    if (version < kVersion) {
        // The values go out in this order although the labels name them the other way round;
        // existing log readers expect it so.
        vesk_logWarning("CPR version for %s is out of date. File Version: %d. CPR Version: %d",
                        _filePath, kVersion, version);
        fclose(file);
        return;
    }
    while (PISSReadStoreLine(file, line, kLineSize)) {
        sPISSStoreLine fields;
        if (!PISSSplitStoreLine(line, &fields)) {
            break;
        }
        if (fields._key == nullptr) {
            vesk_logWarning("PerProjectConfig: keyValue was NULL");
            continue;
        }
        if (fields._value == nullptr) {
            vesk_logWarning("PerProjectConfig: stringRemainder was NULL for key: %s", fields._key);
            continue;
        }
        if (strcmp(fields._type, "string") == 0) {
            AddWithoutHashing(fields._group, fields._key, fields._value);
        } else if (strcmp(fields._type, "int") == 0) {
            AddWithoutHashing(fields._group, fields._key, PISSParseInt(fields._value));
        } else {
            vesk_logWarning("PerProjectConfig:  type not yet supported: %s for key: %s\n",
                            fields._type, fields._key);
            break;
        }
    }
    fclose(file);
}

int QuadenPISSPerProjectConfig::Commit() {
    Vesk_MutexLocker locker(_mutex);
    if (_filePath == nullptr) {
        return 0;
    }
    FILE* file = fopen(_filePath, "w");
    if (file == nullptr) {
        vesk_logWarning("Per Project Commit: Cannot open generic config file '%s' for writing\n",
                        _filePath);
        return 0;
    }
    fprintf(file, "%s%d\n", kVersionPrefix, kVersion);
    for (tConfigKVPEntry* entry = _first; entry != nullptr; entry = entry->_next) {
        if (!PISSWriteKVPEntry(file, entry)) {
            vesk_logWarning("Commit: Invalid type in KVP list\n");
            fclose(file);
            return 0;
        }
    }
    bool failed = ferror(file) != 0;
    if (fclose(file) != 0 || failed) {
        vesk_logWarning("Per Project Commit: Could not write generic config file '%s'\n",
                        _filePath);
        return 0;
    }
    return 1;
}

int QuadenPISSPerProjectConfig::append(const char* group, const char* key, int type,
                                       const char* value, int intValue, const char* mallocMessage) {
    tConfigKVPEntry* entry = PISSNewKVPEntry(group, key, type, value, intValue);
    if (entry == nullptr) {
        vesk_logError("%s", mallocMessage);
        return 0;
    }
    PISSAppendKVPEntry(&_first, &_last, entry);
    ++_count;
    return 1;
}

int QuadenPISSPerProjectConfig::Add(const char* projectOrCompositionName, const char* key,
                                    const char* value) {
    char hash[kPISSPrintableHashSize];
    if (projectOrCompositionName == nullptr || key == nullptr) {
        vesk_logError("PerProjectConfig::Add received a null %s\n",
                      key == nullptr ? "key" : "projectOrCompositionName");
        return 0;
    }
    if (!_MD5GetPrintableHash(projectOrCompositionName, hash)) {
        return 0;
    }
    Vesk_MutexLocker locker(_mutex);
    return append(hash, key, kPISSStringEntry, value, 0, "PerProjectConfig::Add malloc failed\n");
}

int QuadenPISSPerProjectConfig::Add(const char* projectOrCompositionName, const char* key,
                                    int value) {
    char hash[kPISSPrintableHashSize];
    if (projectOrCompositionName == nullptr || key == nullptr) {
        vesk_logError("PerProjectConfig::Add(int) received a null %s\n",
                      key == nullptr ? "key" : "projectOrCompositionName");
        return 0;
    }
    if (!_MD5GetPrintableHash(projectOrCompositionName, hash)) {
        return 0;
    }
    Vesk_MutexLocker locker(_mutex);
    return append(hash, key, kPISSIntEntry, nullptr, value,
                  "PerProjectConfig::Add malloc failed\n");
}

int QuadenPISSPerProjectConfig::AddWithoutHashing(const char* group, const char* key,
                                                  const char* value) {
    if (group == nullptr) {
        vesk_logError("AddWithoutHashing received a null projectOrCompositionName");
        return 0;
    }
    if (key == nullptr) {
        vesk_logError("AddWithoutHashing received a null key");
        return 0;
    }
    if (value == nullptr) {
        vesk_logError("AddWithoutHashing received a null value for key: %s", key);
        return 0;
    }
    return append(group, key, kPISSStringEntry, value, 0,
                  "PerProjectConfig::AddWithoutHashing malloc failed\n");
}

int QuadenPISSPerProjectConfig::AddWithoutHashing(const char* group, const char* key, int value) {
    if (group == nullptr) {
        vesk_logError("AddWithoutHashing(int) received a null projectOrCompositionName");
        return 0;
    }
    if (key == nullptr) {
        vesk_logError("AddWithoutHashing(int) received a null key");
        return 0;
    }
    return append(group, key, kPISSIntEntry, nullptr, value,
                  "PerProjectConfig::AddWithoutHashing malloc failed\n");
}

// Caller holds the mutex.
tConfigKVPEntry* QuadenPISSPerProjectConfig::find(const char* projectOrCompositionName,
                                                  const char* key) {
    char hash[kPISSPrintableHashSize];
    if (projectOrCompositionName == nullptr || key == nullptr ||
        !_MD5GetPrintableHash(projectOrCompositionName, hash)) {
        return nullptr;
    }
    return PISSFindKVPEntry(_first, hash, key);
}

int QuadenPISSPerProjectConfig::GetItem(char** out, const char* projectOrCompositionName,
                                        const char* key) {
    if (out == nullptr) {
        return 0;
    }
    *out = nullptr;
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = find(projectOrCompositionName, key);
    if (entry == nullptr) {
        return 0;
    }
    if (entry->_stringValue != nullptr) {
        *out = strdup(entry->_stringValue);
    }
    return 1;
}

int QuadenPISSPerProjectConfig::GetItem(int* out, const char* projectOrCompositionName,
                                        const char* key) {
    if (out == nullptr) {
        return 0;
    }
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = find(projectOrCompositionName, key);
    *out = entry != nullptr ? entry->_intValue : 0;
    return entry != nullptr ? 1 : 0;
}

int QuadenPISSPerProjectConfig::ChangeItem(const char* projectOrCompositionName, const char* key,
                                           const char* value) {
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = find(projectOrCompositionName, key);
    return entry != nullptr ? PISSReplaceKVPString(entry, value) : 0;
}

int QuadenPISSPerProjectConfig::ChangeItem(const char* projectOrCompositionName, const char* key,
                                           int value) {
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = find(projectOrCompositionName, key);
    if (entry == nullptr) {
        return 0;
    }
    entry->_intValue = value;
    return 1;
}

uint32_t QuadenPISSPerProjectConfig::NumberOfKeyValuePairsInList() {
    Vesk_MutexLocker locker(_mutex);
    return _count;
}

int QuadenPISSPerProjectConfig::PrepareKeyValuePairList() {
    Vesk_MutexLocker locker(_mutex);
    _cursor = _first;
    return _first != nullptr ? 1 : 0;
}

tConfigKVPEntry* QuadenPISSPerProjectConfig::GetNextKeyValuePairInList() {
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = _cursor;
    if (entry != nullptr) {
        _cursor = entry->_next;
    }
    return entry;
}
