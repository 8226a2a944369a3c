#include "Quaden_PISSConfig.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Quaden_PISSUtilities.h"
#include "VeskLog.h"
#include "Vesk_Mutex.h"

namespace {

const char* const kProductName = "Corvix Pro";
const int kPathSize = 1024;

// The full path of "Config.txt" below the product folder.
void buildConfigFilePath(char* path) {
    char folder[kPathSize];
    assignCorvixProRootConfigDirectoryPath(folder, kPathSize);
    // Like every product path, it is cut at kPathSize - 1 characters, never rejected.
    std::string full = std::string(folder) + "Config.txt";
    memset(path, 0, kPathSize);
    full.copy(path, kPathSize - 1);
}

struct DefaultSetting {
    const char* _key;
    int _type;
    const char* _stringValue;  // null: one of the product folders, filled in at run time
    int _intValue;
};

// The settings every "Config.txt" must hold, in the order they are appended.
const DefaultSetting kDefaults[] = {
    {"DirectoryLocationOfFrameCache", kPISSStringEntry, nullptr, 0},
    {"DirectoryLocationOfRenderQueue", kPISSStringEntry, nullptr, 0},
    {"SizeOfFrameCacheInMB", kPISSIntEntry, nullptr, 20000},
    {"ShowCacheManagementWarnings", kPISSIntEntry, nullptr, 1},
    {"CorvixProSpeculativeMode", kPISSIntEntry, nullptr, 0},
    {"SpecPreviewAreaToPreview", kPISSIntEntry, nullptr, 0},
    {"SpecPreviewLoadFramesCache", kPISSIntEntry, nullptr, 1},
    {"SpecPreviewStoreFramesCache", kPISSIntEntry, nullptr, 0},
    {"SpecPreviewUseSkipFrames", kPISSIntEntry, nullptr, 0},
    {"CorvixProShowStatusPopups", kPISSIntEntry, nullptr, 1},
    {"SpecPreviewStartFromCurrentTime", kPISSIntEntry, nullptr, 1},
    {"SpecRenderOutputPath", kPISSStringEntry, "null", 0},
    {"SpecRenderRenderSettingsTemplate", kPISSStringEntry, "Current Settings", 0},
    {"SpecRenderOutputModuleTemplate", kPISSStringEntry, "Lossless", 0},
    {"SpecRenderOutputFilename", kPISSStringEntry, "null", 0},
    {"AppLocationOfC4D", kPISSStringEntry,
     "/Applications/MAXON/CINEMA 4D R10/CINEMA 4D.app/Contents/MacOS/CINEMA 4D", 0},
};

}  // namespace

QuadenPISSConfig::QuadenPISSConfig() : QuadenPISSConfig(true) {}

QuadenPISSConfig::QuadenPISSConfig(bool initializeWhenMissing)
    : _valid(1),
      _first(nullptr),
      _last(nullptr),
      _cursor(nullptr),
      _count(0),
      _path(nullptr),
      _mutex(new Vesk_Mutex()) {
    load(initializeWhenMissing);
}

QuadenPISSConfig::~QuadenPISSConfig() {
    {
        Vesk_MutexLocker locker(_mutex);
        while (_first != nullptr) {
            tConfigKVPEntry* next = _first->_next;
            PISSFreeKVPEntry(_first);
            _first = next;
        }
        _last = _cursor = nullptr;
        _count = 0;
        free(_path);
        _path = nullptr;
    }
    delete _mutex;
}

void QuadenPISSConfig::load(bool initializeWhenMissing) {
    char path[kPathSize];
    buildConfigFilePath(path);
    _path = strdup(path);

    FILE* file = fopen(path, "r");
    if (file == nullptr) {
        vesk_logWarning("Cannot open generic config file '%s' for reading\n", path);
        _valid = 0;
        if (initializeWhenMissing) {
            initializePISSConfig();
        }
        return;
    }
    char line[kPathSize];
    while (PISSReadStoreLine(file, line, kPathSize)) {
        sPISSStoreLine fields;
        if (!PISSSplitStoreLine(line, &fields)) {
            break;
        }
        bool isString = fields._type != nullptr && strcmp(fields._type, "string") == 0;
        bool isInt = fields._type != nullptr && strcmp(fields._type, "int") == 0;
        if (!isString && !isInt) {
            // The product has always logged the render queue reader's wording here.
            vesk_logWarning("ProcessOutputModuleItem: int type not yet supported\n");
            _valid = 0;
            break;
        }
        if (fields._key == nullptr) {
            vesk_logWarning("Config: %s entry without a key in '%s'\n", fields._type, path);
            _valid = 0;
            break;
        }
        if (isString) {
            Add(fields._group, fields._key, fields._value);
        } else {
            Add(fields._group, fields._key, PISSParseInt(fields._value));
        }
    }
    fclose(file);
}

