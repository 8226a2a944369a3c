#include "LogTail.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "VeskFile.h"

std::string LogTail::note(uint64_t leftOut, uint64_t size) {
    return "[cut: the first " + std::to_string(leftOut) + " of " + std::to_string(size) +
           " bytes were left out; the last " + std::to_string(size - leftOut) + " follow]\n";
}

bool LogTail::keepLast(const std::string& path, uint64_t limit, std::string* why) {
    int fd = vesk_openRegular(path.c_str(), O_RDONLY, 0, why);
    if (fd < 0) {
        return false;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || limit == 0 || static_cast<uint64_t>(st.st_size) <= limit) {
        close(fd);
        return true;
    }
    const uint64_t size = static_cast<uint64_t>(st.st_size);
    VeskAtomicFile cut(path);
    bool whole = cut.open();
    if (whole) {
        const std::string head = note(size - limit, size);
        whole = fwrite(head.data(), 1, head.size(), cut.stream()) == head.size();
        std::vector<char> buffer(1 << 20);
        for (off_t at = static_cast<off_t>(size - limit); whole && at < st.st_size;) {
            ssize_t got = pread(fd, buffer.data(), buffer.size(), at);
            if (got <= 0) {
                *why = path + ": " + (got < 0 ? strerror(errno) : "became shorter while cut");
                whole = false;
                break;
            }
            whole = fwrite(buffer.data(), 1, static_cast<size_t>(got), cut.stream()) ==
                    static_cast<size_t>(got);
            at += got;
        }
        whole = whole && cut.commit();
    }
    if (!whole && why->empty()) {
        *why = cut.error().empty() ? path + ": " + strerror(errno) : cut.error();
    }
    close(fd);
    return whole;
}
