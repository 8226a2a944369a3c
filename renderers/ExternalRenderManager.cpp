#include "ExternalRenderManager.h"

#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>
#include <tinyxml.h>

#include <cstring>
#include <set>
#include <string>

#include "ExternalRenderer.h"
#include "OverridesFile.h"
#include "RenderControlInfo.h"
#include "RenderExecutable.h"
#include "RendererOverrideMap.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "VeskPlatform.h"
#include "XmlFile.h"

const char* const ExternalRenderManager::kCommitFailedTitle =
    "Could not update 3d render settings.";
const char* const ExternalRenderManager::kCommitFailedMessage =
    "There was trouble modifying the overrides file.";
const char* const ExternalRenderManager::kCommitDoneTitle =
    "You have successfully updated your 3D renderer settings.";
const char* const ExternalRenderManager::kCommitDoneMessage =
    "Please restart After Effects for the settings to take effect.";

namespace {

const char kOverridesFile[] = "overrides.xml";

bool isControlFile(const struct dirent* entry) {
    const char* name = entry->d_name;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0 || entry->d_type == DT_DIR) {
        return false;
    }
    size_t length = strlen(name);
    // The overrides file is recognised in any letter case, the extension only as written.
    return length > 4 && strcasecmp(name, kOverridesFile) != 0 &&
           strcmp(name + length - 4, ".xml") == 0;
}

// The view counts a path as present when anything at all exists there.
bool pathExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

}  // namespace

ExternalRenderManager::ExternalRenderManager(LockMode lockMode) {
    if (lockMode == kLockForLifetime) {
        _lifetimeLock.reset(new VeskFileLock(overridesFile()));
    }
    load();
}

ExternalRenderManager::~ExternalRenderManager() {
    for (ExternalRenderer* renderer : _renderers) {
        delete renderer;
    }
}

std::string ExternalRenderManager::rendererFolder() {
    return vesk_productFolder(2) + "Renderers";
}

std::string ExternalRenderManager::overridesFile() {
    return rendererFolder() + "/" + kOverridesFile;
}

void ExternalRenderManager::load() {
    std::string folder = rendererFolder();
    std::string overrides = overridesFile();
    if (vesk_pathFits(overrides)) {
        RendererOverrideMap::getInstance()->load(overrides.c_str());
    } else {
        vesk_reportPathTooLong(overrides);
    }
    DIR* listing = opendir(folder.c_str());
    if (!listing) {
        return;
    }
    while (struct dirent* entry = readdir(listing)) {
        std::string path;
        if (isControlFile(entry) &&
            vesk_formatPathString(&path, "%s/%s", folder.c_str(), entry->d_name)) {
            parseXmlFile(path.c_str(), false, nullptr);
        }
    }
    closedir(listing);
}

int ExternalRenderManager::parseXmlFile(const char* path, bool ignoreOverride,
                                        ExternalRenderer* existing) {
    if (!path) {
        return 0;
    }
    TiXmlDocument document;
    if (render_readXmlFile(document, path) != RenderXmlResult::kLoaded) {
        return 0;
    }
    TiXmlElement* element = document.FirstChildElement("renderer");
    if (!element) {
        return 0;
    }
    std::unique_ptr<RenderControlInfo> info(
        RenderControlInfo::controlInfoFromElement(element, ignoreOverride));
    if (!info) {
        return 0;
    }
    ExternalRenderer* record = existing ? existing : new ExternalRenderer();
    record->setControlFile(path);
    record->setName(info->getName());
    if (RenderExecutable* executable = info->getExecutable()) {
        record->setValid(executable->exists());
        record->setOverridden(executable->isOverridden());
        record->setPath(executable->getLaunchPath());
    } else {
        record->setPath(info->getOverridePath());
        record->setValid(false);
        // A pin whose program is missing (on a volume not mounted, say) is still the user's pin:
        // the row loads in "Specify", or the next commit would drop it from the file.
        if (!ignoreOverride && *info->getOverridePath()) {
            record->setOverridden(true);
        }
    }
    if (!existing) {
        _renderers.push_back(record);
    }
    return 0;
}

ExternalRenderer* ExternalRenderManager::rowAt(size_t row) {
    if (row >= _renderers.size()) {
        vesk_diagnostic("\nNo renderer in row %zu; the list has %zu.", row, _renderers.size());
        return nullptr;
    }
    return _renderers[row];
}

bool ExternalRenderManager::setMode(size_t row, int mode) {
    ExternalRenderer* record = rowAt(row);
    if (!record) {
        return false;
    }
    if (mode == kModeSpecify) {
        record->setOverridden(true);
        record->setValid(pathExists(record->getPath()));
    } else {
        record->setOverridden(false);
        parseXmlFile(record->getControlFile().c_str(), true, record);
    }
    return true;
}

bool ExternalRenderManager::setPath(size_t row, const char* path) {
    ExternalRenderer* record = rowAt(row);
    if (!record || !path) {
        return false;
    }
    if (!vesk_pathFits(path)) {
        vesk_reportPathTooLong(path);
        return false;
    }
    record->setOverridden(true);
    if (strcasecmp(path, record->getPath().c_str()) != 0) {
        record->setPath(path);
        record->setValid(pathExists(path));
    }
    return true;
}

bool ExternalRenderManager::commitChanges() {
    _commitError.clear();
    std::string path = overridesFile();
    if (!vesk_pathFits(path)) {
        _commitError = "path too long: " + vesk_printablePath(path);
        return false;
    }
    std::unique_ptr<VeskFileLock> commitLock;
    VeskFileLock* lock = _lifetimeLock.get();
    if (!lock) {
        commitLock.reset(new VeskFileLock(path));
        lock = commitLock.get();
    }
    if (!lock->locked()) {
        _commitError = lock->error();
        return false;
    }
    std::vector<OverridesFile::Pin> pins;
    std::set<std::string> named;
    for (const ExternalRenderer* renderer : _renderers) {
        named.insert(renderer->getName());
        if (renderer->isOverridden()) {
            pins.push_back({renderer->getName(), renderer->getPath()});
        }
    }
    // A pin of a renderer without a row (its render control file removed, or unreadable for now)
    // is still the user's, and no row could ever take it out again: it stays.
    for (const auto& [name, pinned] : RendererOverrideMap::getInstance()->getOverrides()) {
        if (named.count(name) == 0) {
            pins.push_back({name, pinned});
        }
    }
    return OverridesFile::write(path, pins, &_commitError);
}
