// ZipVerifier: reads a finished archive back the way its receiver will, before anyone is told it
// exists: the central directory, each entry's local header, and every entry's data inflated and
// checked against its CRC-32. It uses minizip's reader, which shares the format but not the code
// paths of the writer that made the archive.
//
// Threads: any thread; no state. With threads above 1 the entries are shared out among that many
// threads (the caller's one of them), each with its own reader, all joined before verify returns.
// Failure: false with the first fault in *why; nothing printed.
#ifndef CORVIX_SUPPORT_ZIPVERIFIER_H
#define CORVIX_SUPPORT_ZIPVERIFIER_H

#include <string>

class PackageCancelFlag;

class ZipVerifier {
  public:
    // True when the archive at path reads back whole and holds exactly expectedEntries entries
    // (any number when it is negative). Stops with "interrupted" soon after cancel is set (null:
    // never).
    static bool verify(const std::string& path, long expectedEntries,
                       const PackageCancelFlag* cancel, std::string* why, int threads = 1);
};

#endif
