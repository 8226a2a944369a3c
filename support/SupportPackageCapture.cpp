// Command capture of SupportPackage: addOutputToSys, run, getInputFromChild and the timeout.
//
// The child's output is read through a non-blocking pipe: whenever the pipe is empty the reader
// waits with poll() until data arrives or the command's time is up, so a hung command cannot hold
// the package job. When time is up the child's process group gets SIGTERM, after a grace period
// SIGKILL, and after another grace period the reader stops waiting for the end of the output (a
// descendant that left the group may still hold the pipe open). A raised cancel flag ends the
// group the same way at once, with a shorter grace period: the user is waiting.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "PackageCancelFlag.h"
#include "SupportPackage.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "Vesk_Mutex.h"

namespace {

const long long kKillGraceMs = 2000;
const long long kCancelGraceMs = 300;
// How long a wait may go without looking at the cancel flag.
const int kCancelPollMs = 50;
const useconds_t kReapPollMicros = 5000;

long long monotonicMs() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

}  // namespace

void SupportPackage::addOutputToSys(const char* command, const char* fileName, bool append) {
    if (!command || !fileName || PackageCancelFlag::isSet(_cancel)) {
        return;
    }
    _lock->lock();
    int fds[2];
    // Close-on-exec keeps both ends out of the command (it gets the write end as its standard
    // output only) and out of children that other threads start meanwhile.
    if (pipe2(fds, O_CLOEXEC) != 0) {
        throw SupportPackageException("error creating pipe.");
    }
    _captureStage = 0;
    _captureDeadline = _commandTimeout > 0 ? monotonicMs() + _commandTimeout * 1000LL : 0;

    // What this process has buffered would otherwise be written a second time by the child.
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    _childPid = pid;
    if (pid < 0) {
        vesk_diagnostic("\nforking error!");
        exit(1);
    }
    if (pid == 0) {
        // Its own process group, so that a timeout ends the command's children too.
        setpgid(0, 0);
        setvbuf(stdout, nullptr, _IONBF, 0);
        dup2(fds[1], STDOUT_FILENO);
        close(fds[1]);
        // argv[0] names another path than the program executed; shells do not mind, and the
        // process list shows the command as it always has.
        char* const argv[] = {const_cast<char*>("/usr/bin/sh"), const_cast<char*>("-c"),
                              const_cast<char*>(command), nullptr};
        char* const environment[] = {nullptr};
        execve("/bin/sh", argv, environment);
        // Only write(2) here: the child shares the parent's locks, which another thread may hold.
        char message[256];
        int length = snprintf(message, sizeof message, "\n***Error %s \n\n", strerror(errno));
        if (length > 0) {
            ssize_t ignored = write(STDERR_FILENO, message, static_cast<size_t>(length));
            (void)ignored;
        }
        _exit(127);
    }
    // Also from this side, so the group exists before a timeout could signal it.
    setpgid(pid, pid);
    close(fds[1]);
    usleep(1000);
    fcntl(fds[0], F_SETFL, fcntl(fds[0], F_GETFL) | O_NONBLOCK);
    _childOutput = fdopen(fds[0], "r");
    if (!_childOutput) {
        vesk_diagnostic("\nError fdopen!");
        close(fds[0]);
    }

    if (_captureFile) {
        fclose(_captureFile);
        _captureFile = nullptr;
    }
    char path[kVeskPathBufferSize];
    if (vesk_formatPath(path, sizeof path, "%s/%s", _systemPath ? _systemPath : "(null)",
                        fileName)) {
        _captureFile = vesk_fopenRegular(path, append ? "a" : "w");
    } else {
        errno = ENAMETOOLONG;
    }
    // Only the first capture into a file lists it; appended captures extend the same entry.
    if (!append) {
        _systemEntries.push_back(std::string("system/") + fileName);
    }
    if (!_captureFile) {
        vesk_diagnostic("\n**Error %s\n\n", strerror(errno));
    }
    _captureName = std::string("system/") + fileName;

    run();
    _lock->unlock();
}

void SupportPackage::run() {
    for (;;) {
        char buffer[1025] = {0};
        if (getInputFromChild(buffer, 1024) == 1) {
            // Without a capture file the output is still read, so the child can finish.
            if (_captureFile && fputs(buffer, _captureFile) == EOF) {
                noteStagingFailure(_captureName, errno);
            }
            continue;
        }
        reapChild();
        if (_captureFile) {
            if (fclose(_captureFile) != 0) {
                noteStagingFailure(_captureName, errno);
            }
            _captureFile = nullptr;
        }
        return;
    }
}

int SupportPackage::getInputFromChild(char* buffer, int count) {
    if (!_childOutput || !buffer || count < 2) {
        return 0;
    }
    flockfile(_childOutput);
    for (;;) {
        clearerr_unlocked(_childOutput);
        errno = 0;
        // On an empty non-blocking pipe fgets hands back what it has so far (a piece of a line,
        // written out unchanged) or nothing, with EAGAIN.
        if (fgets(buffer, count, _childOutput)) {
            funlockfile(_childOutput);
            return 1;
        }
        bool retry = ferror_unlocked(_childOutput) &&
                     (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
        if (!retry || !waitForChildOutput()) {
            break;
        }
    }
    funlockfile(_childOutput);
    fclose(_childOutput);
    _childOutput = nullptr;
    return 0;
}

bool SupportPackage::captureTimeIsUp() {
    if (_captureStage == 0 && PackageCancelFlag::isSet(_cancel)) {
        _captureDeadline = monotonicMs();
    }
    return _captureDeadline > 0 && _captureDeadline - monotonicMs() <= 0;
}

bool SupportPackage::waitForChildOutput() {
    for (;;) {
        if (captureTimeIsUp()) {
            if (!endChildGroup()) {
                return false;
            }
            continue;
        }
        int waitMs = -1;
        if (_captureDeadline > 0) {
            long long left = _captureDeadline - monotonicMs();
            waitMs = left > INT_MAX ? INT_MAX : static_cast<int>(left);
        }
        if (_cancel && (waitMs < 0 || waitMs > kCancelPollMs)) {
            waitMs = kCancelPollMs;
        }
        struct pollfd readable = {fileno_unlocked(_childOutput), POLLIN, 0};
        int ready = poll(&readable, 1, waitMs);
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
}

bool SupportPackage::endChildGroup() {
    // Never signal without a child: kill(-1) would reach every process of the user.
    if (_childPid <= 1 || _captureStage >= 2) {
        _captureStage = 3;
        return false;
    }
    bool cancelled = PackageCancelFlag::isSet(_cancel);
    int signal = _captureStage == 0 ? SIGTERM : SIGKILL;
    if (_captureStage == 0 && !cancelled) {
        vesk_diagnostic("\nCommand still running after %d seconds; ending it.", _commandTimeout);
    }
    if (kill(-_childPid, signal) != 0) {
        kill(_childPid, signal);
    }
    ++_captureStage;
    _captureDeadline = monotonicMs() + (cancelled ? kCancelGraceMs : kKillGraceMs);
    return true;
}

void SupportPackage::reapChild() {
    if (_childPid <= 0) {
        return;
    }
    for (;;) {
        bool timed = (_captureDeadline > 0 || _cancel) && _captureStage < 3;
        pid_t done = waitpid(_childPid, nullptr, timed ? WNOHANG : 0);
        if (done == _childPid || (done < 0 && errno != EINTR)) {
            break;
        }
        if (done == 0) {
            if (captureTimeIsUp()) {
                endChildGroup();
            } else {
                usleep(kReapPollMicros);
            }
        }
    }
    _childPid = -1;
}
