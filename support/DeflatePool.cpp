// DeflatePool: see DeflatePool.h.
#include "DeflatePool.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

#include "PackageCancelFlag.h"

namespace {

// minizip's own deflateInit2 parameters, so that a file's stream is the one minizip would write.
const int kWindowBits = -MAX_WBITS;
const int kMemLevel = 8;
const size_t kDictionary = 32 * 1024;  // deflate's window: all a block can refer back to
// How long a waiting thread goes without looking at the cancel flag.
const auto kCancelPoll = std::chrono::milliseconds(50);

struct StreamEnd {
    void operator()(z_stream* stream) const {
        deflateEnd(stream);
        delete stream;
    }
};
using Stream = std::unique_ptr<z_stream, StreamEnd>;

Stream newStream() {
    Stream stream(new z_stream());
    if (deflateInit2(stream.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindowBits, kMemLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        delete stream.release();
    }
    return stream;
}

// Reads length bytes at offset, fewer only at the end of the file; -1 on a read error.
ssize_t readFully(int fd, unsigned char* buffer, size_t length, uint64_t offset) {
    size_t done = 0;
    while (done < length) {
        ssize_t got = pread(fd, buffer + done, length - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return -1;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

// Deflates length bytes of input with flush into out; returns how many bytes of out it wrote, or
// -1 when zlib failed. out only grows, so that a thread's buffer is not cleared again each time.
ssize_t deflateInto(z_stream* stream, const unsigned char* input, size_t length, int flush,
                    std::vector<unsigned char>* out) {
    stream->next_in = const_cast<unsigned char*>(input);
    stream->avail_in = static_cast<uInt>(length);
    size_t used = 0;
    size_t bound = deflateBound(stream, length) + 64;
    if (out->size() < bound) {
        out->resize(bound);
    }
    for (;;) {
        stream->next_out = out->data() + used;
        stream->avail_out = static_cast<uInt>(out->size() - used);
        int result = deflate(stream, flush);
        used = out->size() - stream->avail_out;
        if (result == Z_STREAM_ERROR) {
            return -1;
        }
        bool done = flush == Z_FINISH ? result == Z_STREAM_END
                                      : stream->avail_in == 0 && stream->avail_out != 0;
        if (done) {
            return static_cast<ssize_t>(used);
        }
        if (stream->avail_out == 0) {
            out->resize(out->size() * 2);
        }
    }
}

std::string becameShorter(const std::string& path) {
    return path + " became shorter while it was archived";
}

// Grows buffer to hold at least size bytes.
unsigned char* room(std::vector<unsigned char>* buffer, size_t size) {
    if (buffer->size() < size) {
        buffer->resize(size);
    }
    return buffer->data();
}

}  // namespace

struct DeflatePool::Piece {
    std::vector<unsigned char> _bytes;
    unsigned long _crc = 0;
    uint64_t _length = 0;
    uint64_t _charge = 0;  // what it counts against the limit of bytes in flight
    bool _done = false;
    bool _last = false;
    bool _text = false;
};

struct DeflatePool::File {
    File(int fd, uint64_t size, const std::string& path)
        : _fd(fd),
          _size(size),
          _path(path),
          _split(size >= kSplitThreshold),
          _blocks((size + kBlockSize - 1) / kBlockSize) {}
    ~File() {
        if (_fd >= 0) {
            close(_fd);
        }
    }

    const int _fd;
    const uint64_t _size;
    const std::string _path;
    const bool _split;
    const uint64_t _blocks;  // split: how many blocks
    // Guarded by the pool's lock:
    uint64_t _started = 0;      // pieces started so far (the index of the next one)
    bool _busy = false;         // whole: a step runs
    bool _ended = false;        // whole: the last step has run
    std::deque<Piece> _pieces;  // pieces started and not yet taken, in order
    uint64_t _taken = 0;        // bytes of the file handed out so far
    unsigned long _crc = 0;     // and their CRC-32
    // Whole: the stream between steps, used by the one step that runs (_busy) only.
    Stream _stream;
    uint64_t _offset = 0;
};

// A thread's scratch space: the input of one block, its output, and a stream for split blocks.
struct DeflatePool::Worker {
    std::vector<unsigned char> _input, _output;
    Stream _blockStream;
};

DeflatePool::DeflatePool(int threads, const PackageCancelFlag* cancel)
    : _threads(std::min(std::max(threads, 1), kMaxThreads)),
      _maxInFlight(std::min<uint64_t>(kMaxBytesInFlight, (8ULL << 20) * _threads)),
      _cancel(cancel) {}

DeflatePool::~DeflatePool() {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _stopping = true;
    }
    _changed.notify_all();
    for (std::thread& thread : _threadsRunning) {
        thread.join();
    }
}

void DeflatePool::startWorkers() {
    _started = true;
    _workers.emplace_back(new Worker());  // the caller's, for a pool without threads
    if (_threads == 1) {
        return;
    }
    for (int i = 0; i < _threads; ++i) {
        _workers.emplace_back(new Worker());
        try {
            _threadsRunning.emplace_back(&DeflatePool::work, this, _workers.back().get());
        } catch (const std::system_error&) {
            break;  // no more threads to be had: those running do the work (or the caller)
        }
    }
}

void DeflatePool::add(int fd, uint64_t size, const std::string& path) {
    std::unique_ptr<File> file(new File(fd, size, path));
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _files.push_back(std::move(file));
    }
    if (!_started) {
        startWorkers();
    }
    _changed.notify_all();
}

void DeflatePool::addFinished(DeflatePiece stream) {
    std::unique_ptr<File> file(new File(-1, stream._size, std::string()));
    file->_started = 1;
    file->_ended = true;
    file->_pieces.emplace_back();
    Piece& piece = file->_pieces.back();
    piece._charge = stream._bytes.size();
    piece._bytes = std::move(stream._bytes);
    piece._crc = stream._crc;
    piece._length = stream._size;
    piece._done = piece._last = true;
    piece._text = stream._text;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _inFlight += piece._charge;
        _files.push_back(std::move(file));
    }
    _changed.notify_all();
}

bool DeflatePool::full() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _files.size() >= kMaxFilesQueued;
}

