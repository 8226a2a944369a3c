#include "CprSweep.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "CorvixCleaner.h"

namespace {

const size_t kPathBuffer = 1025;

}  // namespace

int CprSweep::run(const char* folder, bool recursive, CprSweepObserver* observer) {
    g_shouldRunCPRThread = 1;
    CorvixCleaner cleaner;

    char start[kPathBuffer] = {0};
    snprintf(start, kPathBuffer, "%s", folder ? folder : "");

    FILE* log = nullptr;
    char logPath[1024] = {0};
    if (cleaner.getPathToLogs(logPath, sizeof logPath)) {
        // The folder already ends in "/"; the doubled slash is harmless and kept.
        strncat(logPath, "/CorvixSupport.log", sizeof logPath - strlen(logPath) - 1);
        log = fopen(logPath, "at");
    } else {
        log = stderr;
    }
    if (log) {
        time_t now = time(nullptr);
        char stamp[64] = {0};
        ctime_r(&now, stamp);
        fprintf(log, "\nCorvix Support Tool - CRP Remove started at %s====\n", stamp);
    }

    int removed = 0;
    cleaner.removeCprFiles(start, recursive, log, removed, observer);

    if (log && log != stderr) {
        fclose(log);
    }
    return removed;
}
