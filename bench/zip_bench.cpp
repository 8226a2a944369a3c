// Benchmark of ZipBuilder against Info-ZIP's zip on the same staging folder.
//
//   zip_bench folder WORKDIR [--size-mb N] [--rounds N]
//       Generates (deterministically) a staging folder of about N MB (default 200) of logs, text
//       and binary files in WORKDIR, then zips it alternately with ZipBuilder and `zip -r -q`
//       (each in a child process) and prints the median times, sizes and ratios.
//   zip_bench memory WORKDIR [--size-gib N]
//       Zips one sparse file of N GiB (default 2) in a child process and prints its peak
//       resident set size (getrusage of the child).
//   zip_bench generate FOLDER [--size-mb N]  (only generates the staging folder, and keeps it)
//   zip_bench zip-folder ARCHIVE FOLDER      (child mode: ZipBuilder over FOLDER)
//
// WORKDIR is created if needed and everything generated in it is removed at the end.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZipBuilder.h"

#include "BenchData.h"
using bench::binaryData;
using bench::median;
using bench::optionValue;
using bench::Rng;

namespace {

// ---- deterministic data ------------------------------------------------------------------------

const char* const kWords[] = {
    "render",  "frame",    "cache",  "queue",  "layer",   "composition", "effect",  "project",
    "thread",  "worker",   "memory", "buffer", "pixel",   "timeline",    "export",  "preview",
    "the",     "a",        "of",     "and",    "to",      "in",          "is",      "for",
    "with",    "on",       "not",    "found",  "failed",  "started",     "done",    "waiting",
    "license", "settings", "cinema", "plugin", "adobe",   "after",       "effects", "support",
    "folder",  "file",     "opened", "closed", "written", "read",        "bytes",   "seconds"};
const unsigned kWordCount = sizeof(kWords) / sizeof(kWords[0]);
const char* const kLevels[] = {"INFO", "INFO", "INFO", "DEBUG", "WARNING", "ERROR"};

std::string logText(Rng& rng, size_t size) {
    std::string out;
    out.reserve(size + 256);
    unsigned sec = 0;
    char line[512];
    while (out.size() < size) {
        sec += rng.below(3);
        int n = snprintf(line, sizeof line, "<Sun Nov 15 %02u:%02u:%02u 2026>\t%s\t%u\t",
                         8 + sec / 3600 % 12, sec / 60 % 60, sec % 60, kLevels[rng.below(6)],
                         1000 + rng.below(16));
        out.append(line, static_cast<size_t>(n));
        unsigned words = 4 + rng.below(10);
        for (unsigned i = 0; i < words; ++i) {
            out += kWords[rng.below(kWordCount)];
            out += ' ';
        }
        n = snprintf(line, sizeof line, "id=%" PRIu64 " value=%u\n", rng.next() % 1000000,
                     rng.below(65536));
        out.append(line, static_cast<size_t>(n));
    }
    out.resize(size);
    return out;
}

std::string plainText(Rng& rng, size_t size) {
    std::string out;
    out.reserve(size + 64);
    while (out.size() < size) {
        unsigned words = 5 + rng.below(15);
        for (unsigned i = 0; i < words; ++i) {
            out += kWords[rng.below(kWordCount)];
            out += i + 1 < words ? " " : ".\n";
        }
    }
    out.resize(size);
    return out;
}

bool writeWhole(const std::string& path, const std::string& data) {
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr) {
        perror(path.c_str());
        return false;
    }
    bool ok = fwrite(data.data(), 1, data.size(), f) == data.size();
    return fclose(f) == 0 && ok;
}

bool makeDir(const std::string& path) {
    if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
        perror(path.c_str());
        return false;
    }
    return true;
}

