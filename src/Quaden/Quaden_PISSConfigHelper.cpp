#include "Quaden_PISSConfigHelper.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Quaden_PISSConfig.h"
#include "Quaden_PISSFrameCacheRegistry.h"
#include "Quaden_PISSPerProjectConfig.h"
#include "Quaden_PISSUtilities.h"
#include "VeskLog.h"

namespace {

const char* const kDefaultGroup = "default";
const char* const kPathToCache = "PathToCache";

// A setting's new value: text, or a number.
struct SettingValue {
    bool _isString;
    const char* _text;
    int _number;
};

const char* text(const char* value) {
    return value != nullptr ? value : "(null)";
}

// The global store. A missing "Config.txt" leaves the first store invalid and empty and creates
// the file with the defaults, so one more store sees them.
std::unique_ptr<QuadenPISSConfig> loadGlobalStore() {
    std::unique_ptr<QuadenPISSConfig> store(new QuadenPISSConfig());
    if (!store->IsValid()) {
        store.reset(new QuadenPISSConfig());
    }
    return store;
}

// The global store, ready to be changed: null when the file still loads invalid, because a
// damaged file must never be rewritten from what could be read of it.
std::unique_ptr<QuadenPISSConfig> openGlobalStore() {
    std::unique_ptr<QuadenPISSConfig> store = loadGlobalStore();
    return store->IsValid() ? std::move(store) : nullptr;
}

int addOrUpdateGlobal(const char* key, const SettingValue& value) {
    std::unique_ptr<QuadenPISSConfig> store = key != nullptr ? openGlobalStore() : nullptr;
    if (store == nullptr || !store->StartTransaction()) {
        vesk_logError("Unable to start persistent storage transaction. for: [%s] [%s]",
                      kDefaultGroup, text(key));
        return 0;
    }
    int result = 1;
    int existing = 0;
    if (store->GetItem(&existing, kDefaultGroup, key)) {
        if (!(value._isString ? store->ChangeItem(kDefaultGroup, key, value._text)
                              : store->ChangeItem(kDefaultGroup, key, value._number))) {
            vesk_logError("Unable to change the persistent storage item for: [%s] [%s]",
                          kDefaultGroup, key);
            result = 0;
        }
    } else if (!(value._isString ? store->Add(kDefaultGroup, key, value._text)
                                 : store->Add(kDefaultGroup, key, value._number))) {
        vesk_logError("Unable to ADD to the persistent storage item for: [%s] [%s]", kDefaultGroup,
                      key);
        result = 0;
    }
    if (!store->Commit()) {
        vesk_logError("Unable to commit persistent storage transaction for: [%s] [%s]",
                      kDefaultGroup, key);
        result = 0;
    }
    return result;
}

// The project and composition levels share the project's settings file; name is the project or
// composition name that is hashed into the group.
int addOrUpdateInProjectFile(const QuadenPISSProjectKeys* project, const char* name,
                             const char* key, const SettingValue& value) {
    if (project == nullptr || name == nullptr || key == nullptr) {
        vesk_logError("Unable to start persistent storage transaction. for: [%s] [%s]",
                      project != nullptr ? project->_projectPath.c_str() : "(null)", text(key));
        return 0;
    }
    QuadenPISSPerProjectConfig store(project->_projectPath.c_str());
    if (store.getPathToConfigFile() == nullptr || !store.StartTransaction()) {
        vesk_logError("Unable to start persistent storage transaction. for: [%s] [%s]",
                      project->_projectPath.c_str(), key);
        return 0;
    }
    int result = 1;
    int existing = 0;
    if (store.GetItem(&existing, name, key)) {
        if (!(value._isString ? store.ChangeItem(name, key, value._text)
                              : store.ChangeItem(name, key, value._number))) {
            vesk_logError("Unable to change the persistent storage item for: [%s] [%s]", name, key);
            result = 0;
        }
    } else if (!(value._isString ? store.Add(name, key, value._text)
                                 : store.Add(name, key, value._number))) {
        vesk_logError("Unable to ADD to the persistent storage item for: [%s] [%s]", name, key);
        result = 0;
    }
    if (!store.Commit()) {
        vesk_logError("Unable to commit persistent storage transaction for: [%s] [%s]", name, key);
        result = 0;
    }
    return result;
}

// A non-empty string value of name/key in the project's settings file.
bool projectString(const QuadenPISSProjectKeys& project, const char* name, const char* key,
                   std::string* out) {
    QuadenPISSPerProjectConfig store(project._projectPath.c_str());
    char* value = nullptr;
    bool found = store.GetItem(&value, name, key) && value != nullptr && *value != '\0';
    if (found) {
        *out = value;
    }
    free(value);
    return found;
}

bool projectInteger(const QuadenPISSProjectKeys& project, const char* name, const char* key,
                    int* out) {
    QuadenPISSPerProjectConfig store(project._projectPath.c_str());
    return store.GetItem(out, name, key) != 0;
}

// The global int value of group/key.
bool globalInteger(const char* group, const char* key, int* out) {
    return loadGlobalStore()->GetItem(out, group, key) != 0;
}

void copyOut(char* out, int size, const std::string& value) {
    snprintf(out, static_cast<size_t>(size), "%s", value.c_str());
}

// At one level: a value that is found and within bounds.
bool acceptInteger(bool found, int value, bool bounded, int min, int max, const char* name,
                   const char* key) {
    if (found && bounded && (value < min || value > max)) {
        vesk_logWarning("An invalid value: %d found in the persist data for [%s] [%s]", value, name,
                        key);
        return false;
    }
    return found;
}

// The composition and project levels of a lookup, in the order they are tried; a level whose
// keys are null is passed over.
struct ProjectLevel {
    const QuadenPISSProjectKeys* _keys;  // the project whose settings file holds the level
    const char* _name;                   // the name hashed into the group
    const char* _word;                   // "comp" or "project", for the messages
    const char* _fallThrough;            // where the lookup goes on
};

std::vector<ProjectLevel> projectLevels(const QuadenPISSProjectKeys* project,
                                        const QuadenPISSCompKeys* comp) {
    return {{comp != nullptr ? &comp->_project : nullptr,
             comp != nullptr ? comp->_compName.c_str() : nullptr, "comp",
             "Comp Config. Checking Project Config."},
            {project, project != nullptr ? project->_projectName.c_str() : nullptr, "project",
             "Project Config. Checking Global Config."}};
}

int clampToInt(uint64_t value) {
    return value > static_cast<uint64_t>(INT_MAX) ? INT_MAX : static_cast<int>(value);
}

}  // namespace

