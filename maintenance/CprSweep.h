// One run of the per-project settings file sweep, as a worker thread (or the command line) runs
// it: raise the stop flag, open the sweep log "CorvixSupport.log" in the per-user log folder for
// appending, write the session header, walk the folder with CorvixCleaner::removeCprFiles, close
// the log. Showing progress and the final count is the caller's job.
//
// Runs on the calling thread until the walk ends or g_shouldRunCPRThread is set to 0 (from any
// other thread or a signal handler). One sweep at a time per process: the flag is shared.
// Failures never throw: per-file failures go to the sweep log and the observer, unreadable
// folders and skipped paths to the observer and the result; when the log cannot be opened the
// sweep runs without it and says so through the diagnostics sink. The log is line-buffered, so a
// stopped or interrupted sweep has logged every deletion it made.
#ifndef CORVIX_MAINTENANCE_CPRSWEEP_H
#define CORVIX_MAINTENANCE_CPRSWEEP_H

#include <string>

#include "CorvixCleaner.h"

class CprSweepObserver;

// What a sweep did and did not do, for an honest report.
struct CprSweepResult {
    // Files deleted; in a dry run, those that would be.
    int removed = 0;
    // Targets found and not deleted.
    int notRemoved = 0;
    // Folders that could not be listed (the chosen one included), and entries skipped because
    // their path does not fit a path buffer.
    int foldersNotRead = 0;
    int pathsSkipped = 0;
    // Set when the chosen folder itself could not be listed: why ("No such file or directory").
    std::string folderError;
    // g_shouldRunCPRThread was 0 at the end: the walk may have been cut short.
    bool stopped = false;

    bool complete() const {
        return notRemoved == 0 && foldersNotRead == 0 && pathsSkipped == 0 && !stopped;
    }
    // What the sweep did not do, one sentence per line, each ending in "\n" ("2 file(s) could not
    // be removed.", ...), to show beside the count; empty when complete().
    std::string shortfall() const;
};

class CprSweep {
  public:
    // Sweeps folder (through its subfolders with recursive) and returns the number of files
    // deleted. observer, if given, hears of every deletion and failure on this thread; result,
    // if given, receives the whole account. With kCleanerDryRun the same walk deletes nothing
    // and writes no sweep log: the observer hears of each file it would delete as deleted.
    static int run(const char* folder, bool recursive, CprSweepObserver* observer = nullptr,
                   CprSweepResult* result = nullptr, CorvixCleanerMode mode = kCleanerDeletes);
};

#endif