// A staging folder shaped like a support package: package.xml, system/, application/, user/.
// About 40% logs, 30% text, 30% binary by bytes, in files from 1 KB to 16 MB.
uint64_t generateStaging(const std::string& root, uint64_t totalBytes) {
    Rng rng(2026);
    for (const char* sub : {"", "/system", "/application", "/application/CorvixPro2",
                            "/application/Logs", "/user", "/user/Attachments"}) {
        if (!makeDir(root + sub)) {
            exit(2);
        }
    }
    uint64_t written = 0;
    auto add = [&](const std::string& path, const std::string& data) {
        if (!writeWhole(root + path, data)) {
            exit(2);
        }
        written += data.size();
    };
    add("/package.xml", plainText(rng, 4000));
    const uint64_t logBytes = totalBytes * 4 / 10;
    const uint64_t textBytes = totalBytes * 3 / 10;
    const uint64_t binaryBytes = totalBytes - logBytes - textBytes;
    // Logs: a few large rolled logs and many small ones.
    uint64_t sum = 0;
    for (int i = 0; sum < logBytes; ++i) {
        size_t size = i % 4 == 0 ? (8u << 20) : (64u << 10) + rng.below(512u << 10);
        size = static_cast<size_t>(std::min<uint64_t>(size, logBytes - sum));
        add("/application/Logs/corvix" + std::to_string(i) + ".log", logText(rng, size));
        sum += size;
    }
    sum = 0;
    for (int i = 0; sum < textBytes; ++i) {
        size_t size = i % 10 == 0 ? (2u << 20) : 1024 + rng.below(128u << 10);
        size = static_cast<size_t>(std::min<uint64_t>(size, textBytes - sum));
        const char* folder = i % 3 == 0 ? "/system/" : (i % 3 == 1 ? "/user/" : "/application/");
        add(std::string(folder) + "text" + std::to_string(i) + ".txt", plainText(rng, size));
        sum += size;
    }
    sum = 0;
    for (int i = 0; sum < binaryBytes; ++i) {
        size_t size = i % 5 == 0 ? (16u << 20) : (256u << 10) + rng.below(2u << 20);
        size = static_cast<size_t>(std::min<uint64_t>(size, binaryBytes - sum));
        const char* folder = i % 2 == 0 ? "/user/Attachments/" : "/application/CorvixPro2/";
        add(std::string(folder) + "data" + std::to_string(i) + ".bin", binaryData(rng, size));
        sum += size;
    }
    return written;
}

// ---- child processes ---------------------------------------------------------------------------

struct RunResult {
    double wallSeconds = 0;
    double cpuSeconds = 0;
    long maxRssKiB = 0;
    int status = -1;
};

