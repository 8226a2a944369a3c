#include "CorvixCleaner.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include "CprSweepObserver.h"
#include "VeskDiagnostics.h"
#include "VeskFolderWalk.h"
#include "VeskLog.h"
#include "VeskPath.h"
#include "VeskPlatform.h"

std::atomic<int> g_shouldRunCPRThread{0};

namespace {

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

void noteRemoved(CorvixCleanerResult* result, int count = 1) {
    if (result) {
        result->removed += count;
    }
}

void noteNotRemoved(CorvixCleanerResult* result, int count, const std::string& problem) {
    if (!result || count == 0) {
        return;
    }
    if (result->notRemoved == 0) {
        result->problem = problem;
    }
    result->notRemoved += count;
}

void noteNotRemoved(CorvixCleanerResult* result, const std::string& path, const char* reason) {
    noteNotRemoved(result, 1, vesk_printablePath(path) + ": " + reason);
}

void noteWouldRemove(CorvixCleanerResult* result, const std::string& path, int64_t bytes) {
    if (result) {
        result->wouldRemove.push_back(path);
        result->bytes += bytes;
    }
}

bool isEmptyFolder(const std::string& path) {
    DIR* dir = opendir(path.c_str());
    if (!dir) {
        return false;
    }
    bool empty = true;
    while (struct dirent* entry = readdir(dir)) {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
            empty = false;
            break;
        }
    }
    closedir(dir);
    return empty;
}

void writeLogLine(FILE* log, const char* format, ...) __attribute__((format(printf, 2, 3)));
void writeLogLine(FILE* log, const char* format, ...) {
    if (!log) {
        return;
    }
    va_list args;
    va_start(args, format);
    vfprintf(log, format, args);
    va_end(args);
}

// Deletes one target found by the sweep, as remove(3) would, and tells the log and observer. A
// dry run counts it and tells the observer only.
void removeCprFile(int folder, const char* name, const char* path, FILE* log, int& removed,
                   CprSweepObserver* observer, bool dryRun) {
    std::string printable = vesk_printablePath(path);
    if (dryRun) {
        ++removed;
        if (observer) {
            observer->cprFileRemoved(path);
        }
        return;
    }
    if (vesk_removeAt(folder, name) == 0) {
        ++removed;
        writeLogLine(log, "REMOVED - %s \n", printable.c_str());
        if (observer) {
            observer->cprFileRemoved(path);
        }
        return;
    }
    const char* reason = errno ? strerror(errno) : nullptr;
    if (reason && !*reason) {
        reason = nullptr;
    }
    if (reason) {
        writeLogLine(log, "ERROR - %s -> %s\n", printable.c_str(), reason);
    } else {
        writeLogLine(log, "ERROR - %s\n", printable.c_str());
    }
    if (observer) {
        observer->cprFileNotRemoved(path, reason);
    }
}

}  // namespace

int CorvixCleaner::removeAll() {
    removeLogs();
    removeConfigFiles();
    return 1;
}

int CorvixCleaner::removePath(const std::string& path, CorvixCleanerResult* result) {
    if (!dryRun()) {
        if (remove(path.c_str()) != 0) {
            return errno;
        }
        noteRemoved(result);
        return 0;
    }
    struct stat info;
    if (lstat(path.c_str(), &info) != 0) {
        return errno;
    }
    bool folder = S_ISDIR(info.st_mode);
    if (folder && !isEmptyFolder(path)) {
        return ENOTEMPTY;
    }
    noteRemoved(result);
    noteWouldRemove(result, folder ? path + "/" : path, S_ISREG(info.st_mode) ? info.st_size : 0);
    return 0;
}

void CorvixCleaner::removeProductFiles(const char* item, CorvixCleanerResult* result) {
    for (int generation : {kProductFolder, kProduct2Folder}) {
        std::string path = productPath(generation, item);
        int error = removePath(path, result);
        if (error != 0 && error != ENOENT) {
            noteNotRemoved(result, path, strerror(error));
        }
    }
}

int CorvixCleaner::removeProductFolders(const char* item, CorvixCleanerResult* result) {
    int count = 0;
    for (int generation : {kProduct2Folder, kProductFolder}) {
        VeskTreeRemoval removal = vesk_removeTree(productPath(generation, item).c_str(), dryRun());
        count += removal.attempted;
        noteRemoved(result, removal.removed);
        noteNotRemoved(result, removal.failed, removal.problem);
        for (const std::string& path : removal.wouldRemove) {
            noteWouldRemove(result, path, 0);
        }
        if (result) {
            result->bytes += removal.bytes;
        }
    }
    return count;
}

