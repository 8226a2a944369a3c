// CommandCapture: see CommandCapture.h.
#include "CommandCapture.h"

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
#include "SupportPackageException.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"

namespace {

const long long kKillGraceMs = 2000;
const long long kCancelGraceMs = 300;
// How long a wait may go without looking at the cancel flag.
const int kCancelPollMs = 50;
// How often a command whose output has ended is asked whether it has exited.
const int kReapPollMs = 5;
// How many pieces of output one step() copies at most.
const int kPiecesPerStep = 256;

long long monotonicMs() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

}  // namespace

CommandCapture::CommandCapture(const std::string& command, const std::string& outputPath,
                               bool append, int timeoutSeconds, const PackageCancelFlag* cancel)
    : _command(command),
      _outputPath(outputPath),
      _append(append),
      _timeoutSeconds(timeoutSeconds),
      _cancel(cancel) {}

CommandCapture::~CommandCapture() {
    if (_pid > 1 && !_reaped) {
        if (kill(-_pid, SIGKILL) != 0) {
            kill(_pid, SIGKILL);
        }
        while (waitpid(_pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    closeOutput();
    if (_file) {
        fclose(_file);
    }
    if (_errors >= 0) {
        close(_errors);
    }
}

void CommandCapture::openErrorFile() {
    // Beside the capture file and unlinked at once: nothing is left behind, whatever happens.
    if (!_outputPath.empty()) {
        std::string name = _outputPath + ".stderr-XXXXXX";
        _errors = mkostemp(&name[0], O_CLOEXEC);
        if (_errors >= 0) {
            unlink(name.c_str());
            return;
        }
    }
    // Never the terminal, whatever else becomes of it.
    _errors = open("/dev/null", O_WRONLY | O_CLOEXEC);
}

void CommandCapture::keepErrors() {
    char buffer[65536];
    off_t at = 0;
    for (ssize_t got; (got = pread(_errors, buffer, sizeof buffer, at)) > 0; at += got) {
        if (fwrite(buffer, 1, static_cast<size_t>(got), _file) != static_cast<size_t>(got) &&
            _writeError == 0) {
            _writeError = errno;
        }
    }
}

void CommandCapture::start() {
    int fds[2];
    // Close-on-exec keeps both ends out of the command (it gets the write end as its standard
    // output only) and out of children that other threads start meanwhile.
    if (pipe2(fds, O_CLOEXEC) != 0) {
        throw SupportPackageException("error creating pipe.");
    }
    _deadline = _timeoutSeconds > 0 ? monotonicMs() + _timeoutSeconds * 1000LL : 0;
    openErrorFile();

    // What this process has buffered would otherwise be written a second time by the child.
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    _pid = pid;
    if (pid < 0) {
        vesk_diagnostic("\nforking error!");
        exit(1);
    }
    if (pid == 0) {
        // Only async-signal-safe calls from here on: another thread of the parent may have held a
        // lock (stdio's, malloc's) at the fork, and the child has a copy of it, locked for ever.
        // Its own process group, so that a timeout ends the command's children too.
        setpgid(0, 0);
        dup2(fds[1], STDOUT_FILENO);
        close(fds[1]);
        if (_errors >= 0) {
            dup2(_errors, STDERR_FILENO);
        }
        // argv[0] names another path than the program executed; shells do not mind, and the
        // process list shows the command as it always has.
        char* const argv[] = {const_cast<char*>("/usr/bin/sh"), const_cast<char*>("-c"),
                              const_cast<char*>(_command.c_str()), nullptr};
        char* const environment[] = {nullptr};
        execve("/bin/sh", argv, environment);
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
    _output = fdopen(fds[0], "r");
    if (!_output) {
        vesk_diagnostic("\nError fdopen!");
        close(fds[0]);
    }
    if (_outputPath.empty()) {
        errno = ENAMETOOLONG;
    } else {
        _file = vesk_fopenRegular(_outputPath.c_str(), _append ? "a" : "w");
    }
    if (!_file) {
        vesk_diagnostic("\n**Error %s\n\n", strerror(errno));
    }
}

int CommandCapture::readPiece(char* buffer, int count, bool wait) {
    if (!_output || !buffer || count < 2) {
        return 0;
    }
    flockfile(_output);
    for (;;) {
        clearerr_unlocked(_output);
        errno = 0;
        // On an empty non-blocking pipe fgets hands back what it has so far (a piece of a line,
        // written out unchanged) or nothing, with EAGAIN.
        if (fgets(buffer, count, _output)) {
            funlockfile(_output);
            return 1;
        }
        bool retry =
            ferror_unlocked(_output) && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
        if (retry && !wait) {
            funlockfile(_output);
            return -1;
        }
        if (!retry || !waitForOutput()) {
            break;
        }
    }
    funlockfile(_output);
    closeOutput();
    return 0;
}

bool CommandCapture::step() {
    char buffer[1025];
    int got = 0;
    // A bounded share at a time: a command that never stops writing must not starve the others,
    // nor keep its own timeout from being looked at.
    for (int pieces = 0; pieces < kPiecesPerStep; ++pieces) {
        if ((got = readPiece(buffer, 1024, false)) != 1) {
            break;
        }
        keep(buffer);
    }
    if (got != 0 && timeIsUp() && !endGroup()) {
        closeOutput();  // given up: a descendant outside the group holds the pipe
    }
    if (!_output && !_reaped) {
        pid_t done = _pid > 0 ? waitpid(_pid, nullptr, WNOHANG) : _pid;
        if (done == _pid || (done < 0 && errno != EINTR)) {
            _reaped = true;
        } else if (timeIsUp()) {
            endGroup();
        }
    }
    if (_reaped && _file) {
        if (_errors >= 0) {
            keepErrors();
        }
        if (fclose(_file) != 0 && _writeError == 0) {
            _writeError = errno;
        }
        _file = nullptr;
    }
    return _reaped;
}

int CommandCapture::pollDescriptor() const {
    return _output ? fileno(_output) : -1;
}

int CommandCapture::waitMs() const {
    if (!_output) {
        return _reaped ? 0 : kReapPollMs;
    }
    long long wait = -1;
    if (_deadline > 0) {
        wait = _deadline - monotonicMs();
        wait = wait < 0 ? 0 : (wait > INT_MAX ? INT_MAX : wait);
    }
    if ((_cancel || _endNow) && (wait < 0 || wait > kCancelPollMs)) {
        wait = kCancelPollMs;
    }
    return static_cast<int>(wait);
}

void CommandCapture::finish() {
    while (!step()) {
        struct pollfd readable = {pollDescriptor(), POLLIN, 0};
        poll(&readable, 1, waitMs());
    }
}

bool CommandCapture::timeIsUp() {
    if (_stage == 0 && (_endNow || PackageCancelFlag::isSet(_cancel))) {
        _deadline = monotonicMs();
    }
    return _deadline > 0 && _deadline - monotonicMs() <= 0;
}

bool CommandCapture::waitForOutput() {
    for (;;) {
        if (timeIsUp()) {
            if (!endGroup()) {
                return false;
            }
            continue;
        }
        struct pollfd readable = {pollDescriptor(), POLLIN, 0};
        int ready = poll(&readable, 1, waitMs());
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
}

bool CommandCapture::endGroup() {
    // Never signal without a child: kill(-1) would reach every process of the user.
    if (_pid <= 1 || _stage >= 2) {
        _stage = 3;
        return false;
    }
    bool cancelled = _endNow || PackageCancelFlag::isSet(_cancel);
    int signal = _stage == 0 ? SIGTERM : SIGKILL;
    if (_stage == 0 && !cancelled) {
        vesk_diagnostic("\nCommand still running after %d seconds; ending it.", _timeoutSeconds);
    }
    if (kill(-_pid, signal) != 0) {
        kill(_pid, signal);
    }
    ++_stage;
    _deadline = monotonicMs() + (cancelled ? kCancelGraceMs : kKillGraceMs);
    return true;
}

void CommandCapture::closeOutput() {
    if (_output) {
        fclose(_output);
        _output = nullptr;
    }
}

void CommandCapture::keep(const char* piece) {
    // Without a capture file the output is still read, so the command can finish.
    if (_file && fputs(piece, _file) == EOF && _writeError == 0) {
        _writeError = errno;
    }
}
