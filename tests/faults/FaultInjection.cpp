// An LD_PRELOAD library that makes the tool's writes fail on demand: it counts every call that
// writes the tool's files and fails the Nth with ENOSPC or EIO, so that a test can walk a verb
// through every write it makes and check that no failure is reported as success.
//
// Counted, and only for files below CORVIX_FAULT_DIR (never standard output or error, never the
// system's own files), in the forms the tool and its libraries call: opening a file for writing
// (open, openat, fopen, fdopen, mkstemp, mkstemps), write (pwrite, ftruncate, sendfile), fsync
// (fdatasync), close, rename (renameat), mkdir (mkdirat, mkdtemp), copy_file_range, and removing
// (unlink, unlinkat, rmdir, remove). Streams opened for writing are
// given to the program as fopencookie streams over the counted calls, since the C library's own
// stdio writes and closes cannot be interposed; such a stream has no file descriptor
// (fileno() is -1).
//
// Environment (read once, at load):
//   CORVIX_FAULT_DIR    the sandbox folder (absolute, no symbolic links); unset: nothing counted
//   CORVIX_FAULT_EXE    the program to act in (its /proc/self/exe path); other programs that
//                       inherit the library (the shell of system(), mkdir) count nothing
//   CORVIX_FAULT_LOG    a file outside the sandbox that gets one line per counted call:
//                       "<index> [FAIL ]<site> <path>", the path "-" for calls on a descriptor
//   CORVIX_FAIL_AT      N: the Nth counted call fails (with CORVIX_FAIL_SITE: the Nth of that site)
//   CORVIX_FAIL_SITE    a site as the log names it: the kind (with "+thread" when the call is
//                       made on another thread than the program's first), then the return
//                       addresses of the program's innermost four frames as offsets in its file
//   CORVIX_FAIL_ERRNO   "ENOSPC" (default), "EIO" or a number
//
// A failed call does nothing and returns -1 (null) with errno set, except close, which closes the
// descriptor all the same, as Linux does. Children of the program count nothing (pthread_atfork).
// Any thread may call; the counter is atomic.
#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

enum Kind { kOpen, kWrite, kFsync, kClose, kRename, kMkdir, kRemove, kCopy };
const char* const kKindNames[] = {"open",   "write", "fsync",  "close",
                                  "rename", "mkdir", "remove", "copy_file_range"};

// What the library knows of a descriptor.
enum Tracked : unsigned char { kUntracked = 0, kReading = 1, kWriting = 2 };
const int kMaxDescriptors = 65536;
unsigned char g_descriptors[kMaxDescriptors];

char g_folder[PATH_MAX];
size_t g_folderLength = 0;
bool g_enabled = false;
long g_failAt = 0;
char g_failSite[256];
int g_errno = ENOSPC;
int g_logFd = -1;
uintptr_t g_programBase = 0;
long g_count = 0;
long g_siteCount = 0;
// Set while the library itself runs (backtrace() loads libgcc_s, the log is written): calls made
// then pass straight through.
__thread int t_busy __attribute__((tls_model("initial-exec"))) = 0;

