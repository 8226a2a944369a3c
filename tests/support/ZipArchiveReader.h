// Test helper: lists the entries of a ZIP archive with minizip's reader, independent of
// ZipBuilder's writer code.
#ifndef CORVIX_TESTS_SUPPORT_ZIPARCHIVEREADER_H
#define CORVIX_TESTS_SUPPORT_ZIPARCHIVEREADER_H

#include <minizip/unzip.h>

#include <cstdint>
#include <string>
#include <vector>

namespace corvix_test {

struct ZipEntry {
    std::string name;
    uint64_t size = 0;  // uncompressed
    uint64_t compressedSize = 0;
    unsigned long dosDate = 0;
    unsigned long crc = 0;
    int method = -1;
    unsigned long versionNeeded = 0;
    unsigned long externalAttributes = 0;
    unsigned long internalAttributes = 0;
    uint64_t extraFieldLength = 0;
    uint64_t commentLength = 0;
};

// The archive's entries in central-directory order; ok is false when it cannot be read.
inline std::vector<ZipEntry> listZip(const std::string& path, bool* ok = nullptr) {
    std::vector<ZipEntry> entries;
    if (ok) {
        *ok = false;
    }
    unzFile zip = unzOpen64(path.c_str());
    if (zip == nullptr) {
        return entries;
    }
    int err = unzGoToFirstFile(zip);
    while (err == UNZ_OK) {
        unz_file_info64 info;
        char name[2048];
        if (unzGetCurrentFileInfo64(zip, &info, name, sizeof name, nullptr, 0, nullptr, 0) !=
            UNZ_OK) {
            unzClose(zip);
            return entries;
        }
        ZipEntry e;
        e.name = name;
        e.size = info.uncompressed_size;
        e.compressedSize = info.compressed_size;
        e.dosDate = info.dosDate;
        e.crc = info.crc;
        e.method = static_cast<int>(info.compression_method);
        e.versionNeeded = info.version_needed;
        e.externalAttributes = info.external_fa;
        e.internalAttributes = info.internal_fa;
        e.extraFieldLength = info.size_file_extra;
        e.commentLength = info.size_file_comment;
        entries.push_back(e);
        err = unzGoToNextFile(zip);
    }
    unzClose(zip);
    if (ok) {
        *ok = err == UNZ_END_OF_LIST_OF_FILE;
    }
    return entries;
}

// The contents of one entry, read back through the library's inflater.
inline bool readZipEntry(const std::string& path, const std::string& name, std::string* out) {
    unzFile zip = unzOpen64(path.c_str());
    if (zip == nullptr) {
        return false;
    }
    bool ok = unzLocateFile(zip, name.c_str(), 1) == UNZ_OK && unzOpenCurrentFile(zip) == UNZ_OK;
    if (ok) {
        out->clear();
        char buffer[65536];
        int n;
        while ((n = unzReadCurrentFile(zip, buffer, sizeof buffer)) > 0) {
            out->append(buffer, static_cast<size_t>(n));
        }
        ok = n == 0 && unzCloseCurrentFile(zip) == UNZ_OK;  // UNZ_CRCERROR on a bad CRC
    }
    unzClose(zip);
    return ok;
}

// The DOS date that minizip derives from an all-zero zip_fileinfo: day 0 of month 1 of 1980.
const unsigned long kAllZeroDosDate = 0x00200000UL;

}  // namespace corvix_test

#endif
