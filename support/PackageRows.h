// The fixed list of what a support package collects, in collection order. The list is data, and
// the one platform-specific piece of the package job: rows 2 to 10 name this platform's log and
// system commands (PackageRows-<platform>.cpp), the others are the same everywhere.
#ifndef CORVIX_SUPPORT_PACKAGEROWS_H
#define CORVIX_SUPPORT_PACKAGEROWS_H

#include <cstddef>
#include <string>

#include "SupportPackage.h"

enum class PackageOperation {
    SystemReport,  // SystemInfo::outputToXML into system/<target>
    Capture,       // addOutputToSys(source, target, append)
    CopyFile,      // addFileTo<category>(source, target as feature)
    CopyFiles,     // addFilesTo<category>(source as glob pattern, not recursive, target as feature)
    LogFiles,      // every file of the product log folder into application/
    Attachments,   // addFileToUsr for each attached file, in order
};

// Where a row's source path is anchored.
enum class PackageSourceBase {
    None,     // a command line, or nothing
    Home,     // a per-user pattern beginning with "~/"
    Machine,  // a fixed machine-wide path, taken below the machine root
};

struct PackageRow {
    PackageOperation _operation;
    _sp_support_info_type _category;
    PackageSourceBase _base;
    const char* _source;  // path, glob pattern or command line; null when the row has none
    const char* _target;  // capture file name or feature label; null for none
    bool _append;         // captures: append to the file of the previous row
    const char* _label;   // a few words for progress reports
};

// The rows of this platform, in order, and their number.
const PackageRow* packageRows(size_t* count);

// A row's stable name, by which a user leaves it out: its label in lower case with '-' for each
// blank ("process-list", "after-effects-6.5-preferences").
std::string packageRowName(const PackageRow& row);

// Whether row captures one of the system's console logs (a log that --log-size may cut).
bool packageRowIsConsoleLog(const PackageRow& row);

// The command row runs: its own, narrowed to entries from since on for a console log when since
// is not empty (quoted for the shell, whatever it holds).
std::string packageRowCommand(const PackageRow& row, const std::string& since);

#endif
