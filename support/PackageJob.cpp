#include "PackageJob.h"

#include <fcntl.h>
#include <glob.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "CaptureRun.h"
#include "LogTail.h"
#include "ManifestText.h"
#include "PackageRedaction.h"
#include "SupportPackage.h"
#include "SystemInfo.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskLog.h"
#include "VeskPath.h"
#include "VeskPlatform.h"

#ifndef CORVIX_SUPPORT_EMAIL
#define CORVIX_SUPPORT_EMAIL "support@orvanta.example"
#endif

const char* const PackageJob::kErrorTitle = "Error creating suppport package.";
const char* const PackageJob::kDefaultArchiveName = "CorvixSupport.zip";

namespace {

// Quotes glob's special characters in a literal part of a pattern (a machine root or a home
// folder may hold any of them), so that only the rows' own wildcards match.
std::string globEscape(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (strchr("*?[]\\", c)) {
            out += '\\';
        }
        out += c;
    }
    return out;
}

std::string productLogFolder(bool create) {
    if (create) {
        // Makes the folder, as the product does before it lists it; the path itself is taken
        // whole below, never from the cut buffer.
        char folder[kVeskPathBufferSize];
        calculateLogFilePath(folder, kVeskPathBufferSize - 1, "");
    }
    return vesk_logFolderWithoutCreating();
}

// The path or pattern a row reads, with the machine root, the home folder and the log folder
// filled in; empty when the row reads nothing. Only a real collection may create the log folder.
std::string rowSource(const PackageRow& row, bool create) {
    if (row._operation == PackageOperation::LogFiles) {
        return globEscape(productLogFolder(create)) + "/*";
    }
    if (!row._source) {
        return std::string();
    }
    std::string home;
    switch (row._base) {
        case PackageSourceBase::None:
            return row._source;
        case PackageSourceBase::Home:
            // "~/..." with the home folder written out: glob would take its characters as a
            // pattern of their own.
            return vesk_homeFolder(&home) ? globEscape(home) + (row._source + 1) : std::string();
        case PackageSourceBase::Machine:
            break;
    }
    if (row._operation == PackageOperation::CopyFiles) {
        return globEscape(vesk_machineRoot()) + row._source;
    }
    return vesk_machinePath(row._source);
}

std::vector<std::string> globMatches(const std::string& pattern) {
    std::vector<std::string> paths;
    glob_t matches;
    memset(&matches, 0, sizeof matches);
    if (!pattern.empty() && glob(pattern.c_str(), 0, nullptr, &matches) == 0) {
        paths.assign(matches.gl_pathv, matches.gl_pathv + matches.gl_pathc);
    }
    globfree(&matches);
    return paths;
}

// With a machine root set, the file a machine-wide path really names must lie below the root: a
// link on a copied disk that leads out of it would read the support engineer's own machine.
// Returns the reason to skip path, or an empty text.
std::string outsideMachineRoot(const PackageRow& row, const std::string& path) {
    std::string root = vesk_machineRoot();
    char resolvedRoot[PATH_MAX];
    char resolved[PATH_MAX];
    if (row._base != PackageSourceBase::Machine || root.empty() ||
        !realpath(root.c_str(), resolvedRoot) || !realpath(path.c_str(), resolved)) {
        return std::string();
    }
    std::string inside = std::string(resolvedRoot) + (strcmp(resolvedRoot, "/") ? "/" : "");
    if (strncmp(resolved, inside.c_str(), inside.size()) == 0) {
        return std::string();
    }
    return "a link leading outside the machine root, to " + vesk_printablePath(resolved);
}

// The files a copy row reads: the one path, or the pattern's matches.
std::vector<std::string> rowFiles(const PackageRow& row, const std::string& source) {
    if (row._operation == PackageOperation::CopyFile) {
        return {source};
    }
    return globMatches(source);
}

// A staged log over the user's size limit keeps its newest bytes; a log that cannot be cut stays
// whole, which loses nothing.
void cutLog(const std::string& staged, const PackageRequest& request) {
    std::string why;
    struct stat st;
    if (request._logSizeLimit > 0 && lstat(staged.c_str(), &st) == 0 &&
        !LogTail::keepLast(staged, request._logSizeLimit, &why)) {
        vesk_diagnostic("\nKept the whole log %s: %s", vesk_printablePath(staged).c_str(),
                        why.c_str());
    }
}

