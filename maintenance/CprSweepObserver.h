// Hears about each per-project settings file that the sweep deletes or fails to delete, so a
// front end can show them as they happen. Called on the thread that runs the walk, between
// entries; an implementation must not block for long and must not throw.
#ifndef CORVIX_MAINTENANCE_CPRSWEEPOBSERVER_H
#define CORVIX_MAINTENANCE_CPRSWEEPOBSERVER_H

class CprSweepObserver {
  public:
    virtual ~CprSweepObserver() = default;

    // path was deleted.
    virtual void cprFileRemoved(const char* path) = 0;
    // path could not be deleted; reason is the system's text, or null when it gave none.
    virtual void cprFileNotRemoved(const char* path, const char* reason) = 0;
};

#endif
