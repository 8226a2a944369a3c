// The product's process-wide log file, its time helpers and the per-user product folder.
//
// Nothing is written until initializeVeskLogging() has been called; from then on any thread may
// write. Every line is opened, appended, flushed and closed on its own, under logMutex, so a
// crash loses nothing and other processes may read or roll the file in between. After 30000
// lines the file rolls into a ring of ten archives "<log>.<n>.txt". No function here reports an
// error or throws: an unopenable log silently loses the line.
//
// Lock order: logMutex, then timeMutex, never the other way round.
#ifndef CORVIX_RUNTIME_VESKLOG_H
#define CORVIX_RUNTIME_VESKLOG_H

#include <string>

class Vesk_Mutex;

// The log's state. Plain globals, as other parts of the library (and tests) read them directly.
extern char veskLogFile[1024];
extern int VeskLoggingInitialized;
extern int VeskLoggingEnabled;
extern int VeskDevLoggingEnabled;
extern int VeskThreadLoggingEnabled;
extern int lineCount;
extern int fileCount;
extern Vesk_Mutex* logMutex;
extern Vesk_Mutex* timeMutex;

#define VESK_PRINTF_FORMAT __attribute__((format(printf, 1, 2)))

// The six writers. Tags: "DEV\t", none, "WARNING\t", "TO DO:\t", "ERROR\t", none. Plain and
// developer lines also need VeskLoggingEnabled (developer lines VeskDevLoggingEnabled too); the
// other four are written whenever the log is initialised.
void vesk_logDev(const char* format, ...) VESK_PRINTF_FORMAT;
void vesk_log(const char* format, ...) VESK_PRINTF_FORMAT;
void vesk_logWarning(const char* format, ...) VESK_PRINTF_FORMAT;
void vesk_logToDo(const char* format, ...) VESK_PRINTF_FORMAT;
void vesk_logError(const char* format, ...) VESK_PRINTF_FORMAT;
void vesk_logAlways(const char* format, ...) VESK_PRINTF_FORMAT;

// Starts the log at path (at most 1023 characters kept). An earlier logMutex is not freed.
int initializeVeskLogging(char* path);
// Starts the log at "/tmp/<name>"; the second argument is unused.
int initializeAndDetermineVeskLogging(char* name, char* unused);
// Frees logMutex. The log stays "initialised": no line may be written afterwards.
void cleanupVeskLogging();
int getLogFilePath(char* buffer, int size);

void setLoggingEnabled(bool enabled);
bool isDevLoggingEnabled();
void setDevLoggingEnabled(bool enabled);
void setThreadLoggingEnabled(bool enabled);

// Moves the current log to archive fileCount and advances the ring. Caller holds logMutex.
void rollVeskLogFile();

// Writes "<Preferences>/Orvanta/Corvix/<fileName>" into destination (cleared first, at most
// size-2 characters), creating both folders. Without a Preferences folder the base is
// "$HOME/Library/Preferences", and without HOME "/tmp". Returns 1 in every case. An empty name
// gives the folder with its trailing "/".
int calculateLogFilePath(char* destination, int size, const char* fileName);

// The per-user log folder "<Preferences>/Orvanta/Corvix/", creating both folders as
// calculateLogFilePath does, whole whatever its length (callers with a buffer refuse, never cut).
std::string vesk_logFolder();

// The folder calculateLogFilePath would use, ending in "/", computed without creating anything
// (for reports of what a job would read).
std::string vesk_logFolderWithoutCreating();

// mkdir(path, 0777); 1 when the folder exists afterwards. On failure the mkdir result (-1) is
// stored through error when it is not null.
int createDirectoryForPlatform(const char* path, int* error);

// The calling thread's number for log lines (its kernel thread id).
int getCurrentThread();

// Time helpers: timeMutex guards the C library's static localtime/asctime buffers.
void initVeskTime();
void cleanupVeskTime();
// asctime text of localtime(*time) without its newline; 0 for a null buffer or size <= 0.
int vesk_localAscTime(const long* time, char* buffer, int size);
// A malloc'ed copy of localtime(*time) (free it with free()), or null.
struct tm* vesk_localtime(const long* time);

#endif
