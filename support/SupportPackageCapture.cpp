// Command capture of SupportPackage: addOutputToSys, run and getInputFromChild, one command at a
// time over a CommandCapture (which holds the child, its pipe, the capture file and the timeout).
#include <cerrno>
#include <string>

#include "CommandCapture.h"
#include "PackageCancelFlag.h"
#include "SupportPackage.h"
#include "VeskPath.h"
#include "Vesk_Mutex.h"

std::string SupportPackage::capturePath(const char* fileName) const {
    char path[kVeskPathBufferSize];
    if (!vesk_formatPath(path, sizeof path, "%s/%s", _systemPath ? _systemPath : "(null)",
                         fileName)) {
        return std::string();
    }
    return path;
}

void SupportPackage::addOutputToSys(const char* command, const char* fileName, bool append) {
    if (!command || !fileName || PackageCancelFlag::isSet(_cancel)) {
        return;
    }
    _lock->lock();
    CommandCapture capture(command, capturePath(fileName), append, _commandTimeout, _cancel);
    capture.start();
    // Only the first capture into a file lists it; appended captures extend the same entry.
    if (!append) {
        addFileToSysManifest(fileName);
    }
    _capture = &capture;
    run();
    _capture = nullptr;
    if (capture.writeError()) {
        noteStagingFailure(std::string("system/") + fileName, capture.writeError());
    }
    _lock->unlock();
}

void SupportPackage::run() {
    if (_capture) {
        _capture->finish();
    }
}

int SupportPackage::getInputFromChild(char* buffer, int count) {
    return _capture ? _capture->readPiece(buffer, count, true) : 0;
}
