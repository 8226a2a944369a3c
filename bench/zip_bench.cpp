// Benchmarks of ZipBuilder and of the staging copy, side by side with their peers on the same data.
//
//   zip_bench folder WORKDIR [--size-mb N] [--rounds N]
//       Generates (deterministically) a staging folder of about N MB (default 200) of logs, text
//       and binary files in WORKDIR, then zips it alternately with ZipBuilder on one thread and on
//       all threads, with Info-ZIP's `zip -r -q` and with `tar cf - . | pigz` (each in a child
//       process, the order turning every round) and prints the median times, sizes and ratios.
//   zip_bench large WORKDIR [--size-gib N] [--rounds N]
//       The same for one sparse file of N GiB (default 2, a quarter of it real data), with
//       `pigz -c FILE` as the parallel peer, and each child's peak resident set size.
//   zip_bench copy WORKDIR [--size-gib N] [--rounds N]
//       Copies that file alternately with the staging copy (SupportPackage::copyFile) and `cp`.
//   zip_bench generate FOLDER [--size-mb N]    (only generates the staging folder, and keeps it)
//   zip_bench large-file FILE [--size-gib N]   (only makes the large file)
//   zip_bench zip-folder ARCHIVE FOLDER [THREADS]  (child mode: ZipBuilder over FOLDER)
//   zip_bench copy-file SOURCE DESTINATION     (child mode: the staging copy)
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

#include "SupportPackage.h"
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

// Runs argv in workDir (when given); CPU time and peak RSS include the descendants it waited for.
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

