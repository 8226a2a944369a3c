#include "SupportPackage.h"

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <random>
#include <string>

#include "DeflateCache.h"
#include "PackageCancelFlag.h"
#include "SystemInfo.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "VeskPlatform.h"
#include "Vesk_Mutex.h"

namespace {

// The read-and-write copy (used where the kernel cannot copy) moves this much at a time; every
// block is written through before the next is read.
const size_t kCopyBlock = 128 * 1024;
// A kernel copy moves at most this much per call, so that a cancel is seen within a moment.
const size_t kRunCopyStep = 4 * 1024 * 1024;

enum class CopyResult { Copied, Unreadable, WriteFailed, Interrupted };

// root + separator + name, with the separator given as a character; null when it does not fit.
char* joinCategoryPath(const char* root, const char* format, const char* name) {
    char* path = static_cast<char*>(calloc(kVeskPathBufferSize, 1));
    if (path && !vesk_formatPath(path, kVeskPathBufferSize, format, root, '/', name)) {
        free(path);
        path = nullptr;
    }
    return path;
}

const char* categoryWord(_sp_support_info_type type) {
    switch (type) {
        case SP_INFO_SYSTEM:
            return "system";
        case SP_INFO_APPLICATION:
            return "application";
        default:
            return "user";
    }
}

void freeDummyInfo(_sp_package_info_struct* info) {
    if (info) {
        free(info->_productName);
        free(info->_comment);
        free(info);
    }
}

bool writeAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t written = write(fd, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            if (written == 0) {
                errno = ENOSPC;
            }
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// Bytes of the file copied so far.
using CopyProgress = std::function<void(uint64_t done)>;
using ByteProgress = SupportPackage::ByteProgress;

// Copies at least this large report their progress.
const uint64_t kReportedCopySize = 64ULL << 20;

enum class RunCopy { Copied, Unsupported, WriteFailed, Interrupted };

// Copies step bytes at offset at by reading and writing through block; what read or write
// returned (-1 with errno set on a failure).
int64_t blockStep(int in, int out, int64_t at, size_t step, char* block) {
    ssize_t got = pread(in, block, step, at);
    if (got <= 0) {
        return got;
    }
    if (lseek(out, at, SEEK_SET) < 0 || !writeAll(out, block, static_cast<size_t>(got))) {
        return -1;
    }
    return got;
}

// Copies the first size bytes of in to out run of data by run of data, so that the source's holes
// stay holes: inside the kernel (a reflink where the file system shares blocks), or, given a
// block, by reading and writing through it, which is faster for the short runs of a sparse file
// (the kernel's copy goes through a pipe per call). Unsupported when the kernel cannot copy
// between these files (or a read failed): the caller copies by reading and writing from the
// start instead, which tells a read failure from a write failure.
RunCopy runCopy(int in, int out, int64_t size, const PackageCancelFlag* cancel, int* error,
                const CopyProgress& progress, char* block) {
    int64_t length = size, start = 0, end = 0;
    for (int64_t position = 0; position < length && vesk_nextDataRange(in, position, &start, &end);
         position = end) {
        end = std::min(end, length);
        while (start < end) {
            if (PackageCancelFlag::isSet(cancel)) {
                return RunCopy::Interrupted;
            }
            size_t step = static_cast<size_t>(
                std::min<int64_t>(end - start, block ? kCopyBlock : kRunCopyStep));
            int64_t copied = block ? blockStep(in, out, start, step, block)
                                   : vesk_copyFileRange(in, start, out, start, step);
            if (copied < 0 && (errno == ENOSPC || errno == EFBIG || errno == EDQUOT)) {
                *error = errno;
                return RunCopy::WriteFailed;
            }
            if (copied < 0) {
                return RunCopy::Unsupported;
            }
            if (copied == 0) {
                length = end = start;  // the source shrank while it was copied
                break;
            }
            start += copied;
            if (progress) {
                progress(static_cast<uint64_t>(start));
            }
        }
    }
    // The length, also where the file ends in a hole.
    if (ftruncate(out, static_cast<off_t>(length)) != 0) {
        *error = errno;
        return RunCopy::WriteFailed;
    }
    return RunCopy::Copied;
}

// Copies in to out by reading and writing large blocks from the start; a block of zeros becomes a
// hole.
CopyResult blockCopy(int in, int out, const PackageCancelFlag* cancel, int* error,
                     const CopyProgress& progress) {
    if (lseek(in, 0, SEEK_SET) != 0 || lseek(out, 0, SEEK_SET) != 0 || ftruncate(out, 0) != 0) {
        *error = errno;
        return CopyResult::WriteFailed;
    }
    std::unique_ptr<char[]> block(new char[kCopyBlock]);
    off_t size = 0;
    bool endsInHole = false;
    for (;;) {
        if (PackageCancelFlag::isSet(cancel)) {
            return CopyResult::Interrupted;
        }
        ssize_t got = read(in, block.get(), kCopyBlock);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return CopyResult::Unreadable;
        }
        if (got == 0) {
            break;
        }
        // A block of zeros is stepped over: a sparse file (a disk image) stays sparse and takes
        // no room in the staging folder for its holes.
        size += got;
        endsInHole = block[0] == 0 && memcmp(block.get(), block.get() + 1, got - 1) == 0;
        bool moved = endsInHole ? lseek(out, got, SEEK_CUR) >= 0
                                : writeAll(out, block.get(), static_cast<size_t>(got));
        if (!moved) {
            *error = errno;
            return CopyResult::WriteFailed;
        }
        if (progress) {
            progress(static_cast<uint64_t>(size));
        }
    }
    if (endsInHole && ftruncate(out, size) != 0) {
        *error = errno;
        return CopyResult::WriteFailed;
    }
    return CopyResult::Copied;
}

// Copies source to destination; *error holds errno when writing failed.
CopyResult copyRegular(const char* source, const char* destination, const PackageCancelFlag* cancel,
                       int* error, const ByteProgress& progress = ByteProgress()) {
    int in = vesk_openRegular(source, O_RDONLY);
    if (in < 0) {
        return CopyResult::Unreadable;
    }
    // A file copied onto itself is already in place; opening it for writing would empty it.
    struct stat from, to;
    bool examined = fstat(in, &from) == 0;
    if (examined && stat(destination, &to) == 0 && from.st_dev == to.st_dev &&
        from.st_ino == to.st_ino) {
        close(in);
        return CopyResult::Copied;
    }
    int out = vesk_openRegular(destination, O_WRONLY | O_CREAT | O_TRUNC);
    if (out < 0) {
        *error = errno;
        close(in);
        return CopyResult::WriteFailed;
    }
    // Only a large copy is worth reporting: the others take moments.
    CopyProgress moved;
    const uint64_t total = static_cast<uint64_t>(from.st_size);
    if (progress && examined && total >= kReportedCopySize) {
        // The whole size is reported once, after the copy is complete.
        moved = [&progress, source, total](uint64_t done) {
            if (done < total) {
                progress(source, done, total);
            }
        };
    }
    // A sparse file is copied as cp copies it, a dense one by the kernel.
    bool sparse = examined && static_cast<int64_t>(from.st_blocks) * 512 < from.st_size;
    std::unique_ptr<char[]> block(sparse ? new char[kCopyBlock] : nullptr);
    RunCopy runs = examined ? runCopy(in, out, from.st_size, cancel, error, moved, block.get())
                            : RunCopy::Unsupported;
    CopyResult result = runs == RunCopy::Copied        ? CopyResult::Copied
                        : runs == RunCopy::WriteFailed ? CopyResult::WriteFailed
                        : runs == RunCopy::Interrupted ? CopyResult::Interrupted
                                                       : blockCopy(in, out, cancel, error, moved);
    if (result == CopyResult::Copied && moved) {
        progress(source, total, total);
    }
    close(in);
    if (close(out) != 0 && result == CopyResult::Copied) {
        *error = errno;
        result = CopyResult::WriteFailed;
    }
    return result;
}

// "name (n).ext" for the n-th file of a name: the number goes before the extension (the text
// from the last '.' that is not the name's first character).
std::string numberedName(const std::string& name, int n) {
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) {
        dot = name.size();
    }
    return name.substr(0, dot) + " (" + std::to_string(n) + ")" + name.substr(dot);
}

}  // namespace

