#include "CorvixCleaner.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "CprSweepObserver.h"
#include "SupportPackage.h"
#include "VeskDiagnostics.h"
#include "VeskLog.h"
#include "VeskPlatform.h"

std::atomic<int> g_shouldRunCPRThread{0};

namespace {

// Paths live in 1025-byte buffers filled with at most 1024 characters; longer ones are cut.
const size_t kPathBuffer = 1025;

const int kProductFolder = 1;
const int kProduct2Folder = 2;

std::string productPath(int generation, const char* item) {
    return vesk_productFolder(generation) + item;
}

bool endsWithIgnoringCase(const char* name, const char* suffix) {
    size_t length = strlen(name);
    size_t suffixLength = strlen(suffix);
    return length >= suffixLength && strcasecmp(name + length - suffixLength, suffix) == 0;
}

bool isLogFileName(const char* name) {
    return (strcasestr(name, "corPro") || strcasestr(name, "corvix")) &&
           (endsWithIgnoringCase(name, "log") || endsWithIgnoringCase(name, "txt"));
}

bool isCprFileName(const char* name) {
    return strcasecmp(name, ".CorvixPro2ProjectConfig.cpr") == 0 ||
           strcasecmp(name, ".CorvixProProjectConfig.cpr") == 0;
}

}  // namespace

int CorvixCleaner::removeAll() {
    removeLogs();
    removeConfigFiles();
    return 1;
}

int CorvixCleaner::removeLogs() {
    char folder[kPathBuffer] = {0};
    if (!getPathToLogs(folder, kPathBuffer - 1)) {
        throw CorvixCleanerException("Could not acquire log path.");
    }
    DIR* dir = opendir(folder);
    if (!dir) {
        // Room for the whole folder name as well as the words around it.
        char message[kPathBuffer + 64] = {0};
        snprintf(message, sizeof message, "Could not open \"%s\" for directory listing.", folder);
        throw CorvixCleanerException(message);
    }
    std::vector<std::string> names;
    while (struct dirent* entry = readdir(dir)) {
        if (isLogFileName(entry->d_name)) {
            names.push_back(entry->d_name);
        }
    }
    closedir(dir);

    for (const std::string& name : names) {
        char path[kPathBuffer] = {0};
        snprintf(path, kPathBuffer, "%s%s", folder, name.c_str());
        if (remove(path) != 0) {
            int error = errno;
            vesk_diagnostic("\nTrying to delete: %s", path);
            std::string message =
                std::string("Could not delete ") + path + "\n" + strerror(error) + ".";
            throw CorvixCleanerException(message.c_str());
        }
    }
    return static_cast<int>(names.size());
}

int CorvixCleaner::removeConfigFiles() {
    std::string base;
    if (!vesk_preferencesFolderOrFallback(&base)) {
        // The platform gives no status code; -1 stands for "no folder".
        vesk_diagnostic("\nFSFindFolder failed (%d)", -1);
    }
    std::string folder = base + "/Orvanta" + "/Corvix//";

    int deleted = 0;
    for (const char* name : {"corvix.cfg", "CorvixPro2.cfg"}) {
        char path[kPathBuffer] = {0};
        snprintf(path, kPathBuffer, "%s%s", folder.c_str(), name);
        if (remove(path) == 0) {
            ++deleted;
        } else {
            vesk_diagnostic("\n%s not deleted.", name);
        }
    }
    vesk_diagnostic("\n%d config files deleted.", deleted);
    return deleted;
}

int CorvixCleaner::removeRenderQueueFiles(__e_corvix_versions /*version*/) {
    int count = SupportPackage::killDirectory(productPath(kProduct2Folder, "RenderQueue/").c_str());
    count += SupportPackage::killDirectory(productPath(kProductFolder, "RenderQueue/").c_str());
    return count;
}

int CorvixCleaner::removeRenderQueueHistory() {
    return 1;
}

int CorvixCleaner::removeRenderQueueActiveJobs() {
    return 1;
}

void CorvixCleaner::removePISSConfig() {
    remove(productPath(kProductFolder, "Config.txt").c_str());
    remove(productPath(kProduct2Folder, "Config.txt").c_str());
}

void CorvixCleaner::removeFrameRegistry() {
    remove(productPath(kProductFolder, "FrameCache.cpr").c_str());
    remove(productPath(kProduct2Folder, "FrameCache.cpr").c_str());
}

int CorvixCleaner::removeCacheFiles() {
    int count = SupportPackage::killDirectory(productPath(kProduct2Folder, "Cache/").c_str());
    count += SupportPackage::killDirectory(productPath(kProductFolder, "Cache/").c_str());
    return count;
}

int CorvixCleaner::removeCprFiles(const char* folder, bool recursive, FILE* log, int& removed,
                                  CprSweepObserver* observer) {
    if (!folder || !*folder) {
        return 0;
    }
    DIR* dir = opendir(folder);
    if (!dir) {
        return 1;
    }
    const char* format = folder[strlen(folder) - 1] == '/' ? "%s%s" : "%s/%s";
    struct dirent* entry;
    while ((entry = readdir(dir)) != nullptr && g_shouldRunCPRThread) {
        char* path = static_cast<char*>(calloc(kPathBuffer, 1));
        if (!path) {
            continue;
        }
        snprintf(path, kPathBuffer, format, folder, entry->d_name);

        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            // Some file systems leave the type out of the listing; ask without following links.
            struct stat info;
            isFolder = lstat(path, &info) == 0 && S_ISDIR(info.st_mode);
        }
        if (isFolder && recursive && g_shouldRunCPRThread) {
            if (entry->d_name[0] != '.') {
                removeCprFiles(path, recursive, log, removed, observer);
            }
        } else if (isCprFileName(entry->d_name)) {
            if (remove(path) == 0) {
                ++removed;
                if (log) {
                    fprintf(log, "REMOVED - %s \n", path);
                }
                if (observer) {
                    observer->cprFileRemoved(path);
                }
            } else {
                const char* reason = errno ? strerror(errno) : nullptr;
                if (reason && !*reason) {
                    reason = nullptr;
                }
                if (log) {
                    if (reason) {
                        fprintf(log, "ERROR - %s -> %s\n", path, reason);
                    } else {
                        fprintf(log, "ERROR - %s\n", path);
                    }
                }
                if (observer) {
                    observer->cprFileNotRemoved(path, reason);
                }
            }
        }
        free(path);
    }
    closedir(dir);
    return 1;
}

bool CorvixCleaner::getPathToLogs(char* buffer, unsigned long size) {
    if (!buffer || size == 0) {
        return false;
    }
    return calculateLogFilePath(buffer, static_cast<int>(size), "") == 1;
}
