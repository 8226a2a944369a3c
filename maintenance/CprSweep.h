// One run of the per-project settings file sweep, as a worker thread (or the command line) runs
// it: raise the stop flag, open the sweep log "CorvixSupport.log" in the per-user log folder for
// appending, write the session header, walk the folder with CorvixCleaner::removeCprFiles, close
// the log. Showing progress and the final count is the caller's job.
//
// Runs on the calling thread until the walk ends or g_shouldRunCPRThread is set to 0 (from any
// other thread or a signal handler). One sweep at a time per process: the flag is shared.
// Failures never throw: an unlistable folder is skipped, per-file failures go to the sweep log,
// and when the log cannot be opened the sweep runs without it.
#ifndef CORVIX_MAINTENANCE_CPRSWEEP_H
#define CORVIX_MAINTENANCE_CPRSWEEP_H

class CprSweepObserver;

class CprSweep {
  public:
    // Sweeps folder (through its subfolders with recursive) and returns the number of files
    // deleted. observer, if given, hears of every deletion and failure on this thread.
    static int run(const char* folder, bool recursive, CprSweepObserver* observer = nullptr);
};

#endif
