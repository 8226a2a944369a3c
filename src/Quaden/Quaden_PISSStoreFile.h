// QuadenPISSStoreFile: the file under a settings store ("Config.txt", a project's settings file,
// "FrameCache.cpr"): how it is read, locked and rewritten whole.
//
// Reading never waits on the file and never takes more than kPISSSettingsFileMaxBytes: a FIFO,
// socket, device or folder in its place, or a larger file, is refused with a reason, and a store
// whose file was refused never writes over it.
//
// Transactions: Lock() takes an advisory lock (VeskFileLock on the hidden ".<name>.lock" beside
// the file, which stays there), waiting up to 10 seconds for another holder; it is held until
// Unlock(), Commit() or destruction. Every commit of these files takes it, in this process and
// in others, so a load, change and commit done under it never loses another writer's keys. One
// thread must not hold two transactions on one file: the second waits for the first and gives up.
//
// Commits: the new content goes to a temporary file beside the file and is renamed over it after
// a flush and fsync (VeskAtomicFile), so a full disk, a read-only folder or a crash leaves the old
// file whole. A commit is refused when someone replaced or changed the file since this store read
// it: writing the store's list over it would drop what they wrote.
//
// Threads: one object is used by one thread at a time (under its store's mutex, where it has one).
// Failures come back as 0 or null and are logged as warnings in the product log, each beginning
// with the store's label ("Config: '<path>' not read: is a FIFO, not a regular file").
#ifndef QUADEN_PISSSTOREFILE_H
#define QUADEN_PISSSTOREFILE_H

#include <sys/types.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "Quaden_PISSEntryList.h"

class VeskAtomicFile;
class VeskFileLock;

class QuadenPISSStoreFile {
  public:
    // label begins the store's own warnings; cannotWrite (a format taking the path) and
    // invalidType are the messages the store has always logged when a commit cannot open its
    // file or meets an entry of an unknown type. All three are constants.
    QuadenPISSStoreFile(const char* label, const char* cannotWrite, const char* invalidType);
    ~QuadenPISSStoreFile();
    QuadenPISSStoreFile(const QuadenPISSStoreFile&) = delete;
    QuadenPISSStoreFile& operator=(const QuadenPISSStoreFile&) = delete;

    void SetPath(const std::string& path) { _path = path; }
    // The file's path; null while unset.
    const char* Path() const { return _path.empty() ? nullptr : _path.c_str(); }

    // Opens the file for loading and notes its state. Null when it is missing (*missing is then
    // true: an empty store; nothing is logged) or refused (logged; commits are refused until a
    // load succeeds). The caller closes the stream.
    FILE* OpenForLoading(bool* missing);

    // Begins a transaction: takes the lock. 1 when the store may go on; *reload is then true when
    // the file changed since it was loaded and storeChanged is false, and the store loads it
    // afresh. 0 when the lock cannot be had within 10 seconds, or when the store (storeChanged)
    // and the file both changed: its changes could only be committed over the other writer's.
    int BeginTransaction(bool storeChanged, bool* reload);
    // Ends a transaction without a commit.
    void Unlock();

    // Rewrites the file whole — header (when given), then every entry of entries — under the
    // lock (taken here when no transaction holds it), and ends the transaction. 1 when the new
    // file is in place; 0, with the file as it was, when it was refused at load or changed since,
    // or cannot be written, or an entry has an unknown type or a line longer than kPISSLongestLine
    // (the file would read back as other entries).
    int Commit(const QuadenPISSEntryList& entries, const char* header);

  private:
    struct Stamp {
        bool _exists = false;
        dev_t _device = 0;
        ino_t _inode = 0;
        off_t _size = 0;
        struct timespec _modified = {0, 0};
        struct timespec _changed = {0, 0};
    };
    static Stamp stampOf(const char* path, int fd);
    FILE* beginCommit();
    bool changedSinceLoading() const;
    int lock();
    int fail(const std::string& what);

    const char* _label;
    const char* _cannotWrite;
    const char* _invalidType;
    std::string _path;
    Stamp _loaded;
    bool _refused = false;
    std::unique_ptr<VeskFileLock> _lock;
    std::unique_ptr<VeskAtomicFile> _writer;
};

#endif
