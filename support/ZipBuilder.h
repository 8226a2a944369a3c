// The ZIP archive builder: a thin class over the minizip writer that turns a folder
// tree (a support package's staging folder) into one ZIP archive. Each file becomes one deflated
// entry (method 8, the library's default level) named by its path relative to a base folder,
// with an all-zero date and attributes. An entry whose file holds kZip64Threshold bytes or more
// carries ZIP64 information; every other entry keeps the plain headers that every unzip reads
// without a warning.
//
// Compression runs on a small pool of worker threads (DeflatePool): files are read in 1 MiB blocks
// and compressed side by side, and each finished entry is written in raw mode, in the order the
// files were added, with its size and CRC-32. A file below DeflatePool::kSplitThreshold (32 MiB)
// is one deflate stream of minizip's own parameters, so the archive is byte for byte the one a
// single thread (or minizip's own deflate) writes; a larger file is compressed in 1 MiB blocks on
// all threads and joined into one stream, whose compressed bytes may differ, never its contents.
// Memory stays bounded whatever the input: see DeflatePool.
//
// Ownership: the builder owns the open archive; closeFile() or the destructor finishes it. A
// stream handed to the constructor stays the caller's: the builder writes to it and flushes it,
// and never closes it. A file taken by addFileToZip stays open until its entry is written.
// Threads: one builder is used by one thread at a time (the archive is written on that thread);
// the cancel flag may be set from any. The workers start with the first file added and are joined
// by closeFile() and by the destructor, after a failure or a cancel too.
// Failure: nothing is printed. The designed results of the add operations stay as they are
// (they report whether a file was taken, not whether it went in whole); ok() and error() tell
// whether every write, every entry's close and the archive's close succeeded. After the first
// failure nothing more is added. A file that cannot be read whole (a read error, a file that
// shrinks while it is read) fails the archive as a whole. A failed open leaves no archive open;
// later calls add nothing.
#ifndef CORVIX_SUPPORT_ZIPBUILDER_H
#define CORVIX_SUPPORT_ZIPBUILDER_H

#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <string>

struct tm_zip_s;  // minizip's date record (<minizip/zip.h>)
struct ZipStreamState;
class DeflateCache;
class DeflatePool;
class PackageCancelFlag;

class ZipBuilder {
  public:
    // Files of this size and above get ZIP64 entries: 16 MiB below 4 GiB, more than deflate's
    // worst-case growth (about 0.03 % plus a few bytes) of any file below it, so the compressed
    // size of a plain entry always fits its 32-bit field.
    static const uint64_t kZip64Threshold = 0xFF000000ULL;

    // Opens the archive at path: a new file, or with append set, an archive added after the
    // file's existing content. A null path opens nothing. threads compress (1: none but the
    // caller's; 0: defaultThreadCount()).
    ZipBuilder(const char* path, bool append, int threads = 0);
    // Writes a new archive to stream, from its current position (normally an empty temporary
    // file); the stream stays open and the caller's.
    explicit ZipBuilder(FILE* stream, int threads = 0);
    // Calls closeFile().
    virtual ~ZipBuilder();
    ZipBuilder(const ZipBuilder&) = delete;
    ZipBuilder& operator=(const ZipBuilder&) = delete;

    // Adds every entry of folder that readdir returns, in that order: subfolders are descended
    // when recursive is set unless their name begins with '.' (hidden folders stay out; hidden
    // files go in); every other entry goes to addFileToZip with the same base. Returns 0 for a
    // null or empty folder path, else 1 (also when the folder cannot be opened).
    int addFolderToZip(const char* folder, bool recursive, const char* base);

    // Adds one file. The entry name is the text after the first occurrence of base in path (one
    // separator skipped), or without base the text after the first '/'. Returns 1 when the file
    // could be opened and named (whether or not its data went in whole), 0 for a null path, a
    // file that cannot be opened (a FIFO, device or folder is not waited on), or a base / '/' not
    // found in the path (no entry then).
    int addFileToZip(const char* path, const char* base);

    // Writes every entry still being compressed, stops the workers and finishes the archive (no
    // global comment) if one is open.
    void closeFile();

    // Stops the builder soon after flag is set: the entry being written is left unfinished and
    // error() says "interrupted". Set before the first file is added; flag must outlive the
    // builder; null: never.
    void setCancelFlag(const PackageCancelFlag* flag) { _cancel = flag; }

    // Takes the streams cache has finished in place of compressing their files again (the
    // archive's bytes are the same). Set before the first file is added; cache must outlive the
    // builder; null: none.
    void setDeflateCache(DeflateCache* cache) { _cache = cache; }

    // Called on the builder's thread each time a piece of an entry was written into the archive,
    // with how many bytes of the entry's file that piece held. Set before the first file is added.
    void setProgress(std::function<void(uint64_t bytes)> progress) {
        _progress = std::move(progress);
    }

    // How many threads compress by default: the processors online, at most the number in the
    // environment variable CORVIX_ZIP_THREADS when it holds one of 1 or more (1: no worker
    // threads), at most DeflatePool::kMaxThreads.
    static int defaultThreadCount();
    int threadCount() const { return _threads; }

    // True while nothing has failed: the archive opened, and every entry taken so far was written
    // and closed whole (and, after closeFile(), the archive finished).
    bool ok() const { return _error.empty(); }
    // The first failure, e.g. "No space left on device"; empty while ok().
    const std::string& error() const { return _error; }
    // How many entries went in whole.
    long entryCount() const { return _entryCount; }

    // Turns every backslash of path into a slash, in place.
    static void swapInUnixPathSeparators(char* path);

    // Fills the six date fields of date from the file's modification time (local time); the DOS
    // date is not written. A trailing '/' of path is ignored. Returns 1 if the file could be
    // examined, else 0 (the fields then hold time 0; also for a path too long for a path buffer).
    static int getFileTime(const char* path, tm_zip_s* date, unsigned long* dosDate);

  private:
    // An entry whose file is being compressed, oldest first.
    struct Pending {
        std::string _name;
        int _zip64;
        bool _opened;
    };

    // Records the first failure: a minizip result, with the stream's or the system's error.
    void fail(int zipResult);
    void fail(const std::string& why);
    // Writes the next compressed piece of the oldest entry into the archive (opening the entry
    // first, closing it after its last piece); with wait, waits for the piece. False when nothing
    // was written: none ready, none left, or a failure (which stops the pool).
    bool writeNext(bool wait);
    // Stops and joins the workers; an entry left open by a failure is ended as far as it got.
    void stopPool();

    void* _zipFile;  // minizip's zipFile handle; null when no archive is open
    std::unique_ptr<ZipStreamState> _streamState;  // set when writing to a caller's stream
    const int _threads;
    std::unique_ptr<DeflatePool> _pool;  // made by the first file added
    std::deque<Pending> _pending;
    const PackageCancelFlag* _cancel = nullptr;
    DeflateCache* _cache = nullptr;
    std::function<void(uint64_t)> _progress;
    std::string _error;
    long _entryCount = 0;
};

#endif