// Collects one row; a capture row's command is handed to captures, which runs it side by side
// with the rows that follow.
void collectRow(SupportPackage& package, CaptureRun& captures, const PackageRow& row,
                const PackageRequest& request) {
    const std::string source = rowSource(row, true);
    const char* folder =
        row._category == SP_INFO_SYSTEM ? package.getPathToSys() : package.getPathToApp();
    switch (row._operation) {
        case PackageOperation::SystemReport: {
            std::string path = std::string(package.getPathToSys()) + "/" + row._target;
            if (!SystemInfo::instance()->outputToXML(path.c_str())) {
                package.noteStagingFailure("system/" + std::string(row._target), errno);
            }
            package.addFileToSysManifest(row._target);
            break;
        }
        case PackageOperation::Capture:
            captures.add(packageRowCommand(row, request._since).c_str(), row._target, row._append);
            break;
        case PackageOperation::CopyFile:
        case PackageOperation::CopyFiles:
        case PackageOperation::LogFiles:
            for (const std::string& file : rowFiles(row, source)) {
                std::string skip = outsideMachineRoot(row, file);
                if (!skip.empty()) {
                    vesk_diagnostic("\nSkipped %s: %s", vesk_printablePath(file).c_str(),
                                    skip.c_str());
                    continue;
                }
                package.addFileToDir(file.c_str(), folder, row._category, row._target);
                if (row._operation == PackageOperation::LogFiles) {
                    cutLog(std::string(folder) + "/" + file.substr(file.rfind('/') + 1), request);
                }
            }
            break;
        case PackageOperation::Attachments:
            for (const std::string& file : request._fileAttachments) {
                package.addFileToUsr(file.c_str(), nullptr);
            }
            break;
    }
}

// The regular file at path as a plan item (or the reason it is passed over); nothing for anything
// else, which the copy skips too.
void planFile(const PackageRow& row, const std::string& path, std::vector<PackagePlanItem>* items) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return;
    }
    items->push_back({path, static_cast<int64_t>(st.st_size), outsideMachineRoot(row, path)});
}

std::string folderOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Under a machine root the commands would describe the machine the tool runs on, not the disk.
bool commandsSkipped(const PackageRequest& request) {
    return !vesk_machineRoot().empty() && !request._liveCommands;
}

const char kSkippedCommand[] = "it describes this machine, not the machine root";

// Holds a text for the record, or null for a missing one.
char* textOrNull(std::string* holder, const std::optional<std::string>& text) {
    if (!text) {
        return nullptr;
    }
    *holder = ManifestText::element(*text);
    return &(*holder)[0];
}

// Ends a cancelled job: the partial staging folder goes.
void finishCancelled(std::unique_ptr<SupportPackage>* package, PackageJobResult* result) {
    package->reset();
    if (!result->_stagingFolder.empty()) {
        SupportPackage::killDirectory(result->_stagingFolder.c_str());
        result->_stagingRemoved = !PathFileExists(result->_stagingFolder.c_str());
    }
    result->_status = PackageJobStatus::Cancelled;
}

}  // namespace

std::string PackageJob::mapPath(const std::string& archivePath) {
    return PackageRedaction::mapPathFor(archivePath);
}

std::string PackageJob::redactionMessage(const std::string& mapPath) {
    return "Host names, network addresses and user names were hidden. The map to the real values "
           "is \"" +
           mapPath + "\"; keep it: it is not in the archive.";
}

std::string PackageJob::successMessage(const std::string& archivePath) {
    return "The support package \"" + archivePath +
           "\" has been created.\n\nPlease email this file to " CORVIX_SUPPORT_EMAIL;
}

bool PackageJob::checkArchivePath(const std::string& path, std::string* why) {
    if (path.empty()) {
        *why = "No Filename provided.";
        return false;
    }
    if (!vesk_pathFits(path)) {
        *why = "the archive path is too long (" + std::to_string(path.size()) + " bytes, at most " +
               std::to_string(kVeskPathMaxLength) + " fit): " + vesk_printablePath(path);
        return false;
    }
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        *why = "the archive path \"" + vesk_printablePath(path) + "\" is " +
               vesk_describeFileType(st.st_mode) + ", not a regular file";
        return false;
    }
    std::string folder = folderOf(path);
    if (stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        *why = "the folder \"" + vesk_printablePath(folder) + "\" for the archive does not exist";
        return false;
    }
    return true;
}