SupportPackage::SupportPackage(const char* contents, bool owned)
    : _commandStream(nullptr),
      _contentsPath(nullptr),
      _applicationPath(nullptr),
      _systemPath(nullptr),
      _userPath(nullptr),
      _owned(owned),
      _packageInfo(nullptr),
      _lock(new Vesk_Mutex()),
      _commandTimeout(kDefaultCommandTimeout),
      _dummyInfo(nullptr) {
    if (!contents) {
        return;
    }
    _contentsPath = strdup(contents);
    _applicationPath = joinCategoryPath(contents, "%s%c%s", "application");
    _systemPath = joinCategoryPath(contents, "%s%c%s", "system");
    // The user path carries a doubled slash; the file system does not mind.
    _userPath = joinCategoryPath(contents, "%s%c/%s", "user");
}

SupportPackage::~SupportPackage() {
    _warmCache.reset();  // its threads end before anything else goes
    free(_contentsPath);
    free(_applicationPath);
    free(_systemPath);
    free(_userPath);
    if (_commandStream) {
        pclose(_commandStream);
    }
    delete _lock;
    freeDummyInfo(_dummyInfo);
}

SupportPackage* SupportPackage::createSupportPackage() {
    char root[kVeskPathBufferSize] = {0};
    if (!createTempDirectory(root, kVeskPathBufferSize - 1)) {
        throw SupportPackageException("Could not create temporary path.");
    }
    char path[kVeskPathBufferSize];
    if (!vesk_formatPath(path, sizeof path, "%s%c%s", root, '/', "system") ||
        mkdir(path, 0777) != 0) {
        throw SupportPackageException("Could not create system info path.");
    }
    if (!vesk_formatPath(path, sizeof path, "%s%c%s", root, '/', "user") ||
        mkdir(path, 0777) != 0) {
        vesk_diagnostic("\nError creating usr path: %s", strerror(errno));
        return nullptr;
    }
    if (!vesk_formatPath(path, sizeof path, "%s%c%s", root, '/', "application") ||
        mkdir(path, 0777) != 0) {
        vesk_diagnostic("\nError creating app path: %s", strerror(errno));
        return nullptr;
    }
    return new SupportPackage(root, true);
}

