// Hears about each per-project settings file that the sweep deletes or fails to delete, and about
// what the walk could not look into, so a front end can show them as they happen. Called on the
// thread that runs the walk, between entries; an implementation must not block for long and must
// not throw. Paths are given as they are on disk (a front end escapes them where it prints them).
#ifndef CORVIX_MAINTENANCE_CPRSWEEPOBSERVER_H
#define CORVIX_MAINTENANCE_CPRSWEEPOBSERVER_H

class CprSweepObserver {
  public:
    virtual ~CprSweepObserver() = default;

    // The walk reads the folder at path from now on: the chosen folder first, each subfolder as
    // it enters it, and the parent again when it has finished a subfolder. A front end shows it
    // as the folder being searched.
    virtual void searchingFolder(const char* /*path*/) {}
    // path was deleted (in a dry run: would be deleted).
    virtual void cprFileRemoved(const char* path) = 0;
    // path could not be deleted; reason is the system's text, or null when it gave none.
    virtual void cprFileNotRemoved(const char* path, const char* reason) = 0;
    // The folder at path could not be listed (or would have led the walk in a loop); nothing in
    // it was swept.
    virtual void folderNotRead(const char* /*path*/, const char* /*reason*/) {}
    // The entry at path was skipped: its path does not fit a path buffer, and a cut one would
    // name another file.
    virtual void pathSkipped(const char* /*path*/) {}
};

#endif