bool PackageJob::checkRequest(const PackageRequest& request, std::string* why) {
    if (request._email && !PackageRequest::isValidEmailAddress(request._email->c_str())) {
        *why = request._email->size() > PackageRequest::kEmailMaxLength
                   ? "Invalid email address: it is longer than " +
                         std::to_string(PackageRequest::kEmailMaxLength) + " bytes"
                   : "Invalid email address: \"" + vesk_printablePath(*request._email) + "\"";
        return false;
    }
    for (const std::string& file : request._fileAttachments) {
        std::string reason;
        int fd = vesk_pathFits(file) ? vesk_openRegular(file.c_str(), O_RDONLY, 0, &reason) : -1;
        if (fd < 0) {
            *why = "the attachment \"" + vesk_printablePath(file) +
                   "\" cannot be read: " + (reason.empty() ? "its path is too long" : reason);
            return false;
        }
        close(fd);
    }
    size_t count = 0;
    const PackageRow* rows = packageRows(&count);
    for (const std::string& name : request._excludedRows) {
        std::string known;
        bool found = false;
        for (size_t i = 0; i < count; ++i) {
            found = found || packageRowName(rows[i]) == name;
            known += (i ? ", " : "") + packageRowName(rows[i]);
        }
        if (!found) {
            *why = "there is no row named \"" + vesk_printablePath(name) +
                   "\" to leave out; the rows are: " + known;
            return false;
        }
        if (name == packageRowName(rows[0])) {
            *why =
                "the system report (system.xml) cannot be left out: support staff need it to read "
                "the package";
            return false;
        }
    }
    if (!request._redactMap.empty() && !PackageRedaction().start(request._redactMap, why)) {
        return false;
    }
    if (request._fileName && !request._fileName->empty()) {
        return checkArchivePath(*request._fileName, why);
    }
    return true;
}

