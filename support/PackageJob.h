// PackageJob: the support package job without its windows. It collects the fixed rows of
// PackageRows.h into a fresh staging area, describes the package in its manifest and saves the
// archive. The window runs it on a worker thread; the command line runs it directly.
//
// Progress and the job's two failure alerts go to a PackageJobObserver, called on the thread that
// runs the job; the job itself never prints (the staging area's own diagnostics go to standard
// error). Files that do not exist are skipped silently. The staging folder is left in place.
// SupportPackageException from creating the staging area is not caught here.
#ifndef CORVIX_SUPPORT_PACKAGEJOB_H
#define CORVIX_SUPPORT_PACKAGEJOB_H

#include <cstdint>
#include <string>
#include <vector>

#include "PackageRequest.h"
#include "PackageRows.h"

class PackageJobObserver {
  public:
    virtual ~PackageJobObserver() {}
    // Before row index (1-based) of total is collected.
    virtual void packageStep(int index, int total, const std::string& label) = 0;
    // After the last row, before the manifest is written and the archive saved.
    virtual void packageSaving(const std::string& /*archivePath*/) {}
    // One of the job's alerts: "Error creating suppport package." with "No Filename provided."
    // (the job goes on) or "Could not create support package." (the job ends).
    virtual void packageAlert(const std::string& title, const std::string& message) = 0;
};

struct PackageJobResult {
    bool _created = false;       // the staging area was made and the rows collected
    int _saved = 0;              // what savePackage reported (1: manifest and archive written)
    std::string _stagingFolder;  // left in place for inspection
    std::string _message;        // the completion text for the user, naming the archive
};

// What a dry run reports for one row: each file it would copy (with its size) or the command it
// would run (size -1).
struct PackagePlanItem {
    std::string _what;
    int64_t _size;
};

struct PackagePlanRow {
    int _index;
    const PackageRow* _row;
    std::vector<PackagePlanItem> _items;
};

class PackageJob {
  public:
    static const char* const kErrorTitle;

    // Runs the whole job for request. observer may be null.
    static PackageJobResult run(const PackageRequest& request, PackageJobObserver* observer);

    // What run() would collect on this machine now, row by row; creates nothing.
    static std::vector<PackagePlanRow> plan(const PackageRequest& request);

    // The completion text for an archive saved at path.
    static std::string successMessage(const std::string& archivePath);
};

#endif
