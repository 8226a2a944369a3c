// DeflatePool: compresses files for ZipBuilder on a small pool of worker threads, and hands the
// compressed data back in the order the files were added, so that the archive is written in its
// designed order.
//
// Every file becomes one raw deflate stream made with minizip's own parameters (windowBits -15,
// memLevel 8, the default level and strategy), to be stored by an entry opened in raw mode.
// - A file below kSplitThreshold is one stream, compressed by one thread at a time in steps of
//   kBlockSize bytes without any flush: its bytes are exactly those of a one-thread deflate of the
//   file, whatever the number of threads. Files compress side by side.
// - A file of kSplitThreshold bytes or more is cut into blocks of kBlockSize bytes compressed side
//   by side, each primed with the 32 KiB before it as its dictionary and ended on a byte boundary
//   (a sync flush; the last block is finished), joined into one valid stream. Its compressed bytes
//   may differ from a one-thread stream, and are a little larger (each block boundary costs a few
//   bytes); its contents and CRC-32 (crc32_combine of the blocks') do not.
//
// Memory: whatever the input, at most maxBytesInFlight() bytes of input are in flight (each piece
// counted kPieceOverhead more): being compressed, or compressed and waiting to be taken (at most
// deflate's bound of their input each). Each worker holds one block of input and one of output;
// each file stream in flight holds zlib's deflate state (about 270 KiB). The limit is 8 MiB per
// thread, at most kMaxBytesInFlight (16 MiB) whatever the threads: about 25 MB in all with two
// threads. While the oldest file, one stream compressed step by step, holds up the writer, the
// other threads run ahead on later files only as far as the limit lets them; counting bytes rather
// than pieces lets them through many small files.
//
// Threads: one owning thread calls add(), next() and full(); the pool's workers are its own. With
// one thread no worker is started: next() compresses on the caller's thread. The destructor stops
// and joins every worker, whatever state the pool is in: no thread outlives the pool.
// Failure: a read error, a file that shrank below the size it was added with, or a failure of
// zlib fails the pool as a whole, as does the cancel flag ("interrupted"): the workers stop at
// their next step and next() reports the first failure. Nothing is printed.
#ifndef CORVIX_SUPPORT_DEFLATEPOOL_H
#define CORVIX_SUPPORT_DEFLATEPOOL_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class PackageCancelFlag;

// One piece of a file's compressed stream, as next() hands it out.
struct DeflatePiece {
    std::vector<unsigned char> _bytes;  // the next bytes of the oldest file's stream (may be none)
    bool _last = false;                 // the stream is complete with these bytes
    uint64_t _size = 0;                 // with _last: how many bytes of the file went in
    uint64_t _input = 0;                // how many bytes of the file this piece compresses
    unsigned long _crc = 0;             // with _last: their CRC-32
    // Whether zlib took the data for text, once it has decided (with the first bytes of a stream:
    // zlib decides with its first deflate block, before which a stream has no bytes at all).
    bool _text = false;
};

class DeflatePool {
  public:
    static constexpr uint64_t kSplitThreshold = 32ULL << 20;
    static constexpr size_t kBlockSize = 1 << 20;
    static constexpr int kMaxThreads = 16;
    // The most bytes of input in flight, whatever the threads (8 MiB per thread below it).
    static constexpr uint64_t kMaxBytesInFlight = 16ULL << 20;
    // What each piece in flight counts beyond its input: a file of a few bytes is not free.
    static constexpr uint64_t kPieceOverhead = 16 << 10;
    // How many files may be queued at once (each holds an open descriptor).
    static constexpr size_t kMaxFilesQueued = 128;

    // threads is clamped to 1..kMaxThreads. cancel may be null; it must outlive the pool.
    DeflatePool(int threads, const PackageCancelFlag* cancel);
    ~DeflatePool();
    DeflatePool(const DeflatePool&) = delete;
    DeflatePool& operator=(const DeflatePool&) = delete;

    // Queues the regular file open at fd (the pool closes it) of size bytes; path names it in
    // messages. The first call starts the workers.
    void add(int fd, uint64_t size, const std::string& path);
    // Queues a file compressed already (a whole stream as one last piece, as DeflateCache keeps
    // it); next() hands it out in its turn. Its bytes count as in flight until then.
    void addFinished(DeflatePiece stream);
    // Counts the bytes held (an atomic that another object keeps, e.g. DeflateCache's) against
    // this pool's limit of bytes in flight, so that both together stay within it. Set before the
    // first file is added; held must outlive the pool.
    void shareLimit(const std::atomic<uint64_t>* held) { _sharedHeld = held; }
    // True when kMaxFilesQueued files wait: take output with next() before adding more.
    bool full() const;

    enum class Next { Piece, NotReady, Empty, Failed };
    // The next piece of the oldest queued file, into *piece. With wait, waits for it (compressing
    // it here when the pool has no workers); without, NotReady when it is not done yet. Empty when
    // no file is queued; Failed (error() says why) once anything failed.
    Next next(DeflatePiece* piece, bool wait);
    // The first failure, e.g. "cannot read /x/y: Input/output error" or "interrupted".
    std::string error() const;

    int threads() const { return _threads; }
    uint64_t maxBytesInFlight() const { return _maxInFlight; }

  private:
    struct File;
    struct Piece;
    struct Worker;
    struct Task {
        File* _file = nullptr;
        uint64_t _index = 0;
    };

    bool takeTask(Task* task);
    void runTask(const Task& task, Worker* worker);
    bool compressBlock(const Task& task, Worker* worker, Piece* piece, std::string* why);
    bool compressStep(const Task& task, Worker* worker, Piece* piece, std::string* why);
    void failLocked(const std::string& why);
    void work(Worker* worker);
    void startWorkers();

    const int _threads;
    const uint64_t _maxInFlight;
    const PackageCancelFlag* _cancel;
    std::vector<std::thread> _threadsRunning;
    std::vector<std::unique_ptr<Worker>> _workers;  // one per thread, plus the caller's
    bool _started = false;

    mutable std::mutex _mutex;  // guards everything below, and the files' shared fields
    std::condition_variable _changed;
    std::deque<std::unique_ptr<File>> _files;  // oldest first
    uint64_t _inFlight = 0;                    // bytes of pieces started and not yet taken
    const std::atomic<uint64_t>* _sharedHeld = nullptr;
    bool _stopping = false;
    std::string _error;
};

#endif
