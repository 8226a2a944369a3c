// DeflateCache: see DeflateCache.h.
#include "DeflateCache.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <deque>
#include <new>
#include <system_error>

#include "VeskFile.h"
#include "VeskPath.h"

namespace {

// What a cached stream holds beyond its bytes (its record and the map's node).
const uint64_t kEntryOverhead = 256;

bool sameTime(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

bool DeflateCache::Identity::operator==(const Identity& other) const {
    return _device == other._device && _inode == other._inode && _size == other._size &&
           sameTime(_modified, other._modified) && sameTime(_changed, other._changed);
}

uint64_t DeflateCache::charged(const DeflatePiece& stream) {
    return stream._bytes.size() + kEntryOverhead;
}

DeflateCache::Identity DeflateCache::identityOf(const struct stat& st) {
    return {st.st_dev, st.st_ino, st.st_size, st.st_mtim, st.st_ctim};
}

DeflateCache::DeflateCache(int threads, const PackageCancelFlag* cancel, uint64_t budget)
    : _threads(threads), _budget(budget), _cancel(cancel) {}

DeflateCache::~DeflateCache() {
    _abort.request();
    stop();
    finish();
}

void DeflateCache::finish() {
    if (_thread.joinable()) {
        _thread.join();
    }
}

void DeflateCache::warm(const std::vector<std::string>& folders) {
    if (_thread.joinable() || _stop.requested() || _abort.requested()) {
        return;
    }
    try {
        _thread = std::thread(&DeflateCache::run, this, folders);
    } catch (const std::system_error&) {
        // No thread to be had: the archive compresses everything itself, as it would anyway.
    }
}

void DeflateCache::stop() {
    _stop.request();
}

bool DeflateCache::take(const struct stat& st, DeflatePiece* entry) {
    const std::pair<dev_t, ino_t> key(st.st_dev, st.st_ino);
    std::unique_lock<std::mutex> lock(_mutex);
    // A file being compressed is worth its wait: the work is half done, on threads of its own.
    _settled.wait(lock, [&] { return _pending.count(key) == 0; });
    auto found = _entries.find(key);
    if (found == _entries.end()) {
        return false;
    }
    const bool same = found->second._identity == identityOf(st);
    _held -= charged(found->second._stream);
    if (same) {
        *entry = std::move(found->second._stream);
        ++_taken;
    }
    _entries.erase(found);
    return same;
}

size_t DeflateCache::finishedCount() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _finished;
}

size_t DeflateCache::takenCount() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _taken;
}

void DeflateCache::collect(const std::string& folder, std::vector<std::string>* files) const {
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) {
        return;
    }
    while (struct dirent* entry = readdir(dir)) {
        if (_stop.requested() || _abort.requested()) {
            break;
        }
        std::string path = folder + "/" + entry->d_name;
        if (path.size() >= kVeskPathBufferSize) {
            continue;  // the archive cannot take it either; this also bounds the depth
        }
        // ".", ".." and hidden folders stay out of the archive. Hidden files go in, but are left
        // to the archive to compress: they are few and small.
        if (entry->d_name[0] == '.') {
            continue;
        }
        struct stat st;
        if (entry->d_type == DT_DIR ||
            (entry->d_type == DT_UNKNOWN && lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))) {
            collect(path, files);
        } else if (entry->d_type == DT_REG || entry->d_type == DT_UNKNOWN) {
            files->push_back(path);
        }
    }
    closedir(dir);
}

void DeflateCache::run(std::vector<std::string> folders) {
    std::deque<Queued> queued;
    try {
        compress(folders, &queued);
    } catch (const std::exception&) {
        // Out of memory or threads: the archive compresses what is left, as it would anyway.
    }
    // Whatever is still on its way will not come: nobody may wait for it, nor count it.
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _pending.clear();
        for (const Queued& file : queued) {
            _held -= file._charge;
        }
    }
    _settled.notify_all();
}

void DeflateCache::compress(const std::vector<std::string>& folders, std::deque<Queued>* queued) {
    std::vector<std::string> files;
    for (const std::string& folder : folders) {
        collect(folder, &files);
    }
    // Largest first: a file below the split size is one stream, compressed by one thread at a
    // time, so the largest would be the archive's longest wait.
    std::vector<std::pair<off_t, std::string>> bySize;
    for (std::string& path : files) {
        struct stat st;
        if (!_stop.requested() && lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
            bySize.emplace_back(st.st_size, std::move(path));
        }
    }
    std::stable_sort(bySize.begin(), bySize.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    size_t next = 0;
    // Two threads at most: the wait they use is short, and once the archive starts, their
    // buffers are held beside its own threads' until the files under way are done.
    DeflatePool pool(std::min(_threads, 2), &_abort);
    auto aborting = [this] {
        if (PackageCancelFlag::isSet(_cancel)) {
            _abort.request();
        }
        return _abort.requested();
    };
    while (!aborting()) {
        while (!_stop.requested() && next < bySize.size() && !pool.full()) {
            const std::string& path = bySize[next++].second;
            int fd = vesk_openRegular(path.c_str(), O_RDONLY);
            struct stat st;
            if (fd < 0) {
                continue;
            }
            const uint64_t size = fstat(fd, &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
            const uint64_t charge = compressBound(static_cast<uLong>(size)) + kEntryOverhead;
            if (size == 0 || size >= DeflatePool::kSplitThreshold || charge > _budget - _held) {
                close(fd);  // an empty file costs nothing to compress; nor did a failed fstat
                continue;
            }
            // Queued and charged together, so that run() gives back exactly what was charged
            // whichever step runs out of memory.
            queued->push_back({path, identityOf(st), charge, DeflatePiece(), false});
            {
                std::lock_guard<std::mutex> lock(_mutex);
                _held += charge;
                _pending.insert({st.st_dev, st.st_ino});
            }
            try {
                queued->back()._stream._bytes.reserve(compressBound(static_cast<uLong>(size)));
            } catch (const std::bad_alloc&) {
                close(fd);
                throw;
            }
            pool.add(fd, size, path);
        }
        DeflatePiece piece;
        if (queued->empty() || pool.next(&piece, true) != DeflatePool::Next::Piece) {
            break;  // everything done, out of budget, stopped, or a file that could not be read
        }
        Queued& file = queued->front();
        DeflatePiece& stream = file._stream;
        stream._bytes.insert(stream._bytes.end(), piece._bytes.begin(), piece._bytes.end());
        // The archive opens an entry with its first bytes, when zlib has decided about text.
        if (!file._textKnown && (!piece._bytes.empty() || piece._last)) {
            stream._text = piece._text;
            file._textKnown = true;
        }
        if (!piece._last) {
            continue;
        }
        stream._last = true;
        stream._size = stream._input = piece._size;
        stream._crc = piece._crc;
        stream._bytes.shrink_to_fit();
        // Kept only when the file is still the one that was read, whole.
        struct stat now;
        const bool same = lstat(file._path.c_str(), &now) == 0 &&
                          identityOf(now) == file._identity &&
                          piece._size == static_cast<uint64_t>(now.st_size);
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _held -= file._charge;
            _pending.erase({file._identity._device, file._identity._inode});
            if (same) {
                _held += charged(stream);
                _entries[{now.st_dev, now.st_ino}] = {file._identity, std::move(stream)};
                ++_finished;
            }
        }
        _settled.notify_all();
        queued->pop_front();
    }
}
