#include "VeskFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>

namespace {

void setWhy(std::string* why, const std::string& text) {
    if (why) {
        *why = text;
    }
}

std::string folderOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// open(2) flags for an fopen mode.
int flagsForMode(const char* mode) {
    bool plus = strchr(mode, '+') != nullptr;
    int flags = 0;
    switch (mode[0]) {
        case 'r':
            flags = plus ? O_RDWR : O_RDONLY;
            break;
        case 'w':
            flags = (plus ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags = (plus ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
            break;
        default:
            return -1;
    }
    if (strchr(mode, 'x')) {
        flags |= O_EXCL;
    }
    return flags;
}

std::string randomSuffix() {
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    static thread_local std::mt19937 generator(std::random_device{}() ^
                                               static_cast<unsigned>(getpid()));
    std::uniform_int_distribution<int> pick(0, static_cast<int>(sizeof kLetters) - 2);
    std::string suffix;
    for (int i = 0; i < 6; ++i) {
        suffix += kLetters[pick(generator)];
    }
    return suffix;
}

void syncFolder(const std::string& folder) {
    int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

}  // namespace

const char* vesk_describeFileType(mode_t mode) {
    if (S_ISREG(mode))
        return "a regular file";
    if (S_ISDIR(mode))
        return "a folder";
    if (S_ISFIFO(mode))
        return "a FIFO";
    if (S_ISSOCK(mode))
        return "a socket";
    if (S_ISCHR(mode))
        return "a character device";
    if (S_ISBLK(mode))
        return "a block device";
    if (S_ISLNK(mode))
        return "a symbolic link";
    return "not a regular file";
}

int vesk_openRegular(const char* path, int flags, mode_t createMode, std::string* why) {
    if (!path) {
        errno = EINVAL;
        setWhy(why, strerror(EINVAL));
        return -1;
    }
    bool truncate = (flags & O_TRUNC) != 0;
    int fd = open(path, (flags & ~O_TRUNC) | O_NONBLOCK | O_CLOEXEC, createMode);
    if (fd < 0) {
        int error = errno;
        struct stat st;
        // A FIFO without a reader refuses a non-blocking writer with ENXIO; say what it is.
        if (stat(path, &st) == 0 && !S_ISREG(st.st_mode)) {
            setWhy(why,
                   std::string("is ") + vesk_describeFileType(st.st_mode) + ", not a regular file");
        } else {
            setWhy(why, strerror(error));
        }
        errno = error;
        return -1;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        int error = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
        setWhy(why,
               std::string("is ") + vesk_describeFileType(st.st_mode) + ", not a regular file");
        close(fd);
        errno = error;
        return -1;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    // An empty file is left alone: truncating it changes nothing, and some file systems (ext4)
    // take a truncation to zero for a file being replaced and flush it to disk at its close.
    if (truncate && st.st_size > 0 && ftruncate(fd, 0) != 0) {
        int error = errno;
        setWhy(why, strerror(error));
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

FILE* vesk_fopenRegular(const char* path, const char* mode, std::string* why) {
    int flags = mode ? flagsForMode(mode) : -1;
    if (flags < 0) {
        errno = EINVAL;
        setWhy(why, strerror(EINVAL));
        return nullptr;
    }
    int fd = vesk_openRegular(path, flags, 0666, why);
    if (fd < 0) {
        return nullptr;
    }
    FILE* stream = fdopen(fd, mode);
    if (!stream) {
        int error = errno;
        setWhy(why, strerror(error));
        close(fd);
        errno = error;
    }
    return stream;
}

bool vesk_readRegularFile(const char* path, size_t limit, std::string* contents, std::string* why) {
    int fd = vesk_openRegular(path, O_RDONLY, 0, why);
    if (fd < 0) {
        return false;
    }
    struct stat st;
    if (fstat(fd, &st) == 0 && static_cast<unsigned long long>(st.st_size) > limit) {
        setWhy(why, "is " + std::to_string(st.st_size) + " bytes, more than the " +
                        std::to_string(limit) + " read");
        close(fd);
        errno = EFBIG;
        return false;
    }
    std::string text;
    char block[65536];
    for (;;) {
        ssize_t got = read(fd, block, sizeof block);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            int error = errno;
            setWhy(why, strerror(error));
            close(fd);
            errno = error;
            return false;
        }
        if (got == 0) {
            break;
        }
        // The file may grow while it is read: the limit holds all the same.
        if (text.size() + static_cast<size_t>(got) > limit) {
            setWhy(why, "is more than the " + std::to_string(limit) + " bytes read");
            close(fd);
            errno = EFBIG;
            return false;
        }
        text.append(block, static_cast<size_t>(got));
    }
    close(fd);
    if (contents) {
        *contents = std::move(text);
    }
    return true;
}

// ---- VeskAtomicFile -------------------------------------------------------------------------

VeskAtomicFile::VeskAtomicFile(const std::string& destination, mode_t mode)
    : _destination(destination), _mode(mode) {
    struct stat st;
    if (lstat(destination.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) {
        char resolved[PATH_MAX];
        if (realpath(destination.c_str(), resolved)) {
            _destination = resolved;
        }
    }
}

VeskAtomicFile::~VeskAtomicFile() {
    if (!_committed) {
        abort();
    }
}

bool VeskAtomicFile::fail(const std::string& what, int error) {
    _error = what + (what.empty() ? "" : ": ") + strerror(error);
    abort();
    return false;
}

bool VeskAtomicFile::open() {
    _error.clear();
    struct stat st;
    bool exists = stat(_destination.c_str(), &st) == 0;
    if (exists && !S_ISREG(st.st_mode)) {
        _error = _destination + " is " + vesk_describeFileType(st.st_mode) + ", not a regular file";
        return false;
    }
    std::string folder = folderOf(_destination);
    std::string name = nameOf(_destination);
    // File names are limited to 255 bytes; a long name gets a short temporary one.
    std::string stem = name.size() > 200 ? std::string(".corvix") : "." + name;
    int fd = -1;
    for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
        _temporary = folder + "/" + stem + "." + randomSuffix() + ".tmp";
        fd = ::open(_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, _mode);
        if (fd < 0 && errno != EEXIST) {
            int error = errno;
            _temporary.clear();
            return fail(folder, error);
        }
    }
    if (fd < 0) {
        _temporary.clear();
        return fail(folder, EEXIST);
    }
    if (exists) {
        fchmod(fd, st.st_mode & 07777);
    }
    _stream = fdopen(fd, "w");
    if (!_stream) {
        int error = errno;
        close(fd);
        return fail(_temporary, error);
    }
    return true;
}

bool VeskAtomicFile::releaseStream() {
    if (!_stream) {
        return true;
    }
    bool failed = ferror(_stream) != 0;
    int error = errno;
    if (fflush(_stream) != 0) {
        failed = true;
        error = errno;
    }
    if (fclose(_stream) != 0 && !failed) {
        failed = true;
        error = errno;
    }
    _stream = nullptr;
    if (failed) {
        return fail(_temporary, error ? error : EIO);
    }
    return true;
}

bool VeskAtomicFile::commit() {
    if (_temporary.empty()) {
        if (_error.empty()) {
            _error = "nothing was written";
        }
        return false;
    }
    if (!releaseStream()) {
        return false;
    }
    int fd = ::open(_temporary.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || fsync(fd) != 0) {
        int error = errno;
        if (fd >= 0) {
            close(fd);
        }
        return fail(_temporary, error);
    }
    close(fd);
    if (rename(_temporary.c_str(), _destination.c_str()) != 0) {
        return fail(_destination, errno);
    }
    _committed = true;
    _temporary.clear();
    syncFolder(folderOf(_destination));
    return true;
}

void VeskAtomicFile::abort() {
    if (_stream) {
        fclose(_stream);
        _stream = nullptr;
    }
    if (!_temporary.empty()) {
        unlink(_temporary.c_str());
        _temporary.clear();
    }
}

// ---- VeskFileLock ---------------------------------------------------------------------------

std::string VeskFileLock::lockPathFor(const std::string& file) {
    return folderOf(file) + "/." + nameOf(file) + ".lock";
}

VeskFileLock::VeskFileLock(const std::string& file, int timeoutMs) {
    std::string path = lockPathFor(file);
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666);
    if (fd < 0) {
        _error = path + ": " + strerror(errno);
        return;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        _error = path + " is " + vesk_describeFileType(st.st_mode) + ", not a regular file";
        close(fd);
        return;
    }
    // Others may need it too, whoever made it first.
    fchmod(fd, 0666);
    struct timespec start;
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (;;) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            _fd = fd;
            return;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            _error = path + ": " + strerror(errno);
            break;
        }
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        long long waited =
            (now.tv_sec - start.tv_sec) * 1000LL + (now.tv_nsec - start.tv_nsec) / 1000000;
        if (waited >= timeoutMs) {
            _error = path + ": still locked by another process after " +
                     std::to_string(timeoutMs / 1000) + " seconds";
            break;
        }
        usleep(2000);
    }
    close(fd);
}

VeskFileLock::~VeskFileLock() {
    if (_fd >= 0) {
        flock(_fd, LOCK_UN);
        close(_fd);
    }
}