// ---- add or update ----------------------------------------------------------------------------

int QuadenPISSConfigHelper::addOrUpdateGlobalStringSetting(const char* key, const char* value) {
    return addOrUpdateGlobal(key, SettingValue{true, value, 0});
}

int QuadenPISSConfigHelper::addOrUpdateGlobalIntegerSetting(const char* key, int value) {
    return addOrUpdateGlobal(key, SettingValue{false, nullptr, value});
}

int QuadenPISSConfigHelper::addOrUpdateProjectStringSetting(const QuadenPISSProjectKeys* project,
                                                            const char* key, const char* value) {
    return addOrUpdateInProjectFile(project,
                                    project != nullptr ? project->_projectName.c_str() : nullptr,
                                    key, SettingValue{true, value, 0});
}

int QuadenPISSConfigHelper::addOrUpdateProjectIntegerSetting(const QuadenPISSProjectKeys* project,
                                                             const char* key, int value) {
    vesk_log("Storing: [%s]=[%d]", text(key), value);
    return addOrUpdateInProjectFile(project,
                                    project != nullptr ? project->_projectName.c_str() : nullptr,
                                    key, SettingValue{false, nullptr, value});
}

int QuadenPISSConfigHelper::addOrUpdateCompStringSetting(const QuadenPISSCompKeys* comp,
                                                         const char* key, const char* value) {
    return addOrUpdateInProjectFile(comp != nullptr ? &comp->_project : nullptr,
                                    comp != nullptr ? comp->_compName.c_str() : nullptr, key,
                                    SettingValue{true, value, 0});
}

int QuadenPISSConfigHelper::addOrUpdateCompIntegerSetting(const QuadenPISSCompKeys* comp,
                                                          const char* key, int value) {
    return addOrUpdateInProjectFile(comp != nullptr ? &comp->_project : nullptr,
                                    comp != nullptr ? comp->_compName.c_str() : nullptr, key,
                                    SettingValue{false, nullptr, value});
}