int CorvixCleaner::removeLogs(CorvixCleanerResult* result) {
    char folder[kVeskPathBufferSize] = {0};
    // A dry run creates nothing: a log folder that is not there yet holds no log to delete.
    bool found = dryRun() ? vesk_formatPath(folder, kVeskPathBufferSize - 1, "%s",
                                            vesk_logFolderWithoutCreating().c_str())
                          : getPathToLogs(folder, kVeskPathBufferSize - 1);
    if (!found) {
        throw CorvixCleanerException("Could not acquire log path.");
    }
    DIR* dir = opendir(folder);
    if (!dir && dryRun() && errno == ENOENT) {
        return 0;
    }
    if (!dir) {
        std::string message =
            std::string("Could not open \"") + folder + "\" for directory listing.";
        throw CorvixCleanerException(message.c_str());
    }
    std::vector<std::string> names;
    while (struct dirent* entry = readdir(dir)) {
        if (isLogFileName(entry->d_name)) {
            names.push_back(entry->d_name);
        }
    }
    closedir(dir);

    int removed = 0;
    for (const std::string& name : names) {
        char path[kVeskPathBufferSize] = {0};
        if (!vesk_formatPath(path, kVeskPathBufferSize, "%s%s", folder, name.c_str())) {
            noteNotRemoved(result, std::string(folder) + name, "path too long");
            continue;
        }
        if (int error = removePath(path, result)) {
            if (!dryRun()) {
                vesk_diagnostic("\nTrying to delete: %s", vesk_printablePath(path).c_str());
            }
            std::string message =
                std::string("Could not delete ") + path + "\n" + strerror(error) + ".";
            noteNotRemoved(result, path, strerror(error));
            throw CorvixCleanerException(message.c_str());
        }
        ++removed;
    }
    return removed;
}

int CorvixCleaner::removeConfigFiles(CorvixCleanerResult* result) {
    std::string base;
    if (!vesk_preferencesFolderOrFallback(&base, !dryRun()) && !dryRun()) {
        // The platform gives no status code; -1 stands for "no folder".
        vesk_diagnostic("\nFSFindFolder failed (%d)", -1);
    }
    std::string folder = base + "/Orvanta" + "/Corvix//";

    int deleted = 0;
    for (const char* name : {"corvix.cfg", "CorvixPro2.cfg"}) {
        char path[kVeskPathBufferSize] = {0};
        bool fits = vesk_formatPath(path, kVeskPathBufferSize, "%s%s", folder.c_str(), name);
        int error = fits ? removePath(path, result) : ENAMETOOLONG;
        if (error == 0) {
            ++deleted;
            continue;
        }
        if (!dryRun()) {
            vesk_diagnostic("\n%s not deleted.", name);
        }
        if (error != ENOENT) {
            noteNotRemoved(result, folder + name, strerror(error));
        }
    }
    if (!dryRun()) {
        vesk_diagnostic("\n%d config files deleted.", deleted);
    }
    return deleted;
}

int CorvixCleaner::removeRenderQueueFiles(__e_corvix_versions /*version*/,
                                          CorvixCleanerResult* result) {
    return removeProductFolders("RenderQueue/", result);
}

int CorvixCleaner::removeRenderQueueHistory() {
    return 1;
}

int CorvixCleaner::removeRenderQueueActiveJobs() {
    return 1;
}

void CorvixCleaner::removePISSConfig(CorvixCleanerResult* result) {
    removeProductFiles("Config.txt", result);
}

void CorvixCleaner::removeFrameRegistry(CorvixCleanerResult* result) {
    removeProductFiles("FrameCache.cpr", result);
}

int CorvixCleaner::removeCacheFiles(CorvixCleanerResult* result) {
    return removeProductFolders("Cache/", result);
}

int CorvixCleaner::removeCprFiles(const char* folder, bool recursive, FILE* log, int& removed,
                                  CprSweepObserver* observer) {
    if (!folder || !*folder) {
        return 0;
    }
    // The folder the user chose may be a link; below it, none is followed.
    VeskFolderWalk walk;
    if (!walk.start(folder, true)) {
        if (observer) {
            observer->folderNotRead(folder, strerror(errno));
        }
        return 1;
    }
    // The designed path of each folder the walk is in, joined as "%s%s" or "%s/%s".
    std::vector<std::string> paths{folder};
    if (observer) {
        observer->searchingFolder(folder);
    }
    VeskFolderWalk::Entry entry;
    while (walk.depth() > 0) {
        if (!walk.nextEntry(&entry)) {
            paths.pop_back();
            if (!walk.leave() && walk.depth() > 0) {
                if (observer) {
                    observer->folderNotRead(paths.back().c_str(), strerror(errno));
                }
                break;
            }
            if (observer && walk.depth() > 0) {
                observer->searchingFolder(paths.back().c_str());
            }
            continue;
        }
        if (!g_shouldRunCPRThread) {
            break;
        }
        const std::string& parent = paths.back();
        const char* format = parent.back() == '/' ? "%s%s" : "%s/%s";
        char path[kVeskPathBufferSize];
        if (!vesk_formatPathQuietly(path, sizeof path, format, parent.c_str(),
                                    entry.name.c_str())) {
            if (observer) {
                observer->pathSkipped(
                    (parent + (parent.back() == '/' ? "" : "/") + entry.name).c_str());
            }
            continue;
        }
        if (entry.isFolder && recursive) {
            if (entry.name[0] == '.') {
                continue;
            }
            if (walk.enter(entry.name)) {
                paths.push_back(path);
                if (observer) {
                    observer->searchingFolder(path);
                }
            } else if (observer && errno != ENOENT) {
                observer->folderNotRead(path, strerror(errno));
            }
        } else if (isCprFileName(entry.name.c_str())) {
            removeCprFile(walk.fd(), entry.name.c_str(), path, log, removed, observer, dryRun());
        }
    }
    return 1;
}

bool CorvixCleaner::getPathToLogs(char* buffer, unsigned long size) {
    if (!buffer || size == 0) {
        return false;
    }
    return vesk_formatPath(buffer, size, "%s", vesk_logFolder().c_str());
}
