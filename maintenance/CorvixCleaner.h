// Deletes the product's state from the disk, for both product generations at once: render
// queue folders, log files, user configuration files, the global settings store files, the frame
// cache folders and registries, and (removeCprFiles) the hidden per-project settings files in a
// folder tree. Machine-wide paths are taken below the machine root (vesk_machinePath); per-user
// ones from the Preferences folder.
//
// No state: every operation works on fixed paths. Missing files are not errors. Only removeLogs
// throws (CorvixCleanerException). removeConfigFiles and removeLogs write their diagnostics to
// standard error, as support staff expect them there. Operations are not coordinated with a
// running product process. Callers use one thread at a time, except for g_shouldRunCPRThread.
#ifndef CORVIX_MAINTENANCE_CORVIXCLEANER_H
#define CORVIX_MAINTENANCE_CORVIXCLEANER_H

#include <atomic>
#include <cstdio>

#include "CorvixCleanerException.h"

class CprSweepObserver;

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
    CorvixCleaner() = default;

    // removeLogs(), then removeConfigFiles(). Returns 1. Throws what removeLogs throws.
    int removeAll();
    // Deletes every file in the log folder whose name holds "corPro" or "corvix" and ends in
    // "log" or "txt" (any letter case). Returns how many. Throws CorvixCleanerException when the
    // folder cannot be listed (the text names it in double quotes) or a file cannot be deleted
    // (the files after it are left).
    int removeLogs();
    // Deletes "corvix.cfg" and "CorvixPro2.cfg"; returns how many went (0 to 2).
    int removeConfigFiles();
    // Deletes both render queue folders (the second product's first); returns the sum of the
    // SupportPackage::killDirectory results.
    int removeRenderQueueFiles(__e_corvix_versions version);
    // Kept as entry points that do no work; return 1.
    int removeRenderQueueHistory();
    int removeRenderQueueActiveJobs();
    // Deletes both global settings store files ("Config.txt"); failures are ignored.
    void removePISSConfig();
    // Deletes both frame cache registries ("FrameCache.cpr"); failures are ignored.
    void removeFrameRegistry();
    // Deletes both frame cache folders; returns the sum of the killDirectory results.
    int removeCacheFiles();

    // Deletes the per-project settings files (".CorvixPro2ProjectConfig.cpr",
    // ".CorvixProProjectConfig.cpr", any letter case) in folder, and with recursive in every
    // subfolder whose name does not begin with ".". Symbolic links are never followed. Each
    // deletion adds 1 to removed (never reset here) and writes a line to log unless it is null;
    // observer, if given, hears of it too. Stops early when g_shouldRunCPRThread is 0. Returns
    // 0 for a null or empty folder, else 1 (also when the folder cannot be listed).
    int removeCprFiles(const char* folder, bool recursive, FILE* log, int& removed,
                       CprSweepObserver* observer = nullptr);

    // Writes the per-user log folder, ending in "/", into buffer (size bytes, cleared first).
    bool getPathToLogs(char* buffer, unsigned long size);
};

#endif