void QuadenPISSConfig::initializePISSConfig() {
    char path[kPathSize];
    buildConfigFilePath(path);
    FILE* file = fopen(path, "r");
    if (file == nullptr) {
        vesk_log("%s Persistent Information Store has not been initialized. Creating Config.",
                 kProductName);
        // Appending creates the file when it is missing and never truncates one that exists but
        // could not be read.
        file = fopen(path, "a");
        if (file == nullptr) {
            vesk_logError(
                "Unable to create Persistent Storage Config File. %s installation may be corrupt.",
                kProductName);
            return;
        }
    }
    vesk_log("Validating %s Persisitent Information Store Configuration.", kProductName);
    fclose(file);

    QuadenPISSConfig store(false);
    if (!store.IsValid()) {
        vesk_logError("%s Persistent information store is invalid!", kProductName);
        return;
    }
    char frameCacheFolder[kPathSize];
    char renderQueueFolder[kPathSize];
    assignCorvixProFrameCacheDefaultDirectoryPath(frameCacheFolder, kPathSize);
    assignCorvixProRenderQueueDefaultDirectoryPath(renderQueueFolder, kPathSize);
    const char* const folders[] = {frameCacheFolder, renderQueueFolder};

    for (size_t i = 0; i < sizeof kDefaults / sizeof kDefaults[0]; ++i) {
        const DefaultSetting& setting = kDefaults[i];
        if (setting._type == kPISSIntEntry) {
            int value = 0;
            if (!store.GetItem(&value, "default", setting._key)) {
                store.Add("default", setting._key, setting._intValue);
            }
        } else {
            char* value = nullptr;
            if (!store.GetItem(&value, "default", setting._key)) {
                store.Add("default", setting._key,
                          setting._stringValue != nullptr ? setting._stringValue : folders[i]);
            }
            free(value);
        }
    }
    store.Commit();
}

int QuadenPISSConfig::Commit() {
    Vesk_MutexLocker locker(_mutex);
    FILE* file = _path != nullptr ? fopen(_path, "w") : nullptr;
    if (file == nullptr) {
        vesk_logWarning("Commit: Cannot open generic config file '%s' for writing\n",
                        _path != nullptr ? _path : "");
        return 0;
    }
    for (tConfigKVPEntry* entry = _first; entry != nullptr; entry = entry->_next) {
        if (!PISSWriteKVPEntry(file, entry)) {
            vesk_logWarning("Commit: Invalid type in KVP list\n");
            fclose(file);
            return 0;
        }
    }
    bool failed = ferror(file) != 0;
    if (fclose(file) != 0 || failed) {
        vesk_logWarning("Commit: Could not write generic config file '%s'\n", _path);
        return 0;
    }
    return 1;
}

int QuadenPISSConfig::append(const char* group, const char* key, int type, const char* value,
                             int intValue) {
    if (group == nullptr || key == nullptr) {
        vesk_logError("Persistent Storage Configuration - Add received a null %s\n",
                      group == nullptr ? "group" : "key");
        return 0;
    }
    tConfigKVPEntry* entry = PISSNewKVPEntry(group, key, type, value, intValue);
    if (entry == nullptr) {
        vesk_logError("Persistent Storage Configuration - Add malloc failed\n");
        return 0;
    }
    Vesk_MutexLocker locker(_mutex);
    PISSAppendKVPEntry(&_first, &_last, entry);
    ++_count;
    return 1;
}

int QuadenPISSConfig::Add(const char* group, const char* key, const char* value) {
    return append(group, key, kPISSStringEntry, value, 0);
}

int QuadenPISSConfig::Add(const char* group, const char* key, int value) {
    return append(group, key, kPISSIntEntry, nullptr, value);
}

int QuadenPISSConfig::GetItem(char** out, const char* group, const char* key) {
    if (out == nullptr) {
        return 0;
    }
    *out = nullptr;
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = PISSFindKVPEntry(_first, group, key);
    if (entry == nullptr) {
        return 0;
    }
    if (entry->_stringValue != nullptr) {
        *out = strdup(entry->_stringValue);
    }
    return 1;
}

int QuadenPISSConfig::GetItem(int* out, const char* group, const char* key) {
    if (out == nullptr) {
        return 0;
    }
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = PISSFindKVPEntry(_first, group, key);
    *out = entry != nullptr ? entry->_intValue : 0;
    return entry != nullptr ? 1 : 0;
}

int QuadenPISSConfig::ChangeItem(const char* group, const char* key, const char* value) {
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = PISSFindKVPEntry(_first, group, key);
    return entry != nullptr ? PISSReplaceKVPString(entry, value) : 0;
}

int QuadenPISSConfig::ChangeItem(const char* group, const char* key, int value) {
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = PISSFindKVPEntry(_first, group, key);
    if (entry == nullptr) {
        return 0;
    }
    entry->_intValue = value;
    return 1;
}

uint32_t QuadenPISSConfig::NumberOfKeyValuePairsInList() {
    Vesk_MutexLocker locker(_mutex);
    return _count;
}

int QuadenPISSConfig::PrepareKeyValuePairList() {
    Vesk_MutexLocker locker(_mutex);
    _cursor = _first;
    return _first != nullptr ? 1 : 0;
}

tConfigKVPEntry* QuadenPISSConfig::GetNextKeyValuePairInList() {
    Vesk_MutexLocker locker(_mutex);
    tConfigKVPEntry* entry = _cursor;
    if (entry != nullptr) {
        _cursor = entry->_next;
    }
    return entry;
}
