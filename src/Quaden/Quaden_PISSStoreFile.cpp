#include "Quaden_PISSStoreFile.h"

#include <sys/stat.h>

#include "Quaden_PISSUtilities.h"
#include "VeskFile.h"
#include "VeskLog.h"
#include "VeskPath.h"

namespace {

bool sameTime(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

QuadenPISSStoreFile::QuadenPISSStoreFile(const char* label, const char* cannotWrite,
                                         const char* invalidType)
    : _label(label), _cannotWrite(cannotWrite), _invalidType(invalidType) {}

QuadenPISSStoreFile::~QuadenPISSStoreFile() = default;

// The state of the open file fd, or of path when fd is negative.
QuadenPISSStoreFile::Stamp QuadenPISSStoreFile::stampOf(const char* path, int fd) {
    Stamp stamp;
    struct stat status;
    if (fd >= 0 ? fstat(fd, &status) == 0 : path != nullptr && stat(path, &status) == 0) {
        stamp._exists = true;
        stamp._device = status.st_dev;
        stamp._inode = status.st_ino;
        stamp._size = status.st_size;
        stamp._modified = status.st_mtim;
        stamp._changed = status.st_ctim;
    }
    return stamp;
}

int QuadenPISSStoreFile::fail(const std::string& what) {
    vesk_logWarning("%s: %s\n", _label, what.c_str());
    Unlock();
    return 0;
}

FILE* QuadenPISSStoreFile::OpenForLoading(bool* missing) {
    std::string why;
    *missing = false;
    FILE* file = Path() != nullptr
                     ? PISSOpenStoreFile(Path(), kPISSSettingsFileMaxBytes, missing, &why)
                     : nullptr;
    _loaded = stampOf(Path(), file != nullptr ? fileno(file) : -1);
    _refused = file == nullptr && !*missing && Path() != nullptr;
    if (_refused) {
        vesk_logWarning("%s: %s\n", _label, why.c_str());
    }
    return file;
}

int QuadenPISSStoreFile::lock() {
    if (_lock != nullptr) {
        return 1;
    }
    if (Path() == nullptr) {
        return fail("no file to lock");
    }
    std::unique_ptr<VeskFileLock> lock(new VeskFileLock(_path));
    if (!lock->locked()) {
        return fail("'" + vesk_printablePath(_path) + "' not locked: " + lock->error());
    }
    _lock = std::move(lock);
    return 1;
}

int QuadenPISSStoreFile::BeginTransaction(bool storeChanged, bool* reload) {
    *reload = false;
    if (!lock()) {
        return 0;
    }
    if (changedSinceLoading()) {
        if (storeChanged) {
            return fail("'" + vesk_printablePath(_path) +
                        "' was changed by another writer since it was read; this store's changes "
                        "would overwrite theirs");
        }
        *reload = true;
    }
    return 1;
}

void QuadenPISSStoreFile::Unlock() {
    _lock.reset();
}

// Whether the file was replaced, changed, created or removed since it was loaded or committed
// through this object.
bool QuadenPISSStoreFile::changedSinceLoading() const {
    Stamp now = stampOf(Path(), -1);
    return now._exists != _loaded._exists ||
           (now._exists &&
            (now._device != _loaded._device || now._inode != _loaded._inode ||
             now._size != _loaded._size || !sameTime(now._modified, _loaded._modified) ||
             !sameTime(now._changed, _loaded._changed)));
}

// Opens the temporary file of a commit under the lock; null (logged, the lock released) when the
// file must not or cannot be written.
FILE* QuadenPISSStoreFile::beginCommit() {
    const std::string printable = "'" + vesk_printablePath(_path) + "'";
    if (!lock()) {
        return nullptr;
    }
    if (_refused) {
        fail(printable + " was not read whole, so it is not written over");
        return nullptr;
    }
    if (changedSinceLoading()) {
        fail(printable + " was changed by another writer since it was read; not written over");
        return nullptr;
    }
    _writer.reset(new VeskAtomicFile(_path));
    if (!_writer->open()) {
        fail(_writer->error());
        _writer.reset();
        return nullptr;
    }
    return _writer->stream();
}

int QuadenPISSStoreFile::Commit(const QuadenPISSEntryList& entries, const char* header) {
    FILE* file = Path() != nullptr ? beginCommit() : nullptr;
    if (file == nullptr) {
        if (Path() != nullptr) {
            vesk_logWarning(_cannotWrite, Path());
        }
        return 0;
    }
    if (entries.LongestLine("") > kPISSLongestLine) {
        vesk_logWarning(
            "%s: '%s' not written: an entry's line is longer than %zu characters and "
            "would read back as other entries\n",
            _label, vesk_printablePath(_path).c_str(), kPISSLongestLine);
        _writer.reset();
        Unlock();
        return 0;
    }
    if (header != nullptr) {
        fputs(header, file);
    }
    int result = 0;
    if (!entries.WriteTo(file, "")) {
        vesk_logWarning("%s", _invalidType);
    } else if (_writer->commit()) {
        _loaded = stampOf(Path(), -1);
        _refused = false;
        result = 1;
    } else {
        vesk_logWarning("%s: '%s' not written: %s\n", _label, vesk_printablePath(_path).c_str(),
                        _writer->error().c_str());
    }
    _writer.reset();
    Unlock();
    return result;
}