std::string findProgram(const char* name) {
    for (const char* folder : {"/usr/bin/", "/bin/", "/usr/local/bin/"}) {
        std::string path = std::string(folder) + name;
        if (access(path.c_str(), X_OK) == 0) {
            return path;
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

int processorCount() {
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<int>(n) : 1;
}

// One program of a comparison: how it is run, what it writes, and its runs.
struct Contender {
    Contender(const std::string& n, const std::vector<std::string>& a, const std::string& dir,
              const std::string& out)
        : name(n), argv(a), workDir(dir), output(out) {}
    std::string name;
    std::vector<std::string> argv;
    std::string workDir;
    std::string output;  // removed before each run; its size is reported
    std::vector<RunResult> runs;
    uint64_t size = 0;
};

// One warm-up run of each (so that all read from the page cache), then rounds in which every
// contender runs once, the order turning by one each round so that all see the same load.
bool alternate(std::vector<Contender>* contenders, int rounds) {
    const size_t n = contenders->size();
    for (int round = -1; round < rounds; ++round) {
        printf("%s", round < 0 ? "warm-up:" : ("round " + std::to_string(round + 1) + ":").c_str());
        for (size_t k = 0; k < n; ++k) {
            Contender& c = (*contenders)[(k + static_cast<size_t>(round + 1)) % n];
            unlink(c.output.c_str());
            RunResult r = runChild(c.argv, c.workDir);
            if (r.status != 0) {
                fprintf(stderr, "\n%s failed with status %d\n", c.name.c_str(), r.status);
                return false;
            }
            c.size = fileSize(c.output);
            if (round >= 0) {
                c.runs.push_back(r);
            }
            printf(" %s %.3f s", c.name.c_str(), r.wallSeconds);
            fflush(stdout);
        }
        printf("\n");
    }
    return true;
}

// The table: median wall and CPU time, size, peak RSS, and the ratios to the reference (index).
void report(const std::vector<Contender>& contenders, size_t reference, int rounds) {
    auto medianOf = [](const Contender& c, double RunResult::*field) {
        std::vector<double> values;
        for (const RunResult& r : c.runs) {
            values.push_back(r.*field);
        }
        return median(values);
    };
    auto rssOf = [](const Contender& c) {
        long most = 0;
        for (const RunResult& r : c.runs) {
            most = std::max(most, r.maxRssKiB);
        }
        return most;
    };
    const Contender& ref = contenders[reference];
    double refWall = medianOf(ref, &RunResult::wallSeconds);
    double refCpu = medianOf(ref, &RunResult::cpuSeconds);
    printf(
        "\n| | wall (median of %d) | CPU (median) | size | peak RSS | wall / %s | CPU / %s |"
        " size / %s |\n|---|---|---|---|---|---|---|---|\n",
        rounds, ref.name.c_str(), ref.name.c_str(), ref.name.c_str());
    for (const Contender& c : contenders) {
        double wall = medianOf(c, &RunResult::wallSeconds);
        double cpu = medianOf(c, &RunResult::cpuSeconds);
        printf("| %s | %.3f s | %.3f s | %" PRIu64 " B | %ld KiB | %.3f | %.3f | %.4f |\n",
               c.name.c_str(), wall, cpu, c.size, rssOf(c), wall / refWall, cpu / refCpu,
               static_cast<double>(c.size) / static_cast<double>(ref.size));
    }
}

// The ZipBuilder runs (one thread, all threads) and Info-ZIP's zip over folder, into workDir.
std::vector<Contender> zipContenders(const std::string& workDir, const std::string& folder) {
    const std::string threads = std::to_string(processorCount());
    return {
        {"ZipBuilder 1 thread",
         {selfPath(), "zip-folder", workDir + "/zb1.zip", folder, "1"},
         "",
         workDir + "/zb1.zip"},
        {"ZipBuilder " + threads + " threads",
         {selfPath(), "zip-folder", workDir + "/zbn.zip", folder, threads},
         "",
         workDir + "/zbn.zip"},
        {"zip -r -q",
         {findProgram("zip"), "-r", "-q", workDir + "/infozip.zip", "."},
         folder,
         workDir + "/infozip.zip"},
    };
}

bool havePeers() {
    for (const char* program : {"zip", "pigz", "tar", "cp"}) {
        if (findProgram(program).empty()) {
            fprintf(stderr, "%s not found (scripts/setup installs it)\n", program);
            return false;
        }
    }
    return true;
}

int folderBenchmark(const std::string& workDir, uint64_t sizeMB, int rounds) {
    if (!havePeers()) {
        return 2;
    }
    makeDir(workDir);
    std::string staging = workDir + "/osp_bench";
    removeTree(staging);
    // Data is made in a child: a child's peak RSS counts what it inherits from this process until
    // it executes its program, so this one stays small.
    if (runChild({selfPath(), "generate", staging, "--size-mb", std::to_string(sizeMB)}, "")
            .status != 0) {
        return 2;
    }
    std::vector<Contender> contenders = zipContenders(workDir, staging);
    const std::string tarball = workDir + "/pigz.tar.gz";
    contenders.push_back({"tar | pigz",
                          {"/bin/sh", "-c", "tar cf - . | pigz > '" + tarball + "'"},
                          staging,
                          tarball});
    bool ok = alternate(&contenders, rounds);
    if (ok) {
        report(contenders, 2, rounds);
    }
    removeTree(staging);
    for (const Contender& c : contenders) {
        unlink(c.output.c_str());
    }
    return ok ? 0 : 1;
}

int largeBenchmark(const std::string& workDir, uint64_t sizeGiB, int rounds, bool copy) {
    if (!havePeers()) {
        return 2;
    }
    makeDir(workDir);
    std::string staging = workDir + "/osp_large";
    removeTree(staging);
    makeDir(staging);
    makeDir(staging + "/user");
    const std::string big = staging + "/user/scene.aep";
    if (runChild({selfPath(), "large-file", big, "--size-gib", std::to_string(sizeGiB)}, "")
            .status != 0) {
        return 2;
    }
    printf("one file of %" PRIu64 " GiB (sparse, a quarter of it data): %s\n", sizeGiB,
           big.c_str());
    std::vector<Contender> contenders;
    size_t reference;
    if (copy) {
        const std::string target = workDir + "/copy.aep", peer = workDir + "/cp.aep";
        contenders = {{"copyFile", {selfPath(), "copy-file", big, target}, "", target},
                      {"cp", {findProgram("cp"), big, peer}, "", peer}};
        reference = 1;
    } else {
        contenders = zipContenders(workDir, staging);
        const std::string gz = workDir + "/pigz.gz";
        contenders.push_back(
            {"pigz -c", {"/bin/sh", "-c", "pigz -c '" + big + "' > '" + gz + "'"}, "", gz});
        reference = 2;
    }
    bool ok = alternate(&contenders, rounds);
    if (ok) {
        report(contenders, reference, rounds);
    }
    if (ok && copy) {
        std::string command = "du -k '" + contenders[0].output + "' '" + contenders[1].output +
                              "' | sed 's/^/allocated KiB: /'";
        ok = system(command.c_str()) == 0;
    }
    removeTree(staging);
    for (const Contender& c : contenders) {
        unlink(c.output.c_str());
    }
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 4 && strcmp(argv[1], "zip-folder") == 0) {
        ZipBuilder builder(argv[2], false, argc >= 5 ? atoi(argv[4]) : 0);
        int added = builder.addFolderToZip(argv[3], true, argv[3]);
        builder.closeFile();
        return added == 1 && builder.ok() ? 0 : 1;
    }
    if (argc >= 4 && strcmp(argv[1], "copy-file") == 0) {
        return SupportPackage::copyFile(argv[2], argv[3]) == 1 ? 0 : 1;
    }
    if (argc >= 3 && strcmp(argv[1], "folder") == 0) {
        return folderBenchmark(argv[2], optionValue(argc, argv, "--size-mb", 200),
                               static_cast<int>(optionValue(argc, argv, "--rounds", 5)));
    }
    if (argc >= 3 && (strcmp(argv[1], "large") == 0 || strcmp(argv[1], "copy") == 0)) {
        return largeBenchmark(argv[2], optionValue(argc, argv, "--size-gib", 2),
                              static_cast<int>(optionValue(argc, argv, "--rounds", 3)),
                              strcmp(argv[1], "copy") == 0);
    }
    if (argc >= 3 && strcmp(argv[1], "generate") == 0) {
        uint64_t bytes = generateStaging(argv[2], optionValue(argc, argv, "--size-mb", 200) << 20);
        printf("staging folder %s: %" PRIu64 " bytes (%.1f MB) in generated files\n", argv[2],
               bytes, bytes / 1048576.0);
        return 0;
    }
    if (argc >= 3 && strcmp(argv[1], "large-file") == 0) {
        return bench::makeLargeFile(argv[2], optionValue(argc, argv, "--size-gib", 2)) ? 0 : 2;
    }
    fprintf(stderr,
            "usage: zip_bench folder WORKDIR [--size-mb N] [--rounds N]\n"
            "       zip_bench large WORKDIR [--size-gib N] [--rounds N]\n"
            "       zip_bench copy WORKDIR [--size-gib N] [--rounds N]\n"
            "       zip_bench generate FOLDER [--size-mb N]\n"
            "       zip_bench zip-folder ARCHIVE FOLDER [THREADS]\n"
            "       zip_bench copy-file SOURCE DESTINATION\n");
    return 2;
}
