#include "SupportPackage.h"

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "SystemInfo.h"
#include "VeskDiagnostics.h"
#include "VeskPlatform.h"
#include "Vesk_Mutex.h"
#include "ZipBuilder.h"

namespace {

// Paths live in 1025-byte buffers filled with a 1024-byte limit; longer paths are cut.
const size_t kPathBuffer = 1025;
const size_t kPathLimit = 1024;

// What the platform's formatted output writes for a null text argument.
const char kNullText[] = "(null)";

// Formats into a path buffer of kPathBuffer bytes. Paths longer than the limit are cut, never
// rejected: every path of the package is formed this way.
__attribute__((format(printf, 2, 3))) void formatPath(char* path, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vsnprintf(path, kPathLimit, format, args);
    va_end(args);
}

char* newPathBuffer() {
    return static_cast<char*>(calloc(kPathBuffer, 1));
}

// root + separator + name, with the separator given as a character.
char* joinCategoryPath(const char* root, const char* format, const char* name) {
    char* path = newPathBuffer();
    if (path) {
        formatPath(path, format, root, '/', name);
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

}  // namespace

SupportPackage::SupportPackage(const char* contents, bool owned)
    : _commandStream(nullptr),
      _childOutput(nullptr),
      _captureFile(nullptr),
      _contentsPath(nullptr),
      _applicationPath(nullptr),
      _systemPath(nullptr),
      _userPath(nullptr),
      _owned(owned),
      _packageInfo(nullptr),
      _lock(new Vesk_Mutex()),
      _childPid(-1),
      _commandTimeout(kDefaultCommandTimeout),
      _captureDeadline(0),
      _captureStage(0),
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
    free(_contentsPath);
    free(_applicationPath);
    free(_systemPath);
    free(_userPath);
    if (_commandStream) {
        pclose(_commandStream);
    }
    delete _lock;
    if (_captureFile) {
        fclose(_captureFile);
    }
    if (_childOutput) {
        fclose(_childOutput);
    }
    freeDummyInfo(_dummyInfo);
}

SupportPackage* SupportPackage::createSupportPackage() {
    char root[kPathBuffer] = {0};
    if (!createTempDirectory(root, kPathLimit)) {
        throw SupportPackageException("Could not create temporary path.");
    }
    char path[kPathBuffer] = {0};
    formatPath(path, "%s%c%s", root, '/', "system");
    if (mkdir(path, 0777) != 0) {
        throw SupportPackageException("Could not create system info path.");
    }
    memset(path, 0, sizeof path);
    formatPath(path, "%s%c%s", root, '/', "user");
    if (mkdir(path, 0777) != 0) {
        vesk_diagnostic("\nError creating usr path: %s", strerror(errno));
        return nullptr;
    }
    memset(path, 0, sizeof path);
    formatPath(path, "%s%c%s", root, '/', "application");
    if (mkdir(path, 0777) != 0) {
        vesk_diagnostic("\nError creating app path: %s", strerror(errno));
        return nullptr;
    }
    return new SupportPackage(root, true);
}

int SupportPackage::createTempDirectory(char* buffer, unsigned long length) {
    if (!buffer) {
        return 0;
    }
    char tmpl[kPathBuffer] = {0};
    formatPath(tmpl, "%s/osp_XXXXXXX", vesk_temporaryFolder().c_str());
    if (!mkdtemp(tmpl)) {
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
    size_t n = desktop.size() < length - 1 ? desktop.size() : length - 1;
    memcpy(buffer, desktop.data(), n);
    buffer[n] = '\0';
    return 1;
}

int SupportPackage::addFileToDir(const char* source, const char* target, _sp_support_info_type type,
                                 const char* feature) {
    if (!source || !target) {
        return 0;
    }
    char sourcePath[kPathBuffer] = {0};
    strncpy(sourcePath, source, kPathLimit);

    char featureFolder[kPathBuffer] = {0};
    if (feature) {
        formatPath(featureFolder, "%s/%s", target, feature);
        target = featureFolder;
        if (!PathFileExists(target) && mkdir(target, 0777) != 0) {
            throw SupportPackageException("Could not create system info path.");
        }
    }

    const char* slash = strrchr(sourcePath, '/');
    const char* baseName = slash ? slash + 1 : nullptr;

    char destination[kPathBuffer] = {0};
    formatPath(destination, "%s/%s", target, baseName ? baseName : kNullText);
    if (!copyFile(sourcePath, destination)) {
        return 0;
    }

    if (baseName && type != SP_INFO_NONE) {
        // Built by concatenation, so that a '%' in a file name is taken as it stands.
        std::string entry = categoryWord(type);
        entry += '/';
        if (feature) {
            entry += feature;
            entry += '/';
        }
        entry += baseName;
        if (entry.size() > kPathLimit - 1) {
            entry.resize(kPathLimit - 1);
        }
        std::vector<std::string>& list = type == SP_INFO_SYSTEM        ? _systemEntries
                                         : type == SP_INFO_APPLICATION ? _applicationEntries
                                                                       : _userEntries;
        list.push_back(entry);
    }
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
    if (matches.gl_pathc > 0) {
        for (size_t i = 0; i < matches.gl_pathc; ++i) {
            result = addFileToDir(matches.gl_pathv[i], target, type, feature);
        }
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
    // Opened without blocking and checked before reading: a FIFO, socket or device found by a
    // glob must not hold up the package job.
    int fd = open(source, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(fd);
        return 0;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    FILE* in = fdopen(fd, "rb");
    if (!in) {
        close(fd);
        return 0;
    }
    FILE* out = fopen(destination, "wb");
    if (!out) {
        fclose(in);
        return 0;
    }
    char block[1024];
    for (;;) {
        size_t got = fread(block, 1, sizeof block, in);
        if (got == 0) {
            fclose(in);
            // Blocks wait in the stream's buffer, so a full disk may only show when it is closed.
            return fclose(out) == 0 ? 1 : 0;
        }
        if (fwrite(block, 1, got, out) < got) {
            fclose(in);
            fclose(out);
            return 0;
        }
    }
}

int SupportPackage::savePackage(const char* archivePath) {
    if (!_packageInfo) {
        vesk_diagnostic("\nPackage info is null.");
        return 0;
    }
    if (!archivePath) {
        vesk_diagnostic("SupportPackage::savePackage - not path given.");
        return 0;
    }
    std::string manifest = std::string(_contentsPath ? _contentsPath : kNullText) + "/package.xml";
    if (!writePackageInfo(_packageInfo, manifest.c_str())) {
        return 0;
    }
    ZipBuilder zip(archivePath, false);
    zip.addFolderToZip(_contentsPath, true, _contentsPath);
    return 1;
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