std::string DeflatePool::error() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _error;
}

void DeflatePool::failLocked(const std::string& why) {
    if (_error.empty()) {
        _error = why;
    }
    _changed.notify_all();
}

// Under the lock: the next piece to compress, oldest file first. A file below the threshold takes
// its steps one after the other; a split file's blocks go to any thread. Only maxBytesInFlight()
// bytes of input may be in flight (each piece counted with kPieceOverhead more, for its output and
// bookkeeping), except for the very piece the writer waits for, so that a pool filled with later
// files' output never stalls the oldest file.
bool DeflatePool::takeTask(Task* task) {
    if (!_error.empty() || _stopping) {
        return false;
    }
    for (const std::unique_ptr<File>& file : _files) {
        bool startable =
            file->_split ? file->_started < file->_blocks : !file->_busy && !file->_ended;
        if (!startable) {
            continue;
        }
        // A step of a whole file is charged what its size says is left of it.
        uint64_t start = file->_started * kBlockSize;
        uint64_t charge =
            kPieceOverhead +
            (file->_size > start ? std::min<uint64_t>(kBlockSize, file->_size - start) : 0);
        bool awaited = file == _files.front() && file->_pieces.empty();
        const uint64_t shared = _sharedHeld ? _sharedHeld->load(std::memory_order_relaxed) : 0;
        if (_inFlight + shared + charge > _maxInFlight && !awaited) {
            return false;
        }
        task->_file = file.get();
        task->_index = file->_started++;
        file->_busy = !file->_split;
        file->_pieces.emplace_back();
        file->_pieces.back()._charge = charge;
        _inFlight += charge;
        return true;
    }
    return false;
}

void DeflatePool::runTask(const Task& task, Worker* worker) {
    Piece piece;
    std::string why;
    bool done = task._file->_split ? compressBlock(task, worker, &piece, &why)
                                   : compressStep(task, worker, &piece, &why);
    std::lock_guard<std::mutex> lock(_mutex);
    File& file = *task._file;
    if (!done) {
        failLocked(why);
        return;
    }
    file._busy = false;
    file._ended = !file._split && piece._last;
    piece._done = true;
    Piece& slot = file._pieces[task._index - (file._started - file._pieces.size())];
    piece._charge = slot._charge;
    slot = std::move(piece);
    _changed.notify_all();
}

