// ZipBuilder over minizip: see ZipBuilder.h.
#include "ZipBuilder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <minizip/zip.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "DeflateCache.h"
#include "DeflatePool.h"
#include "PackageCancelFlag.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "VeskPlatform.h"

// A caller's stream under minizip's file functions. The error of the first failed write or
// flush is kept, because minizip itself only says that something failed.
struct ZipStreamState {
    FILE* stream;
    int error;
};

namespace {

// What minizip's own entries say in "version made by".
const uLong kVersionMadeBy = 0;

zipFile handle(void* p) {
    return static_cast<zipFile>(p);
}

ZipStreamState* stateOf(voidpf opaque) {
    return static_cast<ZipStreamState*>(opaque);
}

void keepError(ZipStreamState* state) {
    if (state->error == 0) {
        state->error = errno ? errno : EIO;
    }
}

voidpf streamOpen(voidpf opaque, const void*, int) {
    return stateOf(opaque)->stream;
}

uLong streamRead(voidpf, voidpf stream, void* buffer, uLong size) {
    return static_cast<uLong>(fread(buffer, 1, size, static_cast<FILE*>(stream)));
}

uLong streamWrite(voidpf opaque, voidpf stream, const void* buffer, uLong size) {
    size_t written = fwrite(buffer, 1, size, static_cast<FILE*>(stream));
    if (written < size) {
        keepError(stateOf(opaque));
    }
    return static_cast<uLong>(written);
}

ZPOS64_T streamTell(voidpf, voidpf stream) {
    return static_cast<ZPOS64_T>(ftello(static_cast<FILE*>(stream)));
}

long streamSeek(voidpf opaque, voidpf stream, ZPOS64_T offset, int origin) {
    int whence = origin == ZLIB_FILEFUNC_SEEK_CUR   ? SEEK_CUR
                 : origin == ZLIB_FILEFUNC_SEEK_END ? SEEK_END
                                                    : SEEK_SET;
    if (fseeko(static_cast<FILE*>(stream), static_cast<off_t>(offset), whence) != 0) {
        keepError(stateOf(opaque));
        return -1;
    }
    return 0;
}

// The stream stays open for its owner; closing the archive only pushes out what is buffered.
int streamClose(voidpf opaque, voidpf stream) {
    if (fflush(static_cast<FILE*>(stream)) != 0) {
        keepError(stateOf(opaque));
        return -1;
    }
    return 0;
}

int streamError(voidpf opaque, voidpf stream) {
    return stateOf(opaque)->error != 0 || ferror(static_cast<FILE*>(stream)) ? 1 : 0;
}

// True when the directory entry is a folder. readdir's type decides; file systems that do not
// fill it in (DT_UNKNOWN) are asked with lstat, so that no link is followed.
bool isFolder(const struct dirent* entry, const char* fullPath) {
    if (entry->d_type == DT_DIR) {
        return true;
    }
    if (entry->d_type != DT_UNKNOWN) {
        return false;
    }
    struct stat st;
    return lstat(fullPath, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

ZipBuilder::ZipBuilder(const char* path, bool append, int threads)
    : _zipFile(nullptr), _threads(threads > 0 ? threads : defaultThreadCount()) {
    if (path != nullptr) {
        _zipFile = zipOpen64(path, append ? APPEND_STATUS_CREATEAFTER : APPEND_STATUS_CREATE);
        if (_zipFile == nullptr) {
            fail(std::string(path) + ": " + strerror(errno ? errno : EIO));
        }
    }
}

ZipBuilder::ZipBuilder(FILE* stream, int threads)
    : _zipFile(nullptr),
      _streamState(new ZipStreamState{stream, 0}),
      _threads(threads > 0 ? threads : defaultThreadCount()) {
    zlib_filefunc64_def functions = {streamOpen, streamRead,  streamWrite, streamTell,
                                     streamSeek, streamClose, streamError, _streamState.get()};
    _zipFile = stream ? zipOpen2_64("", APPEND_STATUS_CREATE, nullptr, &functions) : nullptr;
    if (_zipFile == nullptr) {
        fail(ZIP_ERRNO);
    }
}

ZipBuilder::~ZipBuilder() {
    closeFile();
}

void ZipBuilder::fail(const std::string& why) {
    if (_error.empty()) {
        _error = why.empty() ? "the archive could not be written" : why;
    }
}

void ZipBuilder::fail(int zipResult) {
    int error = _streamState && _streamState->error ? _streamState->error : errno;
    switch (zipResult) {
        case ZIP_BADZIPFILE:
            fail("an entry outgrew the sizes a plain ZIP entry can hold");
            break;
        case ZIP_INTERNALERROR:
            fail("the compressor failed");
            break;
        default:
            fail(strerror(error ? error : EIO));
            break;
    }
}

int ZipBuilder::defaultThreadCount() {
    int threads = 1;
    vesk_processorCount(&threads);
    const char* cap = getenv("CORVIX_ZIP_THREADS");
    char* end = nullptr;
    long most = cap ? strtol(cap, &end, 10) : 0;
    if (cap && *cap && *end == '\0' && most >= 1 && most < threads) {
        threads = static_cast<int>(most);
    }
    return std::min(std::max(threads, 1), DeflatePool::kMaxThreads);
}

bool ZipBuilder::writeNext(bool wait) {
    if (!_pool || !ok()) {
        return false;
    }
    DeflatePiece piece;
    switch (_pool->next(&piece, wait)) {
        case DeflatePool::Next::Piece:
            break;
        case DeflatePool::Next::Failed:
            fail(_pool->error());
            stopPool();
            return false;
        default:
            return false;
    }
    Pending& entry = _pending.front();
    zipFile archive = handle(_zipFile);
    // Opened with the first bytes, when zlib has decided whether the data is text.
    if (!entry._opened && (!piece._bytes.empty() || piece._last)) {
        // Every entry carries the all-zero record (date, attributes), deflated at the library's
        // default level. minizip's own deflate marks an entry whose data zlib took for text with
        // the internal attribute 1 when it closes it; in raw mode it cannot know, so it is told.
        zip_fileinfo info;
        memset(&info, 0, sizeof(info));
        info.internal_fa = piece._text ? Z_TEXT : 0;
        int opened = zipOpenNewFileInZip4_64(archive, entry._name.c_str(), &info, nullptr, 0,
                                             nullptr, 0, nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION,
                                             1, -MAX_WBITS, DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY,
                                             nullptr, 0, kVersionMadeBy, 0, entry._zip64);
        if (opened != ZIP_OK) {
            fail(opened);
            stopPool();
            return false;
        }
        entry._opened = true;
    }
    if (!piece._bytes.empty()) {
        int written = zipWriteInFileInZip(archive, piece._bytes.data(),
                                          static_cast<unsigned>(piece._bytes.size()));
        if (written < 0) {
            fail(written);
            stopPool();
            return false;
        }
    }
    if (_progress && piece._input > 0) {
        _progress(piece._input);
    }
    if (piece._last) {
        _pending.pop_front();
        int closed = zipCloseFileInZipRaw64(archive, piece._size, piece._crc);
        if (closed != ZIP_OK) {
            fail(closed);
            stopPool();
            return false;
        }
        ++_entryCount;
    }
    return true;
}

void ZipBuilder::stopPool() {
    _pool.reset();
    if (!_pending.empty() && _pending.front()._opened) {
        // Ends the entry as far as it got; its CRC-32 does not match, so no reader takes it whole.
        zipCloseFileInZipRaw64(handle(_zipFile), 0, 0);
    }
    _pending.clear();
}

void ZipBuilder::closeFile() {
    if (_zipFile != nullptr) {
        while (writeNext(true)) {
        }
        stopPool();
        int result = zipClose(handle(_zipFile), nullptr);
        _zipFile = nullptr;
        if (result != ZIP_OK) {
            fail(result);
        }
    }
}

void ZipBuilder::swapInUnixPathSeparators(char* path) {
    if (path == nullptr) {
        return;
    }
    for (char* p = path; *p != '\0'; ++p) {
        if (*p == '\\') {
            *p = '/';
        }
    }
}

int ZipBuilder::getFileTime(const char* path, tm_zip_s* date, unsigned long* dosDate) {
    (void)dosDate;  // minizip derives the DOS date from the fields itself
    char name[kVeskPathBufferSize] = {0};
    int result = 0;
    time_t modified = 0;
    // A path that does not fit is not cut to another file's name: it has no time.
    if (path != nullptr && vesk_formatPathQuietly(name, sizeof name, "%s", path)) {
        size_t length = strlen(name);
        if (length > 0 && name[length - 1] == '/') {
            name[length - 1] = '\0';
        }
        struct stat st;
        if (stat(name, &st) == 0) {
            modified = st.st_mtime;
            result = 1;
        }
    }
    struct tm local;
    memset(&local, 0, sizeof(local));
    localtime_r(&modified, &local);
    if (date != nullptr) {
        date->tm_sec = local.tm_sec;
        date->tm_min = local.tm_min;
        date->tm_hour = local.tm_hour;
        date->tm_mday = local.tm_mday;
        date->tm_mon = local.tm_mon;
        date->tm_year = local.tm_year;
    }
    return result;
}

int ZipBuilder::addFolderToZip(const char* folder, bool recursive, const char* base) {
    if (folder == nullptr || folder[0] == '\0') {
        return 0;
    }
    DIR* dir = opendir(folder);
    if (dir == nullptr) {
        return 1;
    }
    size_t folderLength = strlen(folder);
    bool endsInSlash = folder[folderLength - 1] == '/';
    while (struct dirent* entry = readdir(dir)) {
        if (!ok()) {
            break;  // the archive is lost already; adding more only costs time
        }
        char fullPath[kVeskPathBufferSize];
        if (!vesk_formatPath(fullPath, sizeof fullPath, endsInSlash ? "%s%s" : "%s/%s", folder,
                             entry->d_name)) {
            fail(std::string("a path too long to archive below ") + folder);
            break;
        }
        if (recursive && isFolder(entry, fullPath)) {
            // Skips ".", ".." and every hidden folder.
            if (entry->d_name[0] != '.') {
                addFolderToZip(fullPath, recursive, base);
            }
        } else {
            addFileToZip(fullPath, base);
        }
    }
    closedir(dir);
    return 1;
}

int ZipBuilder::addFileToZip(const char* path, const char* base) {
    if (path == nullptr) {
        return 0;
    }

    // The modification time is computed and deliberately not kept: the whole record is cleared,
    // so every entry carries the all-zero date.
    zip_fileinfo info;
    getFileTime(path, &info.tmz_date, &info.dosDate);
    memset(&info, 0, sizeof(info));

    int fd = vesk_openRegular(path, O_RDONLY);
    if (fd < 0) {
        return 0;
    }

    const char* point = nullptr;
    if (base != nullptr) {
        point = strstr(path, base);
        if (point != nullptr) {
            point += strlen(base);
        }
    } else {
        point = strchr(path, '/');
    }
    if (point == nullptr) {
        close(fd);  // no entry name: the file is not added
        return 0;
    }
    if (*point != '\0') {
        ++point;  // skip the separator
    }
    if (!ok() || _zipFile == nullptr) {
        close(fd);  // the archive is lost already, or was never opened: nothing more goes in
        return 1;
    }
    // The entry name is a tail of path, so it needs no buffer limit of its own.
    std::string entryName(point);
    swapInUnixPathSeparators(&entryName[0]);

    struct stat st;
    const bool examined = fstat(fd, &st) == 0;
    uint64_t size = examined ? static_cast<uint64_t>(st.st_size) : 0;
    if (!_pool) {
        _pool.reset(new DeflatePool(_threads, _cancel));
        if (_cache) {
            _pool->shareLimit(&_cache->heldBytes());
        }
    }
    // Only so many files wait for their turn: the oldest are written first.
    while (ok() && _pool && _pool->full() && writeNext(true)) {
    }
    if (!ok()) {
        close(fd);
        return 1;
    }
    _pending.push_back({entryName, size >= kZip64Threshold ? 1 : 0, false});
    DeflatePiece ready;
    if (_cache && examined && _cache->take(st, &ready)) {
        close(fd);
        _pool->addFinished(std::move(ready));
    } else {
        _pool->add(fd, size, path);
    }
    while (writeNext(false)) {
    }
    return 1;
}
