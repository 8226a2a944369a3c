#include "Quaden_PISSConfig.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Quaden_PISSUtilities.h"
#include "VeskFile.h"
#include "VeskLog.h"
#include "VeskPath.h"
#include "Vesk_Mutex.h"

namespace {

const char* const kProductName = "Corvix Pro";

// The full path of "Config.txt" below the product folder; empty (with an error in the log) when
// it would not fit a path buffer.
std::string configFilePath() {
    char folder[kVeskPathBufferSize];
    char path[kVeskPathBufferSize];
    if (!assignCorvixProRootConfigDirectoryPath(folder, sizeof folder)) {
        return std::string();
    }
    if (!vesk_formatPathQuietly(path, sizeof path, "%sConfig.txt", folder)) {
        PISSLogPathTooLong("Config", std::string(folder) + "Config.txt", kVeskPathMaxLength);
        return std::string();
    }
    return path;
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
    : QuadenPISSKVPStore("Config", "Commit: Cannot open generic config file '%s' for writing\n"),
      _valid(1) {
    _file.SetPath(configFilePath());
    load(initializeWhenMissing);
}

void QuadenPISSConfig::load(bool initializeWhenMissing) {
    clear();
    _valid = 1;
    const char* path = _file.Path();
    bool missing = false;
    FILE* file = _file.OpenForLoading(&missing);
    if (file == nullptr) {
        _valid = 0;
        if (path != nullptr) {
            vesk_logWarning("Cannot open generic config file '%s' for reading\n", path);
        }
        // Only a missing file is created; one that is there but cannot be read is left alone.
        if (missing && initializeWhenMissing) {
            initializePISSConfig();
        }
        return;
    }
    char line[kPISSLineBufferSize];
    sPISSStoreLine fields;
    while (PISSReadStoreEntry(file, line, &fields)) {
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
        add(fields._group, fields._key, isString ? kPISSStringEntry : kPISSIntEntry,
            isString ? fields._value : nullptr, isString ? 0 : PISSParseInt(fields._value));
    }
    fclose(file);
    loaded();
}

void QuadenPISSConfig::initializePISSConfig() {
    std::string path = configFilePath();
    if (path.empty()) {
        return;
    }
    bool missing = false;
    std::string why;
    FILE* file = PISSOpenStoreFile(path.c_str(), kPISSSettingsFileMaxBytes, &missing, &why);
    if (file == nullptr && !missing) {
        vesk_logWarning("Config: %s\n", why.c_str());
        vesk_logError("%s Persistent information store is invalid!", kProductName);
        return;
    }
    if (file == nullptr) {
        vesk_log("%s Persistent Information Store has not been initialized. Creating Config.",
                 kProductName);
        // Appending creates the file when it is missing and never truncates one that another
        // process created in the meantime.
        file = vesk_fopenRegular(path.c_str(), "a");
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
    if (!store.StartTransaction()) {
        return;
    }
    if (!store.IsValid()) {
        vesk_logError("%s Persistent information store is invalid!", kProductName);
        return;
    }
    char frameCacheFolder[kVeskPathBufferSize];
    char renderQueueFolder[kVeskPathBufferSize];
    const char* const folders[] = {
        assignCorvixProFrameCacheDefaultDirectoryPath(frameCacheFolder, sizeof frameCacheFolder)
            ? frameCacheFolder
            : nullptr,
        assignCorvixProRenderQueueDefaultDirectoryPath(renderQueueFolder, sizeof renderQueueFolder)
            ? renderQueueFolder
            : nullptr};

    for (size_t i = 0; i < sizeof kDefaults / sizeof kDefaults[0]; ++i) {
        const DefaultSetting& setting = kDefaults[i];
        if (setting._type == kPISSIntEntry) {
            int value = 0;
            if (!store.GetItem(&value, "default", setting._key)) {
                store.Add("default", setting._key, setting._intValue);
            }
        } else {
            const char* value = setting._stringValue != nullptr ? setting._stringValue : folders[i];
            char* present = nullptr;
            // A default folder that does not fit a path is left out rather than cut.
            if (!store.GetItem(&present, "default", setting._key) && value != nullptr) {
                store.Add("default", setting._key, value);
            }
            free(present);
        }
    }
    store.Commit();
}

int QuadenPISSConfig::Commit() {
    Vesk_MutexLocker locker(_mutex);
    if (!_valid) {
        vesk_logWarning("Commit: '%s' was not read whole; an invalid store is not written\n",
                        _file.Path() != nullptr ? _file.Path() : "");
        _file.Unlock();
        return 0;
    }
    return commit(nullptr);
}

// Caller holds the mutex.
int QuadenPISSConfig::add(const char* group, const char* key, int type, const char* value,
                          int intValue) {
    if (group == nullptr || key == nullptr) {
        vesk_logError("Persistent Storage Configuration - Add received a null %s\n",
                      group == nullptr ? "group" : "key");
        return 0;
    }
    return append(group, key, type, value, intValue,
                  "Persistent Storage Configuration - Add malloc failed\n");
}

int QuadenPISSConfig::Add(const char* group, const char* key, const char* value) {
    Vesk_MutexLocker locker(_mutex);
    return add(group, key, kPISSStringEntry, value, 0);
}

int QuadenPISSConfig::Add(const char* group, const char* key, int value) {
    Vesk_MutexLocker locker(_mutex);
    return add(group, key, kPISSIntEntry, nullptr, value);
}
