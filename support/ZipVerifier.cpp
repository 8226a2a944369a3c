#include "ZipVerifier.h"

#include <minizip/unzip.h>

#include <algorithm>
#include <memory>
#include <system_error>
#include <thread>
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

namespace {

struct Share {
    int _first = 0;  // this share inflates the entries whose index is _first modulo the stride
    bool _whole = true;
    std::string _why;
};

// Walks the whole central directory of the archive and inflates every stride-th entry from
// share->_first on; false with share->_why at the first fault.
bool verifyShare(const std::string& path, int stride, const PackageCancelFlag* cancel,
                 Share* share) {
    std::unique_ptr<void, int (*)(unzFile)> archive(unzOpen64(path.c_str()), unzClose);
    unz_global_info64 global;
    if (!archive || unzGetGlobalInfo64(archive.get(), &global) != UNZ_OK) {
        share->_why = "its central directory cannot be read";
        return false;
    }
    std::vector<char> block(kReadBlockSize);
    ZPOS64_T seen = 0;
    for (int step = unzGoToFirstFile(archive.get()); step != UNZ_END_OF_LIST_OF_FILE;
         step = unzGoToNextFile(archive.get()), ++seen) {
        char name[1025] = {0};
        if (step != UNZ_OK || unzGetCurrentFileInfo64(archive.get(), nullptr, name, sizeof name - 1,
                                                      nullptr, 0, nullptr, 0) != UNZ_OK) {
            share->_why = "its central directory is damaged";
            return false;
        }
        if (static_cast<int>(seen % static_cast<ZPOS64_T>(stride)) != share->_first) {
            continue;
        }
        int result = readEntry(archive.get(), &block, cancel);
        if (result == kInterrupted) {
            share->_why = "interrupted";
            return false;
        }
        if (result != UNZ_OK) {
            share->_why =
                "the entry \"" + std::string(name) + "\" is not whole: " + describe(result);
            return false;
        }
    }
    if (seen != global.number_entry) {
        share->_why = "its central directory ends after " + std::to_string(seen) + " of " +
                      std::to_string(global.number_entry) + " entries";
        return false;
    }
    return true;
}

}  // namespace

bool ZipVerifier::verify(const std::string& path, long expectedEntries,
                         const PackageCancelFlag* cancel, std::string* why, int threads) {
    {
        std::unique_ptr<void, int (*)(unzFile)> archive(unzOpen64(path.c_str()), unzClose);
        unz_global_info64 global;
        if (!archive || unzGetGlobalInfo64(archive.get(), &global) != UNZ_OK) {
            setWhy(why, "its central directory cannot be read");
            return false;
        }
        if (expectedEntries >= 0 && global.number_entry != static_cast<ZPOS64_T>(expectedEntries)) {
            setWhy(why, "it lists " + std::to_string(global.number_entry) + " entries instead of " +
                            std::to_string(expectedEntries));
            return false;
        }
    }
    std::vector<Share> shares(static_cast<size_t>(std::max(threads, 1)));
    std::vector<std::thread> helpers;
    for (size_t i = 0; i < shares.size(); ++i) {
        shares[i]._first = static_cast<int>(i);
        auto run = [&, i] {
            shares[i]._whole =
                verifyShare(path, static_cast<int>(shares.size()), cancel, &shares[i]);
        };
        if (i + 1 == shares.size()) {
            run();  // the last share on the calling thread
            continue;
        }
        try {
            helpers.emplace_back(run);
        } catch (const std::system_error&) {
            run();
        }
    }
    for (std::thread& helper : helpers) {
        helper.join();
    }
    for (const Share& share : shares) {
        if (!share._whole) {
            setWhy(why, share._why);
            return false;
        }
    }
    return true;
}
