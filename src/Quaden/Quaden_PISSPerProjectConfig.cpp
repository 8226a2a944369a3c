#include "Quaden_PISSPerProjectConfig.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Quaden_PISSUtilities.h"
#include "VeskLog.h"
#include "VeskPath.h"
#include "Vesk_Mutex.h"

namespace {

const char* const kVersionPrefix = "cpr-version:";
const int kVersion = 1;

// The group of projectOrCompositionName: its name hash, written into hash; null (which matches
// nothing) for a null name.
const char* groupOf(const char* projectOrCompositionName, char* hash) {
    return projectOrCompositionName != nullptr &&
                   _MD5GetPrintableHash(projectOrCompositionName, hash)
               ? hash
               : nullptr;
}

}  // namespace

QuadenPISSPerProjectConfig::QuadenPISSPerProjectConfig(const char* pathToProject)
    : QuadenPISSKVPStore("PerProjectConfig",
                         "Per Project Commit: Cannot open generic config file '%s' for writing\n"),
      _projectPath(nullptr) {
    if (pathToProject == nullptr) {
        vesk_logWarning("PerProjectConfig::PerProjectConfig : pathToProject set to null.\n");
        return;
    }
    if (pathToProject[0] == '\0') {
        vesk_logWarning("PerProjectConfig::PerProjectConfig : pathToProject has length 0.\n");
        return;
    }
    _projectPath = strdup(pathToProject);
    const char* slash = pathToProject[strlen(pathToProject) - 1] == '/' ? "" : "/";
    char path[kVeskPathBufferSize];
    if (!vesk_formatPathQuietly(path, sizeof path, "%s%s.CorvixPro2ProjectConfig.cpr",
                                pathToProject, slash)) {
        PISSLogPathTooLong("PerProjectConfig::PerProjectConfig",
                           std::string(pathToProject) + slash + ".CorvixPro2ProjectConfig.cpr",
                           kVeskPathMaxLength);
        return;
    }
    _file.SetPath(path);
    load();
}

QuadenPISSPerProjectConfig::~QuadenPISSPerProjectConfig() {
    free(_projectPath);
}

void QuadenPISSPerProjectConfig::load() {
    clear();
    const char* path = _file.Path();
    bool missing = false;
    FILE* file = _file.OpenForLoading(&missing);
    if (file == nullptr) {
        return;
    }
    char line[kPISSLineBufferSize];
    int version = -1;
    if (!PISSReadStoreLine(file, line, sizeof line) || strncmp(line, kVersionPrefix, 10) != 0) {
        vesk_logWarning("CPR version for %s is out of date.", path);
        fclose(file);
        return;
    }
    // Only ten characters of the prefix are compared, so the line may be shorter than the
    // twelve characters skipped here.
    if (strlen(line) < 12 || sscanf(line + 12, "%d", &version) != 1 || version < kVersion) {
        // The values go out in this order although the labels name them the other way round;
        // existing log readers expect it so.
        vesk_logWarning("CPR version for %s is out of date. File Version: %d. CPR Version: %d",
                        path, kVersion, version);
        fclose(file);
        return;
    }
    sPISSStoreLine fields;
    while (PISSReadStoreEntry(file, line, &fields)) {
        if (fields._key == nullptr) {
            vesk_logWarning("PerProjectConfig: keyValue was NULL");
        } else if (fields._value == nullptr) {
            vesk_logWarning("PerProjectConfig: stringRemainder was NULL for key: %s", fields._key);
        } else if (strcmp(fields._type, "string") == 0) {
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
    loaded();
}

int QuadenPISSPerProjectConfig::Commit() {
    Vesk_MutexLocker locker(_mutex);
    char version[32];
    snprintf(version, sizeof version, "%s%d\n", kVersionPrefix, kVersion);
    return commit(version);
}

// Add under the name hash; which names the form (string or int) in the message for a null argument.
int QuadenPISSPerProjectConfig::addHashed(const char* which, const char* projectOrCompositionName,
                                          const char* key, int type, const char* value,
                                          int intValue) {
    char hash[kPISSPrintableHashSize];
    if (projectOrCompositionName == nullptr || key == nullptr) {
        vesk_logError("PerProjectConfig::%s received a null %s\n", which,
                      key == nullptr ? "key" : "projectOrCompositionName");
        return 0;
    }
    if (!_MD5GetPrintableHash(projectOrCompositionName, hash)) {
        return 0;
    }
    Vesk_MutexLocker locker(_mutex);
    return append(hash, key, type, value, intValue, "PerProjectConfig::Add malloc failed\n");
}

int QuadenPISSPerProjectConfig::Add(const char* projectOrCompositionName, const char* key,
                                    const char* value) {
    return addHashed("Add", projectOrCompositionName, key, kPISSStringEntry, value, 0);
}

int QuadenPISSPerProjectConfig::Add(const char* projectOrCompositionName, const char* key,
                                    int value) {
    return addHashed("Add(int)", projectOrCompositionName, key, kPISSIntEntry, nullptr, value);
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

int QuadenPISSPerProjectConfig::GetItem(char** out, const char* projectOrCompositionName,
                                        const char* key) {
    char hash[kPISSPrintableHashSize];
    return getString(out, groupOf(projectOrCompositionName, hash), key);
}

int QuadenPISSPerProjectConfig::GetItem(int* out, const char* projectOrCompositionName,
                                        const char* key) {
    char hash[kPISSPrintableHashSize];
    return getInt(out, groupOf(projectOrCompositionName, hash), key);
}

int QuadenPISSPerProjectConfig::ChangeItem(const char* projectOrCompositionName, const char* key,
                                           const char* value) {
    char hash[kPISSPrintableHashSize];
    return changeString(groupOf(projectOrCompositionName, hash), key, value);
}

int QuadenPISSPerProjectConfig::ChangeItem(const char* projectOrCompositionName, const char* key,
                                           int value) {
    char hash[kPISSPrintableHashSize];
    return changeInt(groupOf(projectOrCompositionName, hash), key, value);
}
