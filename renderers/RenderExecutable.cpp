#include "RenderExecutable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "AppFinder.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "VeskPlatform.h"
#include "XmlFile.h"

namespace {

const char kAppDirToken[] = "($APPDIR)";
const char kUserDirToken[] = "($USERDIR)";
// The folder lookup's "not found" code, reported when no home folder can be had.
const int kFolderNotFound = -43;

}  // namespace

RenderExecutable::RenderExecutable(const char* pathPattern) {
    if (!pathPattern) {
        return;
    }
    _launchPath = pathPattern;
    size_t appDir = _launchPath.find(kAppDirToken);
    if (appDir != std::string::npos) {
        _launchPath.replace(appDir, strlen(kAppDirToken), getDefaultApplicationPath());
    }
    size_t userDir = _launchPath.find(kUserDirToken);
    std::string home = userDir == std::string::npos ? std::string() : getUserPath();
    // A home folder too long for the path buffer was refused: the token stays, so that the
    // pattern names no file rather than one below the file system's root.
    while (userDir != std::string::npos && !_userFolderRefused) {
        _launchPath.replace(userDir, strlen(kUserDirToken), home);
        userDir = _launchPath.find(kUserDirToken, userDir + home.size());
    }
    verifyPath();
}

RenderExecutable::~RenderExecutable() {
    free(_userFolder);
}

void RenderExecutable::verifyPath() {
    // Opened without blocking, so that a FIFO at the path cannot hang the tool; only what the
    // product's open succeeds on and a program can be (a regular file, or a folder) exists.
    struct stat st;
    if (stat(_launchPath.c_str(), &st) == 0 && !S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode)) {
        render_reportSkipped(
            _launchPath.c_str(),
            std::string("is ") + vesk_describeFileType(st.st_mode) + ", not a regular file");
        _exists = false;
        return;
    }
    int descriptor = open(_launchPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    _exists = descriptor >= 0;
    if (descriptor >= 0) {
        close(descriptor);
    }
}

void RenderExecutable::setPathToExecutable(const char* path) {
    _launchPath = path ? path : "";
    verifyPath();
}

void RenderExecutable::discoverApplication() {
    char found[kVeskPathBufferSize] = {0};
    if (AppFinder::findApplicationForExtension(_discoverKey.c_str(), _launchPath.c_str(), found,
                                               kVeskPathBufferSize - 1)) {
        _launchPath = found;
        verifyPath();
    } else {
        _launchPath.clear();
        _exists = false;
    }
}

const char* RenderExecutable::getUserPath() {
    if (_userFolder) {
        return _userFolder;
    }
    char buffer[kVeskPathBufferSize] = {0};
    std::string home;
    if (vesk_homeFolder(&home)) {
        _userFolderRefused = !vesk_formatPath(buffer, sizeof buffer, "%s", home.c_str());
    } else {
        vesk_diagnostic("\nFSFindFolder failed (%d)", kFolderNotFound);
    }
    _userFolder = strdup(buffer);
    return _userFolder ? _userFolder : "";
}

const char* RenderExecutable::getDefaultApplicationPath() {
    _applicationFolder = vesk_machinePath("/Applications");
    return _applicationFolder.c_str();
}

void RenderExecutable::setDiscoverKey(const char* key) {
    _discoverKey = key ? key : "";
}

void RenderExecutable::setAdapter(const char* adapter) {
    _adapter = adapter ? adapter : "";
    _hasAdapter = true;
}

void RenderExecutable::setVersionString(const char* version) {
    _versionString = version ? version : "";
}

void RenderExecutable::dumpInfo() const {
    vesk_diagnostic("\n\nExecutable");
    vesk_diagnostic("\n----");
    vesk_diagnostic("\nPath: %s", _launchPath.c_str());
    vesk_diagnostic("\nVersion: %s", _versionString.c_str());
    vesk_diagnostic("\nStream: %s", _stream == 1 ? "StdErr" : "StdOut");
    vesk_diagnostic("\nConsoleReader: %s", _consoleReader ? "Redirected" : "Standard");
    vesk_diagnostic("\nExists: %s", _exists ? "yes" : "no");
}