RunResult runChild(const std::vector<std::string>& argv, const std::string& workDir) {
    RunResult result;
    auto start = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid == 0) {
        if (!workDir.empty() && chdir(workDir.c_str()) != 0) {
            _exit(127);
        }
        std::vector<char*> args;
        for (const auto& a : argv) {
            args.push_back(const_cast<char*>(a.c_str()));
        }
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    struct rusage usage;
    memset(&usage, 0, sizeof usage);
    wait4(pid, &status, 0, &usage);
    auto end = std::chrono::steady_clock::now();
    result.wallSeconds = std::chrono::duration<double>(end - start).count();
    result.cpuSeconds = usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 +
                        usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
    result.maxRssKiB = usage.ru_maxrss;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

uint64_t fileSize(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

std::string selfPath() {
    char buffer[4096];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) {
        return "zip_bench";
    }
    buffer[n] = '\0';
    return buffer;
}

std::string findZip() {
    for (const char* p : {"/usr/bin/zip", "/bin/zip", "/usr/local/bin/zip"}) {
        if (access(p, X_OK) == 0) {
            return p;
        }
    }
    return "";
}

void removeTree(const std::string& path) {
    std::string command = "rm -rf -- '" + path + "'";
    if (system(command.c_str()) != 0) {
        fprintf(stderr, "could not remove %s\n", path.c_str());
    }
}

int folderBenchmark(const std::string& workDir, uint64_t sizeMB, int rounds) {
    std::string zipProgram = findZip();
    if (zipProgram.empty()) {
        fprintf(stderr, "Info-ZIP zip not found (scripts/setup installs it)\n");
        return 2;
    }
    makeDir(workDir);
    std::string staging = workDir + "/osp_bench";
    removeTree(staging);
    uint64_t bytes = generateStaging(staging, sizeMB << 20);
    printf("staging folder: %s, %.1f MB in generated files\n", staging.c_str(), bytes / 1048576.0);

    std::string ours = workDir + "/zipbuilder.zip";
    std::string theirs = workDir + "/infozip.zip";
    std::vector<double> oursTimes, theirsTimes, oursCpu, theirsCpu;
    // One warm-up of each, so that both read from the page cache, then alternate.
    for (int round = -1; round < rounds; ++round) {
        unlink(ours.c_str());
        unlink(theirs.c_str());
        RunResult a = runChild({selfPath(), "zip-folder", ours, staging}, "");
        RunResult b = runChild({zipProgram, "-r", "-q", theirs, "."}, staging);
        if (a.status != 0 || b.status != 0) {
            fprintf(stderr, "a run failed (ZipBuilder %d, zip %d)\n", a.status, b.status);
            return 1;
        }
        if (round >= 0) {
            oursTimes.push_back(a.wallSeconds);
            theirsTimes.push_back(b.wallSeconds);
            oursCpu.push_back(a.cpuSeconds);
            theirsCpu.push_back(b.cpuSeconds);
            printf("round %d: ZipBuilder %.3f s, zip %.3f s\n", round + 1, a.wallSeconds,
                   b.wallSeconds);
        }
    }
    uint64_t oursSize = fileSize(ours);
    uint64_t theirsSize = fileSize(theirs);
    double tOurs = median(oursTimes);
    double tTheirs = median(theirsTimes);
    printf("\n| | ZipBuilder | zip -r -q | ratio |\n|---|---|---|---|\n");
    printf("| time (median of %d, wall) | %.3f s | %.3f s | %.3f |\n", rounds, tOurs, tTheirs,
           tOurs / tTheirs);
    printf("| CPU time (median) | %.3f s | %.3f s | %.3f |\n", median(oursCpu), median(theirsCpu),
           median(oursCpu) / median(theirsCpu));
    printf("| archive size | %" PRIu64 " B | %" PRIu64 " B | %.4f |\n", oursSize, theirsSize,
           static_cast<double>(oursSize) / static_cast<double>(theirsSize));
    printf("\ninput: %" PRIu64 " bytes\n", bytes);
    removeTree(staging);
    unlink(ours.c_str());
    unlink(theirs.c_str());
    return 0;
}

int memoryBenchmark(const std::string& workDir, uint64_t sizeGiB) {
    makeDir(workDir);
    std::string staging = workDir + "/osp_memory";
    removeTree(staging);
    makeDir(staging);
    makeDir(staging + "/system");
    std::string big = staging + "/system/large.bin";
    int fd = open(big.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(sizeGiB << 30)) != 0) {
        perror(big.c_str());
        return 2;
    }
    {
        // Some real data too (a quarter of the file), so that deflate does not see zeros only.
        // Freed before the child is forked: the child's peak RSS counts what it inherits.
        Rng rng(7);
        std::string chunk = binaryData(rng, 64u << 20);
        for (uint64_t offset = 0; offset + chunk.size() <= (sizeGiB << 30); offset += 256u << 20) {
            if (pwrite(fd, chunk.data(), chunk.size(), static_cast<off_t>(offset)) !=
                static_cast<ssize_t>(chunk.size())) {
                perror("pwrite");
                return 2;
            }
        }
    }
    close(fd);
    std::string archive = workDir + "/memory.zip";
    RunResult r = runChild({selfPath(), "zip-folder", archive, staging}, "");
    printf("zipping one file of %" PRIu64 " GiB: %.1f s, peak RSS %ld KiB (%.1f MB), exit %d\n",
           sizeGiB, r.wallSeconds, r.maxRssKiB, r.maxRssKiB / 1024.0, r.status);
    printf("archive: %" PRIu64 " bytes\n", fileSize(archive));
    removeTree(staging);
    unlink(archive.c_str());
    return r.status == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 4 && strcmp(argv[1], "zip-folder") == 0) {
        ZipBuilder builder(argv[2], false, argc >= 5 ? atoi(argv[4]) : 0);
        int added = builder.addFolderToZip(argv[3], true, argv[3]);
        builder.closeFile();
        return added == 1 && builder.ok() ? 0 : 1;
    }
    if (argc >= 3 && strcmp(argv[1], "folder") == 0) {
        return folderBenchmark(argv[2], optionValue(argc, argv, "--size-mb", 200),
                               static_cast<int>(optionValue(argc, argv, "--rounds", 5)));
    }
    if (argc >= 3 && strcmp(argv[1], "generate") == 0) {
        uint64_t bytes = generateStaging(argv[2], optionValue(argc, argv, "--size-mb", 200) << 20);
        printf("%s: %" PRIu64 " bytes\n", argv[2], bytes);
        return 0;
    }
    if (argc >= 3 && strcmp(argv[1], "memory") == 0) {
        return memoryBenchmark(argv[2], optionValue(argc, argv, "--size-gib", 2));
    }
    fprintf(stderr,
            "usage: zip_bench folder WORKDIR [--size-mb N] [--rounds N]\n"
            "       zip_bench memory WORKDIR [--size-gib N]\n"
            "       zip_bench generate FOLDER [--size-mb N]\n"
            "       zip_bench zip-folder ARCHIVE FOLDER\n");
    return 2;
}