bool DeflatePool::compressBlock(const Task& task, Worker* worker, Piece* piece, std::string* why) {
    const File& file = *task._file;
    uint64_t start = task._index * kBlockSize;
    size_t length = static_cast<size_t>(std::min<uint64_t>(kBlockSize, file._size - start));
    size_t dictionary = static_cast<size_t>(std::min<uint64_t>(kDictionary, start));
    unsigned char* input = room(&worker->_input, dictionary + length);
    ssize_t got = readFully(file._fd, input, dictionary + length, start - dictionary);
    if (got != static_cast<ssize_t>(dictionary + length)) {
        *why = got < 0 ? "cannot read " + file._path + ": " + strerror(errno)
                       : becameShorter(file._path);
        return false;
    }
    if (!worker->_blockStream) {
        worker->_blockStream = newStream();
    }
    z_stream* stream = worker->_blockStream.get();
    piece->_last = task._index + 1 == file._blocks;
    ssize_t made = -1;
    if (stream && deflateReset(stream) == Z_OK &&
        (dictionary == 0 ||
         deflateSetDictionary(stream, input, static_cast<uInt>(dictionary)) == Z_OK)) {
        made = deflateInto(stream, input + dictionary, length,
                           piece->_last ? Z_FINISH : Z_SYNC_FLUSH, &worker->_output);
    }
    if (made < 0) {
        *why = "the compressor failed";
        return false;
    }
    // The stream's first block decides, as it would for the whole file in one stream.
    piece->_text = task._index == 0 && stream->data_type == Z_TEXT;
    piece->_bytes.assign(worker->_output.begin(), worker->_output.begin() + made);
    piece->_crc = crc32(0, input + dictionary, static_cast<uInt>(length));
    piece->_length = length;
    return true;
}

bool DeflatePool::compressStep(const Task& task, Worker* worker, Piece* piece, std::string* why) {
    File& file = *task._file;
    if (!file._stream) {
        file._stream = newStream();
    }
    unsigned char* input = room(&worker->_input, kBlockSize);
    ssize_t got = readFully(file._fd, input, kBlockSize, file._offset);
    if (got < 0) {
        *why = "cannot read " + file._path + ": " + strerror(errno);
        return false;
    }
    size_t length = static_cast<size_t>(got);
    // A file cut short while it waits would go in as a smaller, apparently whole entry.
    if (length < kBlockSize && file._offset + length < file._size) {
        *why = becameShorter(file._path);
        return false;
    }
    file._offset += length;
    // Without a flush the stream's bytes do not depend on how its input is cut into steps.
    piece->_last = length < kBlockSize;
    ssize_t made = file._stream
                       ? deflateInto(file._stream.get(), input, length,
                                     piece->_last ? Z_FINISH : Z_NO_FLUSH, &worker->_output)
                       : -1;
    if (made < 0) {
        *why = "the compressor failed";
        return false;
    }
    piece->_text = file._stream->data_type == Z_TEXT;
    if (piece->_last) {
        file._stream.reset();
    }
    piece->_bytes.assign(worker->_output.begin(), worker->_output.begin() + made);
    piece->_crc = crc32(0, input, static_cast<uInt>(length));
    piece->_length = length;
    return true;
}

void DeflatePool::work(Worker* worker) {
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_stopping && _error.empty()) {
        if (PackageCancelFlag::isSet(_cancel)) {
            failLocked("interrupted");
            break;
        }
        Task task;
        if (takeTask(&task)) {
            lock.unlock();
            runTask(task, worker);
            lock.lock();
        } else {
            _changed.wait_for(lock, kCancelPoll);
        }
    }
}

DeflatePool::Next DeflatePool::next(DeflatePiece* out, bool wait) {
    std::unique_lock<std::mutex> lock(_mutex);
    for (;;) {
        if (PackageCancelFlag::isSet(_cancel)) {
            failLocked("interrupted");
        }
        if (!_error.empty()) {
            return Next::Failed;
        }
        if (_files.empty()) {
            return Next::Empty;
        }
        File& file = *_files.front();
        if (!file._pieces.empty() && file._pieces.front()._done) {
            Piece& piece = file._pieces.front();
            file._crc = crc32_combine(file._crc, piece._crc, static_cast<z_off_t>(piece._length));
            file._taken += piece._length;
            out->_bytes = std::move(piece._bytes);
            out->_last = piece._last;
            out->_text = piece._text;
            out->_size = file._taken;
            out->_input = piece._length;
            out->_crc = file._crc;
            _inFlight -= piece._charge;
            file._pieces.pop_front();
            if (out->_last) {
                _files.pop_front();
            }
            _changed.notify_all();
            return Next::Piece;
        }
        if (!wait) {
            return Next::NotReady;
        }
        Task task;
        if (_threadsRunning.empty() && takeTask(&task)) {
            lock.unlock();
            runTask(task, _workers.front().get());
            lock.lock();
        } else {
            _changed.wait_for(lock, kCancelPoll);
        }
    }
}
