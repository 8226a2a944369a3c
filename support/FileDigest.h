// FileDigest: SHA-256 of a file, for telling support staff which archive they received.
#ifndef CORVIX_SUPPORT_FILEDIGEST_H
#define CORVIX_SUPPORT_FILEDIGEST_H

#include <string>

class PackageCancelFlag;

class FileDigest {
  public:
    // The 64 lower-case hexadecimal digits of the file's SHA-256 into hex; false when the file
    // cannot be read or cancel (when not null) is raised meanwhile (hex is then unchanged). Reads
    // in blocks: memory does not grow with the file. A FIFO or device is refused, not waited on.
    static bool sha256(const std::string& path, std::string* hex,
                       const PackageCancelFlag* cancel = nullptr);
};

#endif