template <typename F>
F next(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
#define REAL(name) static auto real_##name = next<decltype(&::name)>(#name)
// The body of an interposer: when condition holds the call is counted (of path, when it names
// one), and the one to fail gives -1 with errno set; any other goes to the real function.
#define FAIL_OR_CALL(name, condition, kind, path, ...) \
    REAL(name);                                        \
    return (condition) && failHere(kind, path) ? -1 : real_##name(__VA_ARGS__)

void track(int fd, Tracked state) {
    if (fd >= 0 && fd < kMaxDescriptors) {
        __atomic_store_n(&g_descriptors[fd], state, __ATOMIC_RELAXED);
    }
}

Tracked trackedAs(int fd) {
    return fd >= 0 && fd < kMaxDescriptors && g_enabled && !t_busy
               ? static_cast<Tracked>(__atomic_load_n(&g_descriptors[fd], __ATOMIC_RELAXED))
               : kUntracked;
}

bool writing(int fd) {
    return trackedAs(fd) == kWriting;
}

// Whether path (relative to dirfd) lies below the sandbox folder.
bool below(int dirfd, const char* path) {
    if (!g_enabled || t_busy || path == nullptr) {
        return false;
    }
    char full[2 * PATH_MAX];
    if (path[0] == '/') {
        snprintf(full, sizeof full, "%s", path);
    } else {
        char base[PATH_MAX];
        if (dirfd == AT_FDCWD) {
            if (getcwd(base, sizeof base) == nullptr) {
                return false;
            }
        } else {
            char link[64];
            snprintf(link, sizeof link, "/proc/self/fd/%d", dirfd);
            ssize_t length = readlink(link, base, sizeof base - 1);
            if (length < 0) {
                return false;
            }
            base[length] = '\0';
        }
        snprintf(full, sizeof full, "%s/%s", base, path);
    }
    return strncmp(full, g_folder, g_folderLength) == 0 &&
           (full[g_folderLength] == '/' || full[g_folderLength] == '\0');
}

// The site of a call: its kind ("+thread" when made on another thread than the program's first)
// and the program's innermost four return addresses as offsets.
void siteOf(Kind kind, char* out, size_t size) {
    void* frames[48];
    int depth = backtrace(frames, 48);
    size_t used = static_cast<size_t>(
        snprintf(out, size, "%s%s", kKindNames[kind], gettid() != getpid() ? "+thread" : ""));
    int taken = 0;
    for (int i = 0; i < depth && taken < 4 && used < size; ++i) {
        Dl_info info;
        if (dladdr(frames[i], &info) != 0 &&
            reinterpret_cast<uintptr_t>(info.dli_fbase) == g_programBase) {
            used += static_cast<size_t>(
                snprintf(out + used, size - used, "%c%lx", taken == 0 ? ':' : '/',
                         static_cast<unsigned long>(reinterpret_cast<uintptr_t>(frames[i]) -
                                                    g_programBase)));
            ++taken;
        }
    }
}

// Counts one call (of path, when it names one); true when it must fail, with errno set.
bool failHere(Kind kind, const char* path = nullptr) {
    if (!g_enabled || t_busy) {
        return false;
    }
    int saved = errno;
    t_busy = 1;
    char site[256] = "";
    if (g_logFd >= 0 || g_failSite[0] != '\0') {
        siteOf(kind, site, sizeof site);
    }
    long index = __atomic_add_fetch(&g_count, 1, __ATOMIC_SEQ_CST);
    long nth = index;
    if (g_failSite[0] != '\0') {
        nth = strcmp(site, g_failSite) == 0 ? __atomic_add_fetch(&g_siteCount, 1, __ATOMIC_SEQ_CST)
                                            : 0;
    }
    bool fail = g_failAt > 0 && nth == g_failAt;
    if (g_logFd >= 0) {
        char line[PATH_MAX + 512];
        int length = snprintf(line, sizeof line, "%ld %s%s %s\n", index, fail ? "FAIL " : "", site,
                              path != nullptr ? path : "-");
        REAL(write);
        if (real_write(g_logFd, line, static_cast<size_t>(length)) < 0) {
            // The log is the test's; a lost line shows there as a missing call.
        }
    }
    t_busy = 0;
    errno = fail ? g_errno : saved;
    return fail;
}

bool opensForWriting(int flags) {
    return (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC | O_APPEND)) != 0;
}

bool writesStream(const char* mode) {
    return mode != nullptr && (mode[0] == 'w' || mode[0] == 'a' || strchr(mode, '+') != nullptr);
}

int flagsOfStream(const char* mode) {
    bool plus = strchr(mode, '+') != nullptr;
    int access = plus ? O_RDWR : (mode[0] == 'r' ? O_RDONLY : O_WRONLY);
    int flags = mode[0] == 'w' ? O_CREAT | O_TRUNC : mode[0] == 'a' ? O_CREAT | O_APPEND : 0;
    return access | flags | (strchr(mode, 'e') ? O_CLOEXEC : 0) | (strchr(mode, 'x') ? O_EXCL : 0);
}

// One open of the open family: counted when it writes below the sandbox, tracked afterwards.
template <typename Open>
int countedOpen(int dirfd, const char* path, int flags, Open open) {
    bool inside = below(dirfd, path);
    if (inside && opensForWriting(flags) && failHere(kOpen, path)) {
        return -1;
    }
    int fd = open();
    if (fd >= 0) {
        track(fd, inside ? (opensForWriting(flags) ? kWriting : kReading) : kUntracked);
    }
    return fd;
}

mode_t modeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t)
                                                                      : 0;
}

