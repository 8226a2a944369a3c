// Files opened without trusting what sits at a path, and files written whole or not at all.
//
// Opening: users' disks hold FIFOs, sockets, devices and folders where the product expects a
// file. Opened plainly, a FIFO blocks the tool for ever and a folder reads as garbage. Every open
// here is non-blocking first and checked with fstat; anything but a regular file is refused with a
// reason, at once.
//
// Writing: a settings file or an archive is written under a temporary name beside its destination
// and renamed over it only after every byte was written, flushed and synced, so a full disk, a
// read-only folder or a signal leaves the old file exactly as it was. A read-modify-write of a
// shared file holds VeskFileLock, so two processes never lose each other's changes.
//
// Threads: all functions may be called from any thread; one object is used by one thread. Nothing
// here prints or throws: failures come back as false / -1 with a reason for the user.
#ifndef CORVIX_RUNTIME_VESKFILE_H
#define CORVIX_RUNTIME_VESKFILE_H

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <string>

// Opens a regular file. flags are open(2)'s (O_RDONLY, O_WRONLY | O_CREAT | O_TRUNC, O_NOFOLLOW,
// ...); O_NONBLOCK and O_CLOEXEC are added, O_TRUNC is applied only after the check, so a FIFO or
// device is never truncated or waited on. Returns a descriptor in blocking mode, or -1 with errno
// set and *why (when given) holding the reason ("No such file or directory", "is a FIFO, not a
// regular file", ...). createMode is used when O_CREAT makes the file (before the umask).
int vesk_openRegular(const char* path, int flags, mode_t createMode = 0666,
                     std::string* why = nullptr);

// The same as a stdio stream; mode is fopen's ("r", "rb", "w", "wt", "a", "at", "r+", ...).
FILE* vesk_fopenRegular(const char* path, const char* mode, std::string* why = nullptr);

// Reads a whole regular file of at most limit bytes into contents. A larger file is refused
// ("is N bytes, more than the L read"), as is anything vesk_openRegular refuses.
bool vesk_readRegularFile(const char* path, size_t limit, std::string* contents,
                          std::string* why = nullptr);

// What kind of thing mode describes, for messages: "a folder", "a FIFO", "a socket",
// "a character device", "a block device", "a symbolic link", "a regular file".
const char* vesk_describeFileType(mode_t mode);

class VeskAtomicFile {
  public:
    // destination is the file to replace. A new file gets mode (less the umask, as fopen does);
    // an existing one keeps its permissions. When the destination is a symbolic link to a file,
    // that file is replaced and the link stays.
    explicit VeskAtomicFile(const std::string& destination, mode_t mode = 0666);
    // Removes the temporary file unless commit() succeeded.
    ~VeskAtomicFile();
    VeskAtomicFile(const VeskAtomicFile&) = delete;
    VeskAtomicFile& operator=(const VeskAtomicFile&) = delete;

    // Creates the temporary file ".<name>.XXXXXX.tmp" beside the destination and opens stream()
    // on it. False (error() says why) when the destination exists and is not a regular file or
    // the folder cannot take a new file.
    bool open();

    // The stream to write to; null before open() and after commit(), abort() or releaseStream().
    FILE* stream() const { return _stream; }

    // Closes the stream so that another writer (a library that opens files by name) can write
    // temporaryPath() itself; commit() then syncs what it wrote. False when closing failed.
    bool releaseStream();

    // Flushes and closes the stream (every earlier write error counts), syncs the file, renames
    // it over the destination and syncs the folder. On any failure the temporary file is removed,
    // the destination is untouched and the result is false.
    bool commit();

    // Removes the temporary file; the destination is untouched. Safe to call more than once.
    void abort();

    // Why the last step failed, e.g. "No space left on device", with the path where it helps.
    const std::string& error() const { return _error; }
    // The file that commit() replaces (the link's target when the destination is a link).
    const std::string& destination() const { return _destination; }
    // The temporary file; empty before open().
    const std::string& temporaryPath() const { return _temporary; }

  private:
    bool fail(const std::string& what, int error);

    std::string _destination;
    std::string _temporary;
    std::string _error;
    mode_t _mode;
    FILE* _stream = nullptr;
    bool _committed = false;
};

// An advisory lock (flock) on the lock file ".<name>.lock" beside a file, held for the object's
// lifetime, so that read-modify-write cycles on the file never interleave — across processes,
// and across threads of one process. The lock file (mode 0666) stays in place: removing it would
// let a waiting writer lock a file that no longer exists. Waits at most timeoutMs for another
// holder; locked() tells whether the lock was taken.
class VeskFileLock {
  public:
    explicit VeskFileLock(const std::string& file, int timeoutMs = 10000);
    ~VeskFileLock();
    VeskFileLock(const VeskFileLock&) = delete;
    VeskFileLock& operator=(const VeskFileLock&) = delete;

    bool locked() const { return _fd >= 0; }
    const std::string& error() const { return _error; }
    // The lock file's path.
    static std::string lockPathFor(const std::string& file);

  private:
    int _fd = -1;
    std::string _error;
};

#endif