int QuadenPISSConfigHelper::addOrUpdateRegistryStringSetting(const char* projectName,
                                                             const char* key, const char* value) {
    QuadenPISSFrameCacheRegistry registry;
    if (projectName == nullptr || key == nullptr || value == nullptr ||
        !registry.StartTransaction()) {
        vesk_logError(
            "Unable to start persistent REGISTRY storage transaction. for project:[%s] and key: "
            "[%s] and value:[%s]",
            text(projectName), text(key), text(value));
        return 0;
    }
    int result = 1;
    char* existing = nullptr;
    if (registry.GetItem(&existing, projectName, key)) {
        if (!registry.ChangeItem(projectName, key, value)) {
            vesk_logError(
                "Unable to change the persistent REGISTRY storage item for: project [%s] "
                "key [%s]",
                projectName, key);
            result = 0;
        }
    } else if (!registry.Add(projectName, key, value)) {
        vesk_logError("Unable to ADD to the persistent REGISTRY storage item for: [%s] [%s]",
                      projectName, key);
        result = 0;
    }
    free(existing);
    if (!registry.Commit()) {
        vesk_logError(
            "Unable to commit persistent REGISTRY storage transaction for project:[%s] key:[%s]",
            projectName, key);
        result = 0;
    }
    return result;
}

// ---- lookups ----------------------------------------------------------------------------------

int QuadenPISSConfigHelper::queryStringSetting(char* out, int size, const char* key,
                                               const char* globalGroup,
                                               const QuadenPISSProjectKeys* project,
                                               const QuadenPISSCompKeys* comp) {
    if (out == nullptr || size < 1 || key == nullptr) {
        return 0;
    }
    memset(out, 0, static_cast<size_t>(size));
    std::string value;
    for (const ProjectLevel& level : projectLevels(project, comp)) {
        if (level._keys == nullptr) {
            continue;
        }
        if (projectString(*level._keys, level._name, key, &value)) {
            copyOut(out, size, value);
            return 1;
        }
        vesk_logDev("Unable to find requested value for key:[%s] in %s", key, level._fallThrough);
    }
    if (globalGroup != nullptr) {
        char* global = nullptr;
        bool found = loadGlobalStore()->GetItem(&global, globalGroup, key) && global != nullptr;
        if (found) {
            copyOut(out, size, global);
        }
        free(global);
        if (found) {
            return 1;
        }
    }
    vesk_logDev("Unable to query the ANY persist data for: [%s]", key);
    return 0;
}

int QuadenPISSConfigHelper::queryIntegerSetting(int* out, const char* key, const char* globalGroup,
                                                const QuadenPISSProjectKeys* project,
                                                const QuadenPISSCompKeys* comp) {
    return _queryIntegerSettingBounded(out, key, false, 0, 0, globalGroup, project, comp);
}

int QuadenPISSConfigHelper::queryIntegerSettingBounded(int* out, const char* key, int min, int max,
                                                       const char* globalGroup,
                                                       const QuadenPISSProjectKeys* project,
                                                       const QuadenPISSCompKeys* comp) {
    return _queryIntegerSettingBounded(out, key, true, min, max, globalGroup, project, comp);
}

int QuadenPISSConfigHelper::_queryIntegerSettingBounded(int* out, const char* key, bool bounded,
                                                        int min, int max, const char* globalGroup,
                                                        const QuadenPISSProjectKeys* project,
                                                        const QuadenPISSCompKeys* comp) {
    if (out == nullptr || key == nullptr) {
        return 0;
    }
    int value = 0;
    for (const ProjectLevel& level : projectLevels(project, comp)) {
        if (level._keys == nullptr) {
            continue;
        }
        bool found = projectInteger(*level._keys, level._name, key, &value);
        if (acceptInteger(found, value, bounded, min, max, level._name, key)) {
            *out = value;
            return 1;
        }
        if (!found) {
            vesk_logDev("Unable to query the per %s persist data for: [%s] [%s]", level._word,
                        level._name, key);
        }
        vesk_logDev("Unable to find requested value in %s", level._fallThrough);
    }
    if (globalGroup != nullptr) {
        bool found = globalInteger(globalGroup, key, &value);
        if (acceptInteger(found, value, bounded, min, max, globalGroup, key)) {
            *out = value;
            return 1;
        }
        if (!found) {
            vesk_logDev("Unable to query the persist data for: [%s] [%s]", globalGroup, key);
        }
    }
    vesk_logDev("Unable to query ANY persist data for: [%s]", key);
    return 0;
}