PackageJobResult PackageJob::run(const PackageRequest& request, PackageJobObserver* observer,
                                 const PackageCancelFlag* cancel) {
    PackageJobResult result;
    const std::string fileName = request._fileName ? *request._fileName : std::string();
    if (fileName.empty() && observer) {
        observer->packageAlert(kErrorTitle, "No Filename provided.");
    }
    if (!checkRequest(request, &result._error)) {
        return result;
    }
    if (!fileName.empty()) {
        // A folder that cannot take the archive (read-only, not ours) is found before the
        // collection, not after it.
        VeskAtomicFile probe(fileName);
        if (!probe.open()) {
            result._error = probe.error();
            return result;
        }
    }

    std::unique_ptr<SupportPackage> package;
    try {
        package.reset(SupportPackage::createSupportPackage());
        if (!package) {
            if (observer) {
                observer->packageAlert(kErrorTitle, "Could not create support package.");
            }
            result._error = "Could not create support package.";
            return result;
        }
        result._stagingFolder = package->getPathToContents();
        package->setCommandTimeout(request._commandTimeout);
        package->setCancelFlag(cancel);
        if (observer) {
            package->setByteProgress(
                [observer](const std::string& what, uint64_t done, uint64_t total) {
                    observer->packageBytes(what, done, total);
                });
        }

        // The system commands run side by side with each other and with the copies; a failure
        // or an exception ends them (the run's destructor) before the job returns.
        CaptureRun captures(*package);
        auto stagingFailed = [&] {
            if (package->stagingError().empty()) {
                return false;
            }
            result._error =
                "the staging folder could not take every file: " + package->stagingError();
            return true;
        };
        size_t count = 0;
        const PackageRow* rows = packageRows(&count);
        for (size_t i = 0; i < count && !PackageCancelFlag::isSet(cancel); ++i) {
            if (request.excludes(packageRowName(rows[i]))) {
                continue;
            }
            const bool skipped =
                rows[i]._operation == PackageOperation::Capture && commandsSkipped(request);
            if (observer && skipped) {
                observer->packageSkipped(static_cast<int>(i + 1), static_cast<int>(count),
                                         rows[i]._label, kSkippedCommand);
            } else if (observer) {
                observer->packageStep(static_cast<int>(i + 1), static_cast<int>(count),
                                      rows[i]._label);
            }
            if (!skipped) {
                // A capture appending to the file of a row left out makes the file (its entry).
                PackageRow row = rows[i];
                row._append = row._append && !request.excludes(packageRowName(rows[i - 1]));
                collectRow(*package, captures, row, request);
            }
            if (stagingFailed()) {
                return result;
            }
        }
        // Only what came from the system is hidden: the user's attachments are sent as they chose
        // them. The application folder is whole once the rows are collected, so it is hidden
        // while the system commands still run.
        PackageRedaction redaction;
        if (request.redacts() && !PackageCancelFlag::isSet(cancel) &&
            !(redaction.start(request._redactMap, &result._error) &&
              redaction.redactFolder(package->getPathToApp(), &result._error))) {
            return result;
        }
        // Nothing more is written into those two folders: they are compressed for the archive
        // while the commands still run.
        if (!commandsSkipped(request) && !PackageCancelFlag::isSet(cancel)) {
            package->warmArchive();
        }
        captures.finish();  // after a cancel at once: every command's group is ended
        for (size_t i = 0; i < count; ++i) {
            if (packageRowIsConsoleLog(rows[i]) && !commandsSkipped(request)) {
                cutLog(package->capturePath(rows[i]._target), request);
            }
        }
        if (stagingFailed()) {
            return result;
        }
        if (PackageCancelFlag::isSet(cancel)) {
            finishCancelled(&package, &result);
            return result;
        }
        if (request.redacts() &&
            !(redaction.redactFolder(package->getPathToSys(), &result._error) &&
              (fileName.empty() ||
               redaction.prepareMap(PackageRedaction::mapPathFor(fileName), &result._error)))) {
            return result;
        }

        _sp_package_info_struct info;
        memset(&info, 0, sizeof info);
        std::string productName = "Corvix", productVersion = "-", user, company, email, comment;
        info._timestamp = static_cast<int>(time(nullptr));
        info._build = 0;
        info._productName = &productName[0];
        info._productVersion = &productVersion[0];
        info._userName = textOrNull(&user, request._userName);
        info._company = textOrNull(&company, request._company);
        info._email = textOrNull(&email, request._email);
        info._version = 0;
        info._license = nullptr;
        // Escaped here once, and again by the manifest writer: the support system reads the
        // comment escaped twice (a newline arrives as "&lt;br &#47;&gt;").
        if (request._comment && !request._comment->empty()) {
            comment =
                SupportPackage::escapedWhole(ManifestText::validXml(*request._comment).c_str());
            info._comment = &comment[0];
        }

        if (observer) {
            observer->packageSaving(fileName);
        }
        package->setPackageInfo(&info);
        PackageArchive archive;
        if (!package->savePackage(fileName.c_str(), &archive)) {
            if (archive._interrupted) {
                finishCancelled(&package, &result);
            } else {
                result._error = archive._error;
            }
            return result;
        }
        result._status = PackageJobStatus::Created;
        result._archivePath = fileName;
        result._archiveSize = archive._size;
        result._sha256 = archive._sha256;
        result._message = successMessage(fileName);
        if (request.redacts()) {
            if (!redaction.commitMap(&result._error)) {
                result._status = PackageJobStatus::Failed;
                result._error = "the archive \"" + fileName + "\" was saved, but " + result._error;
                return result;
            }
            result._mapPath = PackageRedaction::mapPathFor(fileName);
            result._message += "\n\n" + redactionMessage(result._mapPath);
        }
        if (!request._keepStaging) {
            package.reset();
            SupportPackage::killDirectory(result._stagingFolder.c_str());
            result._stagingRemoved = !PathFileExists(result._stagingFolder.c_str());
        }
    } catch (const SupportPackageException& e) {
        result._error = e.what();
    }
    return result;
}

std::vector<PackagePlanRow> PackageJob::plan(const PackageRequest& request) {
    std::vector<PackagePlanRow> plan;
    size_t count = 0;
    const PackageRow* rows = packageRows(&count);
    for (size_t i = 0; i < count; ++i) {
        const PackageRow& row = rows[i];
        PackagePlanRow planned{static_cast<int>(i + 1), &row, {}, packageRowName(row), false};
        planned._excluded = request.excludes(planned._name);
        const std::string source = rowSource(row, false);
        switch (row._operation) {
            case PackageOperation::SystemReport:
                planned._items.push_back({row._target, -1, ""});
                break;
            case PackageOperation::Capture:
                planned._items.push_back({packageRowCommand(row, request._since), -1,
                                          commandsSkipped(request) ? kSkippedCommand : ""});
                break;
            case PackageOperation::CopyFile:
            case PackageOperation::CopyFiles:
            case PackageOperation::LogFiles:
                for (const std::string& file : rowFiles(row, source)) {
                    planFile(row, file, &planned._items);
                }
                break;
            case PackageOperation::Attachments:
                for (const std::string& file : request._fileAttachments) {
                    planFile(row, file, &planned._items);
                }
                break;
        }
        plan.push_back(std::move(planned));
    }
    return plan;
}
