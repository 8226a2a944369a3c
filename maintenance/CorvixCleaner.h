// Deletes the product's state from the disk, for both product generations at once: render
// queue folders, log files, user configuration files, the global settings store files, the frame
// cache folders and registries, and (removeCprFiles) the hidden per-project settings files in a
// folder tree. Machine-wide paths are taken below the machine root (vesk_machinePath); per-user
// ones from the Preferences folder.
//
// No state: every operation works on fixed paths. Missing files are not errors. Only removeLogs
// throws (CorvixCleanerException). removeConfigFiles and removeLogs write their designed lines
// through the diagnostics sink. Deleting never follows a symbolic link (a link goes, its target
// stays), and no path is cut: one that does not fit a path buffer is skipped and reported.
// Operations are not coordinated with a running product process. Callers use one thread at a
// time, except for g_shouldRunCPRThread.
#ifndef CORVIX_MAINTENANCE_CORVIXCLEANER_H
#define CORVIX_MAINTENANCE_CORVIXCLEANER_H

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "CorvixCleanerException.h"

class CprSweepObserver;

// What one operation actually did, for front ends that report it honestly: the designed results
// count attempts, and failures are otherwise silent.
struct CorvixCleanerResult {
    // Files (or links) deleted; in a dry run, those that would be.
    int removed = 0;
    // Entries that exist and could not be deleted; problem describes the first.
    int notRemoved = 0;
    std::string problem;
    // A dry run's list: every path that would be deleted (folders with a trailing "/", after
    // what they hold), in the order a real run deletes them, and the bytes of the files among
    // them. Empty after a real run.
    std::vector<std::string> wouldRemove;
    int64_t bytes = 0;
};

// Whether a cleaner deletes, or only finds what it would delete.
enum CorvixCleanerMode {
    kCleanerDeletes,
    // The same walks and checks, deleting nothing and creating nothing (not even the log folder);
    // the designed standard-error lines are not written, and a sweep writes no log.
    kCleanerDryRun,
};

// Product generations. The cleaner deletes both generations' items whatever the value; the
// Maintenance view passes 3.
enum __e_corvix_versions {
    e_corvix_pro = 1,
    e_corvix_pro2 = 2,
    e_corvix_all = 3,
};

// The sweep's stop flag: removeCprFiles goes on while it is not 0. A sweep sets it to 1 when it
// starts; a stop button (another thread) or a signal handler sets it to 0, and the walk ends
// after its current entry. Atomic and lock-free, so both may write it safely.
extern std::atomic<int> g_shouldRunCPRThread;

class CorvixCleaner {
  public:
    explicit CorvixCleaner(CorvixCleanerMode mode = kCleanerDeletes) : _mode(mode) {}

    // Each operation below adds what it did to result when result is not null.

    // removeLogs(), then removeConfigFiles(). Returns 1. Throws what removeLogs throws.
    int removeAll();
    // Deletes every file in the log folder whose name holds "corPro" or "corvix" and ends in
    // "log" or "txt" (any letter case). Returns how many. Throws CorvixCleanerException when the
    // folder cannot be found or listed (the text names it in double quotes) or a file cannot be
    // deleted (the files after it are left; result counts those deleted before).
    int removeLogs(CorvixCleanerResult* result = nullptr);
    // Deletes "corvix.cfg" and "CorvixPro2.cfg"; returns how many went (0 to 2).
    int removeConfigFiles(CorvixCleanerResult* result = nullptr);
    // Deletes both render queue folders (the second product's first); returns the sum of the
    // SupportPackage::killDirectory results (entries it tried to remove).
    int removeRenderQueueFiles(__e_corvix_versions version, CorvixCleanerResult* result = nullptr);
    // Kept as entry points that do no work; return 1.
    int removeRenderQueueHistory();
    int removeRenderQueueActiveJobs();
    // Deletes both global settings store files ("Config.txt"); failures are not returned.
    void removePISSConfig(CorvixCleanerResult* result = nullptr);
    // Deletes both frame cache registries ("FrameCache.cpr"); failures are not returned.
    void removeFrameRegistry(CorvixCleanerResult* result = nullptr);
    // Deletes both frame cache folders; returns the sum of the killDirectory results.
    int removeCacheFiles(CorvixCleanerResult* result = nullptr);

    // Deletes the per-project settings files (".CorvixPro2ProjectConfig.cpr",
    // ".CorvixProProjectConfig.cpr", any letter case) in folder, and with recursive in every
    // subfolder whose name does not begin with ".". Symbolic links below folder are never
    // followed and the walk never loops or recurses, whatever the depth. Each deletion adds 1 to
    // removed (never reset here) and writes a line to log unless it is null; log lines carry
    // paths with control characters escaped (vesk_printablePath). observer, if given, hears of
    // every deletion, failure, unreadable folder and entry skipped because its path does not fit
    // a path buffer. Stops early when g_shouldRunCPRThread is 0. Returns 0 for a null or empty
    // folder, else 1 (also when the folder cannot be listed).
    int removeCprFiles(const char* folder, bool recursive, FILE* log, int& removed,
                       CprSweepObserver* observer = nullptr);

    // Writes the per-user log folder, ending in "/", into buffer (size bytes, cleared first),
    // creating it. False, with the buffer empty and the path reported, when it has more than
    // size - 2 characters.
    bool getPathToLogs(char* buffer, unsigned long size);

  private:
    bool dryRun() const { return _mode == kCleanerDryRun; }
    // remove(3) of path, or in a dry run a check of what it would do. 0 when path went (or would
    // go), which is noted in result; else the error remove(3) gives (or would give).
    int removePath(const std::string& path, CorvixCleanerResult* result);
    // removePath on each generation's item; a missing one is no failure.
    void removeProductFiles(const char* item, CorvixCleanerResult* result);
    // vesk_removeTree on each generation's folder, the second product's first.
    int removeProductFolders(const char* item, CorvixCleanerResult* result);

    CorvixCleanerMode _mode;
};

#endif