// The stream over a counted descriptor.
ssize_t cookieRead(void* cookie, char* buffer, size_t size) {
    return read(static_cast<int>(reinterpret_cast<intptr_t>(cookie)), buffer, size);
}
ssize_t cookieWrite(void* cookie, const char* buffer, size_t size) {
    ssize_t written = write(static_cast<int>(reinterpret_cast<intptr_t>(cookie)), buffer, size);
    // The C library takes a short count for an error and keeps errno.
    return written < 0 ? 0 : written;
}
int cookieSeek(void* cookie, off64_t* offset, int whence) {
    off64_t at = lseek64(static_cast<int>(reinterpret_cast<intptr_t>(cookie)), *offset, whence);
    if (at < 0) {
        return -1;
    }
    *offset = at;
    return 0;
}
int cookieClose(void* cookie) {
    return close(static_cast<int>(reinterpret_cast<intptr_t>(cookie)));
}

FILE* streamOver(int fd, const char* mode) {
    cookie_io_functions_t functions = {cookieRead, cookieWrite, cookieSeek, cookieClose};
    FILE* stream = fopencookie(reinterpret_cast<void*>(static_cast<intptr_t>(fd)), mode, functions);
    if (stream == nullptr) {
        int error = errno;
        close(fd);
        errno = error;
    }
    return stream;
}

template <typename Fopen>
FILE* countedFopen(const char* path, const char* mode, Fopen fopen) {
    if (!writesStream(mode) || !below(AT_FDCWD, path)) {
        return fopen();
    }
    int fd = open(path, flagsOfStream(mode), 0666);
    return fd < 0 ? nullptr : streamOver(fd, mode);
}

template <typename Make>
int countedTemporary(const char* pattern, Make make) {
    bool inside = below(AT_FDCWD, pattern);
    if (inside && failHere(kOpen, pattern)) {
        return -1;
    }
    int fd = make();
    if (fd >= 0) {
        track(fd, inside ? kWriting : kUntracked);
    }
    return fd;
}

void stopInChild() {
    g_enabled = false;
}

__attribute__((constructor)) void start() {
    const char* folder = getenv("CORVIX_FAULT_DIR");
    const char* program = getenv("CORVIX_FAULT_EXE");
    char self[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (folder == nullptr || folder[0] != '/' || program == nullptr || length < 0) {
        return;
    }
    self[length] = '\0';
    char resolved[PATH_MAX];
    if (realpath(program, resolved) == nullptr || strcmp(resolved, self) != 0) {
        return;
    }
    snprintf(g_folder, sizeof g_folder, "%s", folder);
    g_folderLength = strlen(g_folder);
    while (g_folderLength > 1 && g_folder[g_folderLength - 1] == '/') {
        g_folder[--g_folderLength] = '\0';
    }
    const char* failAt = getenv("CORVIX_FAIL_AT");
    g_failAt = failAt != nullptr ? atol(failAt) : 0;
    const char* site = getenv("CORVIX_FAIL_SITE");
    snprintf(g_failSite, sizeof g_failSite, "%s", site != nullptr ? site : "");
    const char* error = getenv("CORVIX_FAIL_ERRNO");
    if (error != nullptr) {
        g_errno = strcmp(error, "EIO") == 0      ? EIO
                  : strcmp(error, "ENOSPC") == 0 ? ENOSPC
                                                 : atoi(error);
    }
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(getauxval(AT_PHDR)), &info) != 0) {
        g_programBase = reinterpret_cast<uintptr_t>(info.dli_fbase);
    }
    // The first backtrace() loads its unwinder; done here, before any call is counted.
    void* frames[4];
    backtrace(frames, 4);
    const char* log = getenv("CORVIX_FAULT_LOG");
    if (log != nullptr) {
        g_logFd = ::open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }
    pthread_atfork(nullptr, nullptr, stopInChild);
    g_enabled = true;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    REAL(open);
    return countedOpen(AT_FDCWD, path, flags, [&] { return real_open(path, flags, mode); });
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    REAL(open64);
    return countedOpen(AT_FDCWD, path, flags, [&] { return real_open64(path, flags, mode); });
}

int openat(int dirfd, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    REAL(openat);
    return countedOpen(dirfd, path, flags, [&] { return real_openat(dirfd, path, flags, mode); });
}

