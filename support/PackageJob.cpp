#include "PackageJob.h"

#include <glob.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "SupportPackage.h"
#include "SystemInfo.h"
#include "VeskLog.h"
#include "VeskPlatform.h"

#ifndef CORVIX_SUPPORT_EMAIL
#define CORVIX_SUPPORT_EMAIL "support@orvanta.example"
#endif

const char* const PackageJob::kErrorTitle = "Error creating suppport package.";

namespace {

// Quotes glob's special characters in a literal part of a pattern (a machine root or a home
// folder may hold any of them).
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
    if (!create) {
        return vesk_logFolderWithoutCreating();
    }
    char folder[1025];
    calculateLogFilePath(folder, 1024, "");
    return folder;
}

// The path or pattern a row reads, with the machine root and the log folder filled in. Only a
// real collection may create the log folder; a plan creates nothing.
std::string rowSource(const PackageRow& row, bool create = true) {
    if (row._operation == PackageOperation::LogFiles) {
        return globEscape(productLogFolder(create)) + "/*";
    }
    if (!row._source) {
        return std::string();
    }
    if (row._base != PackageSourceBase::Machine) {
        return row._source;
    }
    if (row._operation == PackageOperation::CopyFiles) {
        return globEscape(vesk_machineRoot()) + row._source;
    }
    return vesk_machinePath(row._source);
}

char* copyOrNull(const std::optional<std::string>& text) {
    return text ? strdup(text->c_str()) : nullptr;
}

void collectRow(SupportPackage& package, const PackageRow& row, const PackageRequest& request) {
    const std::string source = rowSource(row);
    switch (row._operation) {
        case PackageOperation::SystemReport: {
            std::string path = std::string(package.getPathToSys()) + "/" + row._target;
            SystemInfo::instance()->outputToXML(path.c_str());
            package.addFileToSysManifest(row._target);
            break;
        }
        case PackageOperation::Capture:
            package.addOutputToSys(source.c_str(), row._target, row._append);
            break;
        case PackageOperation::CopyFile:
            package.addFileToDir(
                source.c_str(),
                row._category == SP_INFO_SYSTEM ? package.getPathToSys() : package.getPathToApp(),
                row._category, row._target);
            break;
        case PackageOperation::CopyFiles:
        case PackageOperation::LogFiles:
            package.addFilesToDir(
                source.c_str(),
                row._category == SP_INFO_SYSTEM ? package.getPathToSys() : package.getPathToApp(),
                false, row._category, row._target);
            break;
        case PackageOperation::Attachments:
            for (const std::string& file : request._fileAttachments) {
                package.addFileToUsr(file.c_str(), nullptr);
            }
            break;
    }
}

// The regular file at path as a plan item; false for anything else (the copy skips those too).
bool planFile(const std::string& path, std::vector<PackagePlanItem>* items) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return false;
    }
    items->push_back({path, static_cast<int64_t>(st.st_size)});
    return true;
}

void planPattern(const std::string& pattern, std::vector<PackagePlanItem>* items) {
    glob_t matches;
    memset(&matches, 0, sizeof matches);
    if (glob(pattern.c_str(), GLOB_TILDE, nullptr, &matches) == 0) {
        for (size_t i = 0; i < matches.gl_pathc; ++i) {
            planFile(matches.gl_pathv[i], items);
        }
    }
    globfree(&matches);
}

}  // namespace

std::string PackageJob::successMessage(const std::string& archivePath) {
    return "The support package \"" + archivePath +
           "\" has been created.\n\nPlease email this file to " CORVIX_SUPPORT_EMAIL;
}

PackageJobResult PackageJob::run(const PackageRequest& request, PackageJobObserver* observer) {
    PackageJobResult result;

    char fileName[1025];
    memset(fileName, 0, sizeof fileName);
    if (request._fileName) {
        strncpy(fileName, request._fileName->c_str(), 1024);
    }
    if (!fileName[0] && observer) {
        observer->packageAlert(kErrorTitle, "No Filename provided.");
    }

    std::unique_ptr<SupportPackage> package(SupportPackage::createSupportPackage());
    if (!package) {
        if (observer) {
            observer->packageAlert(kErrorTitle, "Could not create support package.");
        }
        return result;
    }
    result._created = true;
    result._stagingFolder = package->getPathToContents();
    package->setCommandTimeout(request._commandTimeout);

    size_t count = 0;
    const PackageRow* rows = packageRows(&count);
    for (size_t i = 0; i < count; ++i) {
        if (observer) {
            observer->packageStep(static_cast<int>(i + 1), static_cast<int>(count), rows[i]._label);
        }
        collectRow(*package, rows[i], request);
    }

    _sp_package_info_struct info;
    memset(&info, 0, sizeof info);
    info._timestamp = static_cast<int>(time(nullptr));
    info._build = 0;
    info._productName = strdup("Corvix");
    info._productVersion = strdup("-");
    info._userName = copyOrNull(request._userName);
    info._company = copyOrNull(request._company);
    info._email = copyOrNull(request._email);
    info._version = 0;
    info._license = nullptr;

    // Escaped here once, and again by the manifest writer: the support system reads the comment
    // escaped twice (a newline arrives as "&lt;br &#47;&gt;").
    char* escapedComment = nullptr;
    if (request._comment && !request._comment->empty()) {
        std::string plain = *request._comment;
        unsigned long size = 4 * plain.size();
        escapedComment = static_cast<char*>(calloc(size + 1, 1));
        SupportPackage::urlEncodeString(&plain[0], escapedComment, size);
    }
    info._comment = escapedComment;

    if (observer) {
        observer->packageSaving(fileName);
    }
    package->setPackageInfo(&info);
    result._saved = package->savePackage(fileName);
    package.reset();

    free(info._productName);
    free(info._productVersion);
    free(info._userName);
    free(info._company);
    free(info._email);
    free(escapedComment);

    result._message = successMessage(fileName);
    return result;
}

std::vector<PackagePlanRow> PackageJob::plan(const PackageRequest& request) {
    std::vector<PackagePlanRow> plan;
    size_t count = 0;
    const PackageRow* rows = packageRows(&count);
    for (size_t i = 0; i < count; ++i) {
        const PackageRow& row = rows[i];
        PackagePlanRow planned{static_cast<int>(i + 1), &row, {}};
        const std::string source = rowSource(row, false);
        switch (row._operation) {
            case PackageOperation::SystemReport:
                planned._items.push_back({row._target, -1});
                break;
            case PackageOperation::Capture:
                planned._items.push_back({source, -1});
                break;
            case PackageOperation::CopyFile:
                planFile(source, &planned._items);
                break;
            case PackageOperation::CopyFiles:
            case PackageOperation::LogFiles:
                planPattern(source, &planned._items);
                break;
            case PackageOperation::Attachments:
                for (const std::string& file : request._fileAttachments) {
                    planFile(file, &planned._items);
                }
                break;
        }
        plan.push_back(std::move(planned));
    }
    return plan;
}