// ---- the frame cache --------------------------------------------------------------------------

int QuadenPISSConfigHelper::isCacheCheckingMode(int projectCacheWarnings) {
    int value = 0;
    int global =
        globalInteger(kDefaultGroup, "ShowCacheManagementWarnings", &value) ? value > 0 : 1;
    int project = projectCacheWarnings != 0 ? 1 : 0;
    vesk_logDev("isCacheCheckingMode Global: %d  Comp: %d", global, project);
    return global && project ? 1 : 0;
}

int QuadenPISSConfigHelper::determineIfCacheWillOverflow(int frames,
                                                         unsigned long long bytesPerFrame) {
    if (frames <= 0) {
        vesk_log("No substantial amount of frames to work on");
        return 0;
    }
    int limit = 20000;
    if (!globalInteger(kDefaultGroup, "SizeOfFrameCacheInMB", &limit)) {
        limit = 20000;
    }
    if (limit == -1) {
        return 0;
    }
    if (limit < 0) {
        vesk_logWarning("Invalid value: %d for key: %s", limit, "SizeOfFrameCacheInMB");
        return 0;
    }
    uint64_t bytes = _calculateSizeOfAllFrameCaches();
    uint64_t actual = (bytes >> 10) >> 10;
    vesk_log("Amount of data in frame cache %ld", static_cast<long>(bytes));
    vesk_log("Amount of data in frame cache (MB)%d", clampToInt(actual));
    if (actual == 0) {
        vesk_log("No substantial amount of data in frame cache disk.");
        return 0;
    }
    // A product that does not fit in 64 bits overflows any limit.
    uint64_t count = static_cast<uint64_t>(frames);
    uint64_t predictedBytes =
        bytesPerFrame > UINT64_MAX / count ? UINT64_MAX : count * bytesPerFrame;
    uint64_t predicted = (predictedBytes >> 10) >> 10;
    vesk_log("Values are: actual=%d predicted=%d  max=%d", clampToInt(actual),
             clampToInt(predicted), limit);
    return actual + predicted <= static_cast<uint64_t>(limit) ? 0 : 1;
}

uint64_t QuadenPISSConfigHelper::_calculateSizeOfAllFrameCaches() {
    // The second copy answers "seen before?" while the first is being walked: each has its own
    // cursor.
    QuadenPISSFrameCacheRegistry registry;
    QuadenPISSFrameCacheRegistry processed;
    uint64_t total = 0;
    int paths = 0;
    registry.PrepareKeyValuePairList();
    while (tFrameCacheRegistryKVPEntry* entry = registry.GetNextKeyValuePairInList()) {
        if (strcmp(entry->_key, kPathToCache) != 0) {
            continue;
        }
        if (!_hasFrameCacheRegistryDirectoryAlreadBeenProcessed(&processed, entry->_value, paths)) {
            total += PISSGetSizeOfDirectoryContents(entry->_value);
        }
        ++paths;
    }
    return total;
}

int QuadenPISSConfigHelper::_hasFrameCacheRegistryDirectoryAlreadBeenProcessed(
    QuadenPISSFrameCacheRegistry* registry, const char* path, int processedPaths) {
    if (registry == nullptr || path == nullptr) {
        return 0;
    }
    registry->PrepareKeyValuePairList();
    int seen = 0;
    while (seen < processedPaths) {
        tFrameCacheRegistryKVPEntry* entry = registry->GetNextKeyValuePairInList();
        if (entry == nullptr) {
            break;
        }
        if (strcmp(entry->_key, kPathToCache) != 0) {
            continue;
        }
        if (strcmp(entry->_value, path) == 0) {
            return 1;
        }
        ++seen;
    }
    return 0;
}