int openat64(int dirfd, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    REAL(openat64);
    return countedOpen(dirfd, path, flags, [&] { return real_openat64(dirfd, path, flags, mode); });
}

FILE* fopen(const char* path, const char* mode) {
    REAL(fopen);
    return countedFopen(path, mode, [&] { return real_fopen(path, mode); });
}

FILE* fopen64(const char* path, const char* mode) {
    REAL(fopen64);
    return countedFopen(path, mode, [&] { return real_fopen64(path, mode); });
}

FILE* fdopen(int fd, const char* mode) {
    REAL(fdopen);
    if (trackedAs(fd) == kUntracked || !writesStream(mode)) {
        return real_fdopen(fd, mode);
    }
    track(fd, kWriting);
    return streamOver(fd, mode);
}

int mkstemp(char* pattern) {
    REAL(mkstemp);
    return countedTemporary(pattern, [&] { return real_mkstemp(pattern); });
}
int mkstemps(char* pattern, int suffix) {
    REAL(mkstemps);
    return countedTemporary(pattern, [&] { return real_mkstemps(pattern, suffix); });
}
char* mkdtemp(char* pattern) {
    REAL(mkdtemp);
    return below(AT_FDCWD, pattern) && failHere(kMkdir, pattern) ? nullptr : real_mkdtemp(pattern);
}

ssize_t write(int fd, const void* buffer, size_t size) {
    FAIL_OR_CALL(write, writing(fd), kWrite, nullptr, fd, buffer, size);
}
ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) {
    FAIL_OR_CALL(pwrite, writing(fd), kWrite, nullptr, fd, buffer, size, offset);
}
ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset) {
    FAIL_OR_CALL(pwrite64, writing(fd), kWrite, nullptr, fd, buffer, size, offset);
}
int ftruncate(int fd, off_t length) {
    FAIL_OR_CALL(ftruncate, writing(fd), kWrite, nullptr, fd, length);
}
ssize_t sendfile(int out, int in, off_t* offset, size_t count) {
    FAIL_OR_CALL(sendfile, writing(out), kWrite, nullptr, out, in, offset, count);
}
ssize_t copy_file_range(int in, off64_t* inOffset, int out, off64_t* outOffset, size_t length,
                        unsigned int flags) {
    FAIL_OR_CALL(copy_file_range, writing(out), kCopy, nullptr, in, inOffset, out, outOffset,
                 length, flags);
}
int fsync(int fd) {
    FAIL_OR_CALL(fsync, trackedAs(fd) != kUntracked, kFsync, nullptr, fd);
}
int fdatasync(int fd) {
    FAIL_OR_CALL(fdatasync, trackedAs(fd) != kUntracked, kFsync, nullptr, fd);
}

int close(int fd) {
    REAL(close);
    bool fail = writing(fd) && failHere(kClose);
    track(fd, kUntracked);
    int error = errno;
    int result = real_close(fd);
    if (fail) {
        errno = error;
        return -1;
    }
    return result;
}

int rename(const char* from, const char* to) {
    FAIL_OR_CALL(rename, below(AT_FDCWD, from) || below(AT_FDCWD, to), kRename, from, from, to);
}
int renameat(int fromDir, const char* from, int toDir, const char* to) {
    FAIL_OR_CALL(renameat, below(fromDir, from) || below(toDir, to), kRename, from, fromDir, from,
                 toDir, to);
}
int mkdir(const char* path, mode_t mode) {
    FAIL_OR_CALL(mkdir, below(AT_FDCWD, path), kMkdir, path, path, mode);
}
int mkdirat(int dirfd, const char* path, mode_t mode) {
    FAIL_OR_CALL(mkdirat, below(dirfd, path), kMkdir, path, dirfd, path, mode);
}
int unlink(const char* path) {
    FAIL_OR_CALL(unlink, below(AT_FDCWD, path), kRemove, path, path);
}
int unlinkat(int dirfd, const char* path, int flags) {
    FAIL_OR_CALL(unlinkat, below(dirfd, path), kRemove, path, dirfd, path, flags);
}
int rmdir(const char* path) {
    FAIL_OR_CALL(rmdir, below(AT_FDCWD, path), kRemove, path, path);
}
int remove(const char* path) {
    FAIL_OR_CALL(remove, below(AT_FDCWD, path), kRemove, path, path);
}

}  // extern "C"