int SupportPackage::createTempDirectory(char* buffer, unsigned long length) {
    if (!buffer) {
        return 0;
    }
    // mkdtemp here replaces only the last six X's of "osp_XXXXXXX", which would leave every
    // name starting "osp_X": the first of the seven random characters is drawn here. A template
    // cut short would lose its X's, and with them the random part of the name.
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    char first = kLetters[std::random_device()() % (sizeof kLetters - 1)];
    char tmpl[kVeskPathBufferSize];
    if (!vesk_formatPath(tmpl, sizeof tmpl, "%s/osp_%cXXXXXX", vesk_temporaryFolder().c_str(),
                         first) ||
        !mkdtemp(tmpl)) {
        return 0;
    }
    strncpy(buffer, tmpl, length);
    return 1;
}

int SupportPackage::getPathToDesktop(char* buffer, unsigned long length) {
    std::string desktop;
    if (!buffer || length == 0 || !vesk_desktopFolder(&desktop)) {
        return 0;
    }
    buffer[0] = '\0';
    if (desktop.size() > length - 1) {
        vesk_reportPathTooLong(desktop);
        return 0;
    }
    memcpy(buffer, desktop.c_str(), desktop.size() + 1);
    return 1;
}

void SupportPackage::noteStagingFailure(const std::string& what, int error) {
    if (_stagingError.empty()) {
        _stagingError = what + ": " + strerror(error ? error : EIO);
    }
}

std::string SupportPackage::stageFile(const char* source, const char* folder, const char* baseName,
                                      bool numbered) {
    std::string name = baseName;
    char destination[kVeskPathBufferSize];
    for (int n = 2;; ++n) {
        if (!vesk_formatPath(destination, sizeof destination, "%s/%s", folder, name.c_str())) {
            return std::string();
        }
        if (!numbered || _stagedFiles.count(destination) == 0) {
            break;
        }
        name = numberedName(baseName, n);
    }
    int error = 0;
    CopyResult result = copyRegular(source, destination, _cancel, &error, _byteProgress);
    if (result == CopyResult::Copied) {
        _stagedFiles.insert(destination);
        return name;
    }
    // A partial copy would go into the archive as if it were the whole file.
    unlink(destination);
    if (result == CopyResult::WriteFailed) {
        noteStagingFailure(destination, error);
    }
    return std::string();
}

