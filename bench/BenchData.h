// Shared by the benchmark programs: a deterministic generator of test data and option parsing.
#ifndef CORVIX_BENCH_BENCHDATA_H
#define CORVIX_BENCH_BENCHDATA_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace bench {

// xorshift64: the same seed gives the same bytes on every machine.
struct Rng {
    uint64_t s;
    explicit Rng(uint64_t seed) : s(seed * 0x9E3779B97F4A7C15ULL + 1) {}
    uint64_t next() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return s;
    }
    unsigned below(unsigned n) { return static_cast<unsigned>(next() % n); }
};

// Binary: runs of random bytes (incompressible), of small integers and of repeated records.
inline std::string binaryData(Rng& rng, size_t size) {
    std::string out;
    out.reserve(size + 8192);
    while (out.size() < size) {
        unsigned kind = rng.below(3);
        size_t run = 512 + rng.below(8192);
        if (kind == 0) {
            for (size_t i = 0; i < run; i += 8) {
                uint64_t v = rng.next();
                out.append(reinterpret_cast<const char*>(&v), 8);
            }
        } else if (kind == 1) {
            uint32_t base = static_cast<uint32_t>(rng.next());
            for (size_t i = 0; i < run; i += 4) {
                uint32_t v = base + static_cast<uint32_t>(i / 4) + rng.below(4);
                out.append(reinterpret_cast<const char*>(&v), 4);
            }
        } else {
            char record[64];
            for (char& c : record) {
                c = static_cast<char>(rng.below(256));
            }
            for (size_t i = 0; i < run; i += sizeof record) {
                out.append(record, sizeof record);
            }
        }
    }
    out.resize(size);
    return out;
}

// A sparse file of sizeGiB GiB with 64 MiB of real data (binaryData) in every 256 MiB, so that
// deflate does not see zeros only: a large attachment such as a scene file.
inline bool makeLargeFile(const std::string& path, uint64_t sizeGiB) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(sizeGiB << 30)) != 0) {
        perror(path.c_str());
        return false;
    }
    Rng rng(7);
    const std::string chunk = binaryData(rng, 64u << 20);
    for (uint64_t offset = 0; offset + chunk.size() <= (sizeGiB << 30); offset += 256u << 20) {
        if (pwrite(fd, chunk.data(), chunk.size(), static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(chunk.size())) {
            perror("pwrite");
            close(fd);
            return false;
        }
    }
    return close(fd) == 0;
}

// The value after "--name" on the command line, else fallback.
inline uint64_t optionValue(int argc, char** argv, const char* name, uint64_t fallback) {
    for (int i = 0; i + 1 < argc; ++i) {
        if (strcmp(argv[i], name) == 0) {
            return strtoull(argv[i + 1], nullptr, 10);
        }
    }
    return fallback;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

}  // namespace bench

#endif
