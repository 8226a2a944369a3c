#include "CprSweep.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "CorvixCleaner.h"
#include "CprSweepObserver.h"
#include "VeskDiagnostics.h"
#include "VeskPath.h"

namespace {

// Counts what the walk reports and passes it on to the caller's observer.
class CountingObserver : public CprSweepObserver {
  public:
    CountingObserver(const char* folder, CprSweepObserver* next, CprSweepResult* result)
        : _folder(folder), _next(next), _result(result) {}

    void searchingFolder(const char* path) override {
        if (_next) {
            _next->searchingFolder(path);
        }
    }
    void cprFileRemoved(const char* path) override {
        if (_next) {
            _next->cprFileRemoved(path);
        }
    }
    void cprFileNotRemoved(const char* path, const char* reason) override {
        ++_result->notRemoved;
        if (_next) {
            _next->cprFileNotRemoved(path, reason);
        }
    }
    void folderNotRead(const char* path, const char* reason) override {
        ++_result->foldersNotRead;
        if (_folder == path) {
            _result->folderError = reason;
        }
        if (_next) {
            _next->folderNotRead(path, reason);
        }
    }
    void pathSkipped(const char* path) override {
        ++_result->pathsSkipped;
        if (_next) {
            _next->pathSkipped(path);
        }
    }

  private:
    std::string _folder;
    CprSweepObserver* _next;
    CprSweepResult* _result;
};

// Opens the sweep log for appending without waiting on it: a FIFO nobody reads is refused at
// once instead of blocking the sweep.
FILE* openSweepLog(const char* path) {
    int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0666);
    if (fd < 0) {
        vesk_diagnostic("\nThe sweep is not logged: %s: %s", vesk_printablePath(path).c_str(),
                        strerror(errno));
        return nullptr;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    FILE* log = fdopen(fd, "at");
    if (!log) {
        close(fd);
        return nullptr;
    }
    setvbuf(log, nullptr, _IOLBF, 0);
    return log;
}

}  // namespace

std::string CprSweepResult::shortfall() const {
    std::string text;
    const std::pair<int, const char*> counts[] = {
        {notRemoved, " file(s) could not be removed.\n"},
        {foldersNotRead, " folder(s) could not be read.\n"},
        {pathsSkipped, " path(s) too long to use were skipped.\n"},
    };
    for (const auto& [count, sentence] : counts) {
        if (count > 0) {
            text += std::to_string(count) + sentence;
        }
    }
    if (stopped) {
        text += "The sweep was stopped before it finished.\n";
    }
    return text;
}

int CprSweep::run(const char* folder, bool recursive, CprSweepObserver* observer,
                  CprSweepResult* result, CorvixCleanerMode mode) {
    g_shouldRunCPRThread = 1;
    CorvixCleaner cleaner(mode);
    CprSweepResult account;
    CountingObserver counter(folder ? folder : "", observer, &account);

    FILE* log = nullptr;
    // Without a log folder the lines go to the diagnostics sink, once the walk is over.
    char* unlogged = nullptr;
    size_t unloggedSize = 0;
    char logPath[kVeskPathBufferSize] = {0};
    if (mode == kCleanerDryRun) {
        // A dry run deletes nothing, so it has nothing to record.
    } else if (cleaner.getPathToLogs(logPath, kVeskPathBufferSize - 1)) {
        // The folder already ends in "/"; the doubled slash is harmless and kept.
        if (vesk_formatPath(logPath, sizeof logPath, "%s/CorvixSupport.log",
                            std::string(logPath).c_str())) {
            log = openSweepLog(logPath);
        }
    } else {
        log = open_memstream(&unlogged, &unloggedSize);
    }
    if (log) {
        time_t now = time(nullptr);
        char stamp[64] = {0};
        ctime_r(&now, stamp);
        fprintf(log, "\nCorvix Support Tool - CRP Remove started at %s====\n", stamp);
    }

    char start[kVeskPathBufferSize] = {0};
    if (folder && !vesk_formatPathQuietly(start, kVeskPathBufferSize, "%s", folder)) {
        counter.folderNotRead(folder, strerror(ENAMETOOLONG));
    } else {
        cleaner.removeCprFiles(start, recursive, log, account.removed, &counter);
    }

    if (log) {
        fclose(log);
    }
    if (unlogged) {
        vesk_diagnosticText(std::string(unlogged, unloggedSize));
        free(unlogged);
    }
    account.stopped = g_shouldRunCPRThread == 0;
    if (result) {
        *result = account;
    }
    return account.removed;
}
