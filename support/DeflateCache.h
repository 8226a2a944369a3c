// DeflateCache: compresses a package's finished folders ahead of its archive.
//
// The package job's system commands take a while, and the application and user folders are
// complete long before the slowest of them ends; the archive can only be written afterwards,
// because the manifest lists the commands' files. Meanwhile the processors would be idle. The
// cache compresses the finished folders' files in the background (warm()), each into the one
// deflate stream DeflatePool makes of it on its own, and the archive takes a finished stream in
// place of compressing the file again (take()). The archive's bytes are the same either way.
//
// Files go largest first: a file below the split threshold is one stream that only one thread at
// a time can compress, so the largest is the archive's longest wait. Files at or above the
// threshold, empty files and files that would not fit the budget are left to the archive.
//
// A stream is handed out only for the very file it was made of, unchanged: the same device and
// inode, size, modification and change times as when it was read. Anything else (a file rewritten,
// replaced, grown) is compressed again by the archive. A file rewritten in place to the same size
// within the file system's time granularity would not be noticed: the package job writes nothing
// more into the folders it warms.
//
// Memory: at most kBudget bytes (16 MiB) are held: each file is charged deflate's worst case of
// its size before it is read (its pieces in the pool and its stream so far stay within that), then
// what its stream really took, until the archive takes it. The archive's pool counts what the
// cache holds against its own limit of bytes in flight (DeflatePool::shareLimit), so the two
// together stay within that limit. Compressing runs on a DeflatePool of at most two threads
// (a block of input and one of output each, and zlib's state).
//
// Threads: warm() starts one thread of the cache's own, which walks the folders and drives the
// pool; stop(), take() and the destructor are called by the owner's thread. stop() returns at
// once: the files being compressed are finished (take() waits for them), no other is started.
// The destructor and the cancel flag drop those too; the destructor joins every thread. Nothing
// is printed; the cache stops at the first file it cannot read, which the archive then reports.
#ifndef CORVIX_SUPPORT_DEFLATECACHE_H
#define CORVIX_SUPPORT_DEFLATECACHE_H

#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "DeflatePool.h"
#include "PackageCancelFlag.h"

class DeflateCache {
  public:
    static constexpr uint64_t kBudget = 16ULL << 20;

    // threads compress (as for DeflatePool); cancel may be null and must outlive the cache.
    DeflateCache(int threads, const PackageCancelFlag* cancel, uint64_t budget = kBudget);
    ~DeflateCache();
    DeflateCache(const DeflateCache&) = delete;
    DeflateCache& operator=(const DeflateCache&) = delete;

    // Starts compressing the files below folders, walked as ZipBuilder walks them (hidden
    // folders left out, links not followed). Once per cache.
    void warm(const std::vector<std::string>& folders);

    // Starts no more files; those being compressed are finished. Returns at once.
    void stop();

    // Waits until the cache's thread has ended: every file compressed or passed over, or stopped.
    void finish();

    // The finished stream of the file st describes (fstat of the file the archive opened), as one
    // last piece holding the whole stream; it leaves the cache. Waits while that file is being
    // compressed. False when there is no stream of that file as it is now.
    bool take(const struct stat& st, DeflatePiece* entry);

    // The bytes the cache holds now: charged to files under way, then their finished streams
    // until take() hands them out. The archive's pool counts them against its own limit.
    const std::atomic<uint64_t>& heldBytes() const { return _held; }

    // How many streams were finished, and how many of those take() handed out (for tests and
    // benchmarks).
    size_t finishedCount() const;
    size_t takenCount() const;

  private:
    struct Identity {
        dev_t _device;
        ino_t _inode;
        off_t _size;
        struct timespec _modified, _changed;
        bool operator==(const Identity& other) const;
    };
    struct Entry {
        Identity _identity;
        DeflatePiece _stream;
    };

    // A file on its way: its identity when it was opened, what it is charged, its stream so far.
    struct Queued {
        std::string _path;
        Identity _identity;
        uint64_t _charge;
        DeflatePiece _stream;
        bool _textKnown;
    };

    static Identity identityOf(const struct stat& st);
    static uint64_t charged(const DeflatePiece& stream);
    // The cache's thread: compress(), then whatever is still queued is given up.
    void run(std::vector<std::string> folders);
    void compress(const std::vector<std::string>& folders, std::deque<Queued>* queued);
    void collect(const std::string& folder, std::vector<std::string>* files) const;

    const int _threads;
    const uint64_t _budget;
    const PackageCancelFlag* _cancel;
    PackageCancelFlag _stop;   // set by stop(): no more files are started
    PackageCancelFlag _abort;  // set by the destructor or the caller's cancel flag: none finished
    std::thread _thread;

    mutable std::mutex _mutex;  // guards everything below
    std::condition_variable _settled;
    std::map<std::pair<dev_t, ino_t>, Entry> _entries;
    std::set<std::pair<dev_t, ino_t>> _pending;  // files being compressed
    std::atomic<uint64_t> _held{0};              // written under the lock, read without it
    size_t _finished = 0;
    size_t _taken = 0;
};

#endif
