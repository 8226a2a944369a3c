#include "VeskLog.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "VeskPlatform.h"
#include "Vesk_Mutex.h"

char veskLogFile[1024] = {0};
int VeskLoggingInitialized = 0;
int VeskLoggingEnabled = 1;
int VeskDevLoggingEnabled = 0;
int VeskThreadLoggingEnabled = 1;
int lineCount = 0;
int fileCount = 0;
Vesk_Mutex* logMutex = nullptr;
Vesk_Mutex* timeMutex = nullptr;

namespace {

const int kLinesBeforeRoll = 30000;
const int kArchiveCount = 10;

// The body shared by the six writers; the gate has been tested by the caller.
void writeLine(const char* tag, const char* format, va_list args) {
    Vesk_MutexLocker lock(logMutex);

    char stamp[256];
    memset(stamp, 0, sizeof stamp);
    long now = static_cast<long>(time(nullptr));
    vesk_localAscTime(&now, stamp, sizeof stamp);

    FILE* f = fopen(veskLogFile, "a");
    if (f) {
        fprintf(f, "<%s>\t", stamp);
        if (VeskThreadLoggingEnabled) {
            fprintf(f, "<Thread=%d>\t", getCurrentThread());
        }
        fputs(tag, f);
        vfprintf(f, format, args);
        fputs("\n", f);
        fflush(f);
        fclose(f);
    }
    // Any user's process may append to a log that another user's process made.
    chmod(veskLogFile, 0666);

    if (++lineCount > kLinesBeforeRoll) {
        rollVeskLogFile();
    }
}

}  // namespace

#define VESK_WRITER(function, gate, tag)     \
    void function(const char* format, ...) { \
        if (!(gate)) {                       \
            return;                          \
        }                                    \
        va_list args;                        \
        va_start(args, format);              \
        writeLine(tag, format, args);        \
        va_end(args);                        \
    }

VESK_WRITER(vesk_logDev, VeskLoggingInitialized&& VeskLoggingEnabled&& VeskDevLoggingEnabled,
            "DEV\t")
VESK_WRITER(vesk_log, VeskLoggingInitialized&& VeskLoggingEnabled, "")
VESK_WRITER(vesk_logWarning, VeskLoggingInitialized, "WARNING\t")
VESK_WRITER(vesk_logToDo, VeskLoggingInitialized, "TO DO:\t")
VESK_WRITER(vesk_logError, VeskLoggingInitialized, "ERROR\t")
VESK_WRITER(vesk_logAlways, VeskLoggingInitialized, "")

#undef VESK_WRITER

int initializeVeskLogging(char* path) {
    initVeskTime();
    logMutex = new Vesk_Mutex;
    memset(veskLogFile, 0, sizeof veskLogFile);
    int result = snprintf(veskLogFile, sizeof veskLogFile, "%s", path);
    VeskLoggingInitialized = 1;
    return result;
}

int initializeAndDetermineVeskLogging(char* name, char* /*unused*/) {
    memset(veskLogFile, 0, sizeof veskLogFile);
    std::string tmp = vesk_temporaryFolder() + "/";
    char path[1024];
    memset(path, 0, sizeof path);
    snprintf(path, sizeof path, "%s%s", tmp.c_str(), name);
    return initializeVeskLogging(path);
}

void cleanupVeskLogging() {
    if (logMutex) {
        delete logMutex;
        logMutex = nullptr;
    }
}

int getLogFilePath(char* buffer, int size) {
    return snprintf(buffer, size, "%s", veskLogFile);
}

void setLoggingEnabled(bool enabled) {
    VeskLoggingEnabled = enabled;
}

bool isDevLoggingEnabled() {
    return VeskDevLoggingEnabled;
}

void setDevLoggingEnabled(bool enabled) {
    VeskDevLoggingEnabled = enabled;
}

void setThreadLoggingEnabled(bool enabled) {
    VeskThreadLoggingEnabled = enabled;
}

void rollVeskLogFile() {
    if (!VeskLoggingInitialized) {
        return;
    }
    char archive[1100];
    snprintf(archive, sizeof archive, "%s.%d.txt", veskLogFile, fileCount);
    remove(archive);
    rename(veskLogFile, archive);
    lineCount = 0;
    fileCount = (fileCount + 1) % kArchiveCount;
}

namespace {

std::string logFolderBase(bool create) {
    std::string base;
    vesk_preferencesFolderOrFallback(&base, create);
    return base;
}

}  // namespace

std::string vesk_logFolderWithoutCreating() {
    return logFolderBase(false) + "/Orvanta/Corvix/";
}

std::string vesk_logFolder() {
    std::string path = logFolderBase(true) + "/Orvanta";
    createDirectoryForPlatform(path.c_str(), nullptr);
    path += "/Corvix";
    createDirectoryForPlatform(path.c_str(), nullptr);
    return path + "/";
}

int calculateLogFilePath(char* destination, int size, const char* fileName) {
    memset(destination, 0, size);
    std::string path = vesk_logFolder() + fileName;
    snprintf(destination, size - 1, "%s", path.c_str());
    return 1;
}

int createDirectoryForPlatform(const char* path, int* error) {
    int result = mkdir(path, 0777);
    if (result == 0) {
        return 1;
    }
    DIR* dir = opendir(path);
    if (dir) {
        closedir(dir);
        return 1;
    }
    if (error) {
        *error = result;
    }
    return 0;
}

int getCurrentThread() {
    return vesk_currentThreadNumber();
}

void initVeskTime() {
    if (!timeMutex) {
        timeMutex = new Vesk_Mutex;
    }
}

void cleanupVeskTime() {
    if (timeMutex) {
        delete timeMutex;
        timeMutex = nullptr;
    }
}

int vesk_localAscTime(const long* time, char* buffer, int size) {
    if (!buffer || size <= 0) {
        return 0;
    }
    Vesk_MutexLocker lock(timeMutex);
    time_t t = static_cast<time_t>(*time);
    struct tm* broken = localtime(&t);
    memset(buffer, 0, size);
    if (broken) {
        snprintf(buffer, size - 1, "%s", asctime(broken));
    }
    size_t length = strlen(buffer);
    if (length > 1) {
        buffer[length - 1] = '\0';
    }
    return 1;
}

struct tm* vesk_localtime(const long* time) {
    Vesk_MutexLocker lock(timeMutex);
    time_t t = static_cast<time_t>(*time);
    struct tm* broken = localtime(&t);
    if (!broken) {
        return nullptr;
    }
    struct tm* copy = static_cast<struct tm*>(malloc(sizeof(struct tm)));
    if (copy) {
        memcpy(copy, broken, sizeof(struct tm));
    }
    return copy;
}
