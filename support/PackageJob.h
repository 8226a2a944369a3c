// PackageJob: the support package job without its windows. It collects the fixed rows of
// PackageRows.h into a fresh staging area, describes the package in its manifest and saves the
// archive. The window runs it on a worker thread; the command line runs it directly. Both decide
// what to tell the user from the result alone: "has been created" only when the archive was read
// back whole and renamed into place.
//
// Progress and the job's two designed alerts go to a PackageJobObserver, called on the thread that
// runs the job; the job itself never prints (the staging area's own diagnostics go through the
// diagnostics sink). Files that do not exist are skipped silently; a staged file that could not be
// written whole fails the job. The staging folder holds copies of the user's files: it is removed
// once the archive has been read back whole (unless the request keeps it) and after a cancel (a
// partial collection is of no use); after a failure it stays, as the only copy of what was
// collected. Under a machine root the system commands describe this machine, not the copied
// disk: their rows are skipped unless the request asks for live commands.
//
// Cancelling: a PackageCancelFlag handed to run() may be raised from a signal handler or another
// thread; the job then ends the running command's process group, removes its temporary archive,
// leaves an existing archive untouched and returns Cancelled within a moment.
#ifndef CORVIX_SUPPORT_PACKAGEJOB_H
#define CORVIX_SUPPORT_PACKAGEJOB_H

#include <cstdint>
#include <string>
#include <vector>

#include "PackageCancelFlag.h"
#include "PackageRequest.h"
#include "PackageRows.h"

class PackageJobObserver {
  public:
    virtual ~PackageJobObserver() {}
    // As row index (1-based) of total starts, in row order. The system commands (rows 2 to 10)
    // start one after the other at once and run side by side while the later rows are collected;
    // the job waits for the last of them before packageSaving.
    virtual void packageStep(int index, int total, const std::string& label) = 0;
    // Instead of packageStep for a row that is passed over, with the reason. By default the row
    // is reported as started, as the window always showed it.
    virtual void packageSkipped(int index, int total, const std::string& label,
                                const std::string& /*why*/) {
        packageStep(index, total, label);
    }
    // How far the archive (what == "archive") or a staged copy of 64 MiB or more (what is the
    // source path) has got: done of total bytes, as often as a piece is written; the last call of
    // a finished one has done == total.
    virtual void packageBytes(const std::string& /*what*/, uint64_t /*done*/, uint64_t /*total*/) {}
    // After the last row, before the manifest is written and the archive saved.
    virtual void packageSaving(const std::string& /*archivePath*/) {}
    // One of the job's alerts: "Error creating suppport package." with "No Filename provided."
    // (the job goes on) or "Could not create support package." (the job ends).
    virtual void packageAlert(const std::string& title, const std::string& message) = 0;
};

enum class PackageJobStatus {
    Created,    // the archive is in place and was read back whole
    Failed,     // no archive was made; an existing one is untouched; _error says why
    Cancelled,  // stopped on request; no archive was made; an existing one is untouched
};

struct PackageJobResult {
    PackageJobStatus _status = PackageJobStatus::Failed;
    std::string _error;            // Failed: the cause, naming the path it concerns
    std::string _archivePath;      // Created: the archive
    int64_t _archiveSize = 0;      // Created: its size in bytes
    std::string _sha256;           // Created: its SHA-256, of the bytes that were read back
    std::string _stagingFolder;    // the staging folder, when one was made
    bool _stagingRemoved = false;  // Created or Cancelled: the staging folder is gone
    std::string _message;          // Created: the completion text for the user, naming the archive
    std::string _mapPath;          // Created with names hidden: the pseudonym map beside it
};

// What a dry run reports for one row: each file it would copy (with its size) or the command it
// would run (size -1), and each file it would pass over, with the reason.
struct PackagePlanItem {
    std::string _what;
    int64_t _size;
    std::string _skipped;  // empty when the item is collected
};

struct PackagePlanRow {
    int _index;
    const PackageRow* _row;
    std::vector<PackagePlanItem> _items;
    std::string _name;       // packageRowName
    bool _excluded = false;  // the request leaves it out; _items still says what it would take
};

class PackageJob {
  public:
    static const char* const kErrorTitle;
    // The archive's name that both front ends propose on the Desktop: "CorvixSupport.zip".
    static const char* const kDefaultArchiveName;

    // Runs the whole job for request. observer and cancel may be null. The request is checked
    // first (checkRequest); a refused request fails before anything is collected.
    static PackageJobResult run(const PackageRequest& request, PackageJobObserver* observer,
                                const PackageCancelFlag* cancel = nullptr);

    // What run() would collect on this machine now, row by row; creates nothing.
    static std::vector<PackagePlanRow> plan(const PackageRequest& request);

    // What the user asked for, checked before anything is collected: the e-mail address, every
    // attachment (a readable regular file whose path fits), the rows left out (known names, never
    // the system report), the pseudonym map given back (readable, well-formed), and the archive
    // path when one is set (see checkArchivePath). False with the reason, naming the value, in
    // *why.
    static bool checkRequest(const PackageRequest& request, std::string* why);

    // The archive path: a regular file to replace or a name not yet taken, in an existing folder,
    // short enough for a path buffer. A folder, a FIFO, a device (/dev/null, /dev/full) or a
    // socket is refused: renaming an archive over one would destroy it or write nowhere.
    static bool checkArchivePath(const std::string& path, std::string* why);

    // The completion text for an archive saved at path.
    static std::string successMessage(const std::string& archivePath);
    // Where a package saved at archivePath with names hidden keeps its map: archivePath + ".map".
    static std::string mapPath(const std::string& archivePath);
    // The line the completion text ends with when names were hidden, naming the map.
    static std::string redactionMessage(const std::string& mapPath);
};

#endif
