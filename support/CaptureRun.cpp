// CaptureRun: see CaptureRun.h.
#include "CaptureRun.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>

#include "CommandCapture.h"
#include "PackageCancelFlag.h"
#include "SupportPackage.h"
#include "SupportPackageException.h"

struct CaptureRun::Running {
    std::unique_ptr<CommandCapture> _capture;
    std::string _path, _name;
};

CaptureRun::CaptureRun(SupportPackage& package)
    : _package(package), _cancel(package.cancelFlag()) {}

CaptureRun::~CaptureRun() {
    abort();
}

void CaptureRun::add(const char* command, const char* fileName, bool append) {
    if (!command || !fileName || PackageCancelFlag::isSet(_cancel)) {
        return;
    }
    if (!_thread.joinable()) {
        if (pipe2(_wake, O_CLOEXEC | O_NONBLOCK) != 0) {
            throw SupportPackageException("error creating pipe.");
        }
        _thread = std::thread(&CaptureRun::loop, this);
    }
    // Only the first capture into a file lists it; appended captures extend the same entry.
    if (!append) {
        _package.addFileToSysManifest(fileName);
    }
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _pending.push_back({command, _package.capturePath(fileName),
                            std::string("system/") + fileName, append, _package.commandTimeout()});
    }
    wake();
}

void CaptureRun::finish() {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _closing = true;
    }
    join();
    if (!_failedName.empty()) {
        _package.noteStagingFailure(_failedName, _failedError);
    }
    if (!_exception.empty()) {
        throw SupportPackageException(_exception.c_str());
    }
}

void CaptureRun::abort() {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _closing = _aborting = true;
    }
    join();
}

void CaptureRun::wake() {
    if (_wake[1] >= 0) {
        char byte = 1;
        ssize_t ignored = write(_wake[1], &byte, 1);  // a full pipe wakes the thread as well
        (void)ignored;
    }
}

void CaptureRun::join() {
    if (_thread.joinable()) {
        wake();
        _thread.join();
    }
    for (int& fd : _wake) {
        if (fd >= 0) {
            close(fd);
            fd = -1;
        }
    }
}

void CaptureRun::startReady(std::vector<std::unique_ptr<Running>>* running) {
    std::vector<Request> ready;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        std::vector<std::string> busy;
        for (const auto& r : *running) {
            busy.push_back(r->_path);
        }
        for (auto it = _pending.begin(); it != _pending.end();) {
            bool waits = std::find(busy.begin(), busy.end(), it->_path) != busy.end();
            busy.push_back(it->_path);  // later commands into the same file wait for this one
            if (waits) {
                ++it;
            } else {
                ready.push_back(std::move(*it));
                it = _pending.erase(it);
            }
        }
    }
    for (const Request& request : ready) {
        std::unique_ptr<Running> r(new Running{
            std::unique_ptr<CommandCapture>(new CommandCapture(
                request._command, request._path, request._append, request._timeout, _cancel)),
            request._path, request._name});
        try {
            r->_capture->start();
        } catch (const SupportPackageException& e) {
            std::lock_guard<std::mutex> lock(_mutex);
            if (_exception.empty()) {
                _exception = e.what();
            }
            _aborting = true;
            continue;
        }
        running->push_back(std::move(r));
    }
}

void CaptureRun::loop() {
    std::vector<std::unique_ptr<Running>> running;
    for (;;) {
        bool aborting;
        {
            std::lock_guard<std::mutex> lock(_mutex);
            if (_aborting || PackageCancelFlag::isSet(_cancel)) {
                _pending.clear();
            }
            aborting = _aborting;
        }
        for (auto it = running.begin(); it != running.end();) {
            CommandCapture& capture = *(*it)->_capture;
            if (aborting) {
                capture.endNow();
            }
            if (!capture.step()) {
                ++it;
                continue;
            }
            if (capture.writeError()) {
                std::lock_guard<std::mutex> lock(_mutex);
                if (_failedName.empty()) {
                    _failedName = (*it)->_name;
                    _failedError = capture.writeError();
                }
            }
            it = running.erase(it);
        }
        startReady(&running);
        std::vector<struct pollfd> fds{{_wake[0], POLLIN, 0}};
        int timeout = -1;
        for (const auto& r : running) {
            fds.push_back({r->_capture->pollDescriptor(), POLLIN, 0});
            int wait = r->_capture->waitMs();
            if (wait >= 0 && (timeout < 0 || wait < timeout)) {
                timeout = wait;
            }
        }
        {
            std::lock_guard<std::mutex> lock(_mutex);
            if (running.empty() && _pending.empty() && _closing) {
                return;
            }
        }
        if (poll(fds.data(), fds.size(), timeout) > 0 && (fds[0].revents & POLLIN)) {
            char drain[64];
            while (read(_wake[0], drain, sizeof drain) > 0) {
            }
        }
    }
}
