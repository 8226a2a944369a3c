// LogTail: cuts a staged log to its last bytes, for a package whose user asked for a size limit.
// The cut file begins with one line saying how much was left out, then the newest bytes follow
// unchanged (the cut may fall inside a line).
//
// Threads: any thread; the file must not be written meanwhile. Failure: the file is replaced
// atomically (VeskAtomicFile) or left as it was; false with the reason in *why.
#ifndef CORVIX_SUPPORT_LOGTAIL_H
#define CORVIX_SUPPORT_LOGTAIL_H

#include <cstdint>
#include <string>

class LogTail {
  public:
    // Keeps the last limit bytes of the regular file at path when it holds more; true when the
    // file is within the limit (untouched) or was cut. A limit of 0 keeps everything.
    static bool keepLast(const std::string& path, uint64_t limit, std::string* why);

    // The line that heads a cut file.
    static std::string note(uint64_t leftOut, uint64_t size);
};

#endif
