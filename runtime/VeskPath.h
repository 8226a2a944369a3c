// Paths in the product's fixed buffers, in one place.
//
// The product keeps paths in buffers of 1025 bytes that are cleared first and filled with a bound
// of 1024 (snprintf with 1024, so at most 1023 characters and the NUL). A path that does not fit
// is never cut and then used — a cut path names another file, which the tool would then read,
// overwrite or delete. It is refused instead: the formatters below leave the buffer empty, send a
// message naming the whole path to the diagnostics sink, and return false, and every caller stops
// or skips that path (walks count it as skipped).
//
// All functions may be called from any thread; none throws.
#ifndef CORVIX_RUNTIME_VESKPATH_H
#define CORVIX_RUNTIME_VESKPATH_H

#include <cstddef>
#include <string>

// Size of a path buffer, and the longest path it holds whole.
const size_t kVeskPathBufferSize = 1025;
const size_t kVeskPathMaxLength = kVeskPathBufferSize - 2;

// True when path has at most kVeskPathMaxLength bytes. A null path does not fit.
bool vesk_pathFits(const char* path);
bool vesk_pathFits(const std::string& path);

// Formats a path into buffer, which holds size bytes: the buffer is cleared, and the result is
// kept when it has at most size - 2 characters (the bound the product hands snprintf is size - 1).
// A longer result leaves the buffer cleared, is reported through vesk_reportPathTooLong, and
// gives false. A null buffer or a size under 2 gives false.
bool vesk_formatPath(char* buffer, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The same, without the message, for walks that count what they skip and report it themselves.
bool vesk_formatPathQuietly(char* buffer, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Formats into out when the result has at most kVeskPathMaxLength characters; otherwise out is
// left unchanged, the path is reported, and the result is false.
bool vesk_formatPathString(std::string* out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Sends "\nPath too long (N bytes, at most 1023 fit), not used: <path>" to the diagnostics sink,
// with the path made printable.
void vesk_reportPathTooLong(const std::string& path);

// path with every control character (below 0x20, and 0x7f) written as "\n", "\r", "\t" or
// "\xHH", so that a file name cannot break a line of a log or a message in two. Every other byte,
// backslashes and UTF-8 included, stays as it is: a plain path keeps its bytes.
std::string vesk_printablePath(const std::string& path);

#endif