int SupportPackage::addFileToDir(const char* source, const char* target, _sp_support_info_type type,
                                 const char* feature) {
    if (!source || !target || PackageCancelFlag::isSet(_cancel)) {
        return 0;
    }
    if (!vesk_pathFits(source)) {
        vesk_reportPathTooLong(source);
        return 0;
    }
    char featureFolder[kVeskPathBufferSize];
    if (feature) {
        if (!vesk_formatPath(featureFolder, sizeof featureFolder, "%s/%s", target, feature)) {
            return 0;
        }
        target = featureFolder;
        if (!PathFileExists(target) && mkdir(target, 0777) != 0) {
            throw SupportPackageException("Could not create system info path.");
        }
    }

    // A source without a folder ("crash.log") names a file of the working folder.
    const char* slash = strrchr(source, '/');
    const char* baseName = slash ? slash + 1 : source;
    bool user = type != SP_INFO_NONE && type != SP_INFO_SYSTEM && type != SP_INFO_APPLICATION;
    // The user's attachments often share a name (crash.log from two folders): none replaces
    // another.
    std::string name = stageFile(source, target, baseName, user);
    if (name.empty() || type == SP_INFO_NONE) {
        return 0;
    }
    // Built by concatenation, so that a '%' in a file name is taken as it stands. The entry is
    // shorter than the destination path, which fitted.
    std::string entry = categoryWord(type);
    entry += '/';
    if (feature) {
        entry += feature;
        entry += '/';
    }
    entry += name;
    std::vector<std::string>& list = type == SP_INFO_SYSTEM        ? _systemEntries
                                     : type == SP_INFO_APPLICATION ? _applicationEntries
                                                                   : _userEntries;
    list.push_back(entry);
    // Callers cannot tell a copy from a skip by the result; none of them needs to.
    return 0;
}

int SupportPackage::addFileToApp(const char* source, const char* feature) {
    return addFileToDir(source, _applicationPath, SP_INFO_APPLICATION, feature);
}

int SupportPackage::addFileToSys(const char* source, const char* feature) {
    return addFileToDir(source, _systemPath, SP_INFO_SYSTEM, feature);
}

int SupportPackage::addFileToUsr(const char* source, const char* feature) {
    return addFileToDir(source, _userPath, SP_INFO_USER, feature);
}

int SupportPackage::addFileToLogs(const char*, const char*) {
    return 0;
}

int SupportPackage::addFilesToDir(const char* pattern, const char* target, bool /*recursive*/,
                                  _sp_support_info_type type, const char* feature) {
    if (!pattern) {
        return GLOB_NOMATCH;
    }
    glob_t matches;
    memset(&matches, 0, sizeof matches);
    int result = glob(pattern, GLOB_TILDE, nullptr, &matches);
    for (size_t i = 0; i < matches.gl_pathc && !PackageCancelFlag::isSet(_cancel); ++i) {
        result = addFileToDir(matches.gl_pathv[i], target, type, feature);
    }
    globfree(&matches);
    return result;
}

int SupportPackage::addFilesToApp(const char* pattern, bool recursive, const char* feature) {
    return addFilesToDir(pattern, _applicationPath, recursive, SP_INFO_APPLICATION, feature);
}

int SupportPackage::addFilesToSys(const char* pattern, bool recursive, const char* feature) {
    return addFilesToDir(pattern, _systemPath, recursive, SP_INFO_SYSTEM, feature);
}

int SupportPackage::addFilesToUsr(const char* pattern, bool recursive, const char* feature) {
    return addFilesToDir(pattern, _userPath, recursive, SP_INFO_USER, feature);
}

int SupportPackage::copyFile(const char* source, const char* destination) {
    if (!source || !destination) {
        return 0;
    }
    int error = 0;
    return copyRegular(source, destination, nullptr, &error) == CopyResult::Copied ? 1 : 0;
}

int SupportPackage::loadSupportPackage(const char*) {
    return 0;
}

void SupportPackage::_genDummyPackInfo() {
    if (_packageInfo) {
        vesk_diagnostic("\nPackageInfo already exists.");
        return;
    }
    static char sampleVersion[] = "2.0 beta 1";
    freeDummyInfo(_dummyInfo);
    _dummyInfo = static_cast<_sp_package_info_struct*>(calloc(1, sizeof(_sp_package_info_struct)));
    if (!_dummyInfo) {
        return;
    }
    _dummyInfo->_version = 1;
    _dummyInfo->_timestamp = static_cast<int>(time(nullptr));
    _dummyInfo->_productName = static_cast<char*>(calloc(1024, 1));
    if (_dummyInfo->_productName) {
        strncpy(_dummyInfo->_productName, "Corvix Pro", 1023);
    }
    _dummyInfo->_comment = static_cast<char*>(calloc(1024, 1));
    if (_dummyInfo->_comment) {
        strncpy(_dummyInfo->_comment, "Had a problem writing out to the main disk.<br />", 1023);
    }
    _dummyInfo->_productVersion = sampleVersion;
    _dummyInfo->_build = 58;
    _packageInfo = _dummyInfo;
}
