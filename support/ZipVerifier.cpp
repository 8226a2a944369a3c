#include "ZipVerifier.h"

#include <minizip/unzip.h>

#include <memory>
#include <vector>

#include "PackageCancelFlag.h"

namespace {

const unsigned kReadBlockSize = 65536;
const int kInterrupted = 1;  // the reader's own results are 0 or negative

void setWhy(std::string* why, const std::string& text) {
    if (why) {
        *why = text;
    }
}

std::string describe(int result) {
    switch (result) {
        case UNZ_CRCERROR:
            return "its CRC-32 does not match its data";
        case UNZ_BADZIPFILE:
            return "its headers are damaged";
        case UNZ_ERRNO:
            return "it cannot be read";
        default:
            return "its data does not inflate (error " + std::to_string(result) + ")";
    }
}

// Inflates the current entry to its end; UNZ_OK, or the reader's error.
int readEntry(unzFile archive, std::vector<char>* block, const PackageCancelFlag* cancel) {
    int result = unzOpenCurrentFile(archive);
    if (result != UNZ_OK) {
        return result;
    }
    int read;
    do {
        if (PackageCancelFlag::isSet(cancel)) {
            unzCloseCurrentFile(archive);
            return kInterrupted;
        }
        read = unzReadCurrentFile(archive, block->data(), kReadBlockSize);
    } while (read > 0);
    int closed = unzCloseCurrentFile(archive);
    return read < 0 ? read : closed;
}

}  // namespace

bool ZipVerifier::verify(const std::string& path, long expectedEntries,
                         const PackageCancelFlag* cancel, std::string* why) {
    std::unique_ptr<void, int (*)(unzFile)> archive(unzOpen64(path.c_str()), unzClose);
    if (!archive) {
        setWhy(why, "its central directory cannot be read");
        return false;
    }
    unz_global_info64 global;
    if (unzGetGlobalInfo64(archive.get(), &global) != UNZ_OK) {
        setWhy(why, "its central directory cannot be read");
        return false;
    }
    if (expectedEntries >= 0 && global.number_entry != static_cast<ZPOS64_T>(expectedEntries)) {
        setWhy(why, "it lists " + std::to_string(global.number_entry) + " entries instead of " +
                        std::to_string(expectedEntries));
        return false;
    }
    std::vector<char> block(kReadBlockSize);
    ZPOS64_T seen = 0;
    for (int step = unzGoToFirstFile(archive.get()); step != UNZ_END_OF_LIST_OF_FILE;
         step = unzGoToNextFile(archive.get())) {
        char name[1025] = {0};
        if (step != UNZ_OK || unzGetCurrentFileInfo64(archive.get(), nullptr, name, sizeof name - 1,
                                                      nullptr, 0, nullptr, 0) != UNZ_OK) {
            setWhy(why, "its central directory is damaged");
            return false;
        }
        int result = readEntry(archive.get(), &block, cancel);
        if (result == kInterrupted) {
            setWhy(why, "interrupted");
            return false;
        }
        if (result != UNZ_OK) {
            setWhy(why,
                   "the entry \"" + std::string(name) + "\" is not whole: " + describe(result));
            return false;
        }
        ++seen;
    }
    if (seen != global.number_entry) {
        setWhy(why, "its central directory ends after " + std::to_string(seen) + " of " +
                        std::to_string(global.number_entry) + " entries");
        return false;
    }
    return true;
}
