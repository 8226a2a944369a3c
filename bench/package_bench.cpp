// Helper of bench/run-package-bench: makes the benchmark's machine root and measures one run.
//
//   package_bench generate SANDBOX [--size-mb N]
//       Generates (deterministically, fixed seed) about N MB (default 50) of product files and
//       logs below SANDBOX: the machine root SANDBOX/root with both product folders (Config.txt,
//       FrameCache.cpr, RenderQueue/), and the home folder SANDBOX/home with the per-user log
//       folder .config/Orvanta/Corvix/ and a few host preferences files. Prints what it made.
//   package_bench attachment FILE [--size-gib N]
//       Makes one sparse file of N GiB (default 2), a quarter of it real binary data.
//   package_bench measure RESULT PROGRAM [ARG...]
//       Runs PROGRAM (standard streams inherited) and writes one line into RESULT:
//       "<wall seconds> <CPU seconds> <peak RSS KiB> <exit status>". CPU time is user + system
//       of the child and of every descendant it reaped; the peak RSS is the largest of them.
//       Exits with the child's status.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchData.h"
using bench::binaryData;
using bench::optionValue;
using bench::Rng;

namespace {

const char* const kWords[] = {
    "render", "frame",   "cache",   "queue",    "layer",  "composition", "effect", "project",
    "thread", "worker",  "memory",  "buffer",   "pixel",  "timeline",    "export", "preview",
    "node",   "license", "plugin",  "settings", "failed", "started",     "done",   "waiting",
    "opened", "closed",  "written", "bytes",    "ms",     "seconds",     "host",   "socket"};
const unsigned kWordCount = sizeof kWords / sizeof kWords[0];
const char* const kLevels[] = {"", "", "", "DEV\t", "WARNING\t", "ERROR\t"};

// Lines shaped like the product log's: a time stamp, a thread number, an optional tag, words.
std::string logText(Rng& rng, size_t size) {
    std::string out;
    out.reserve(size + 256);
    unsigned sec = 0;
    char line[256];
    while (out.size() < size) {
        sec += rng.below(3);
        int n = snprintf(line, sizeof line, "<Sun Nov 15 %02u:%02u:%02u 2026>\t%u\t%s",
                         8 + sec / 3600 % 12, sec / 60 % 60, sec % 60, 4000 + rng.below(24),
                         kLevels[rng.below(6)]);
        out.append(line, static_cast<size_t>(n));
        for (unsigned i = 0, words = 3 + rng.below(9); i < words; ++i) {
            out += kWords[rng.below(kWordCount)];
            out += ' ';
        }
        n = snprintf(line, sizeof line, "frame=%u id=%" PRIu64 "\n", rng.below(100000),
                     rng.next() % 1000000);
        out.append(line, static_cast<size_t>(n));
    }
    out.resize(size);
    return out;
}

// Render queue items: small XML records.
std::string queueText(Rng& rng, size_t size) {
    std::string out;
    out.reserve(size + 512);
    char record[512];
    for (unsigned id = 1; out.size() < size; ++id) {
        unsigned start = rng.below(5000);
        int n = snprintf(record, sizeof record,
                         "<item id=\"%u\">\n\t<comp>%s %s %u</comp>\n\t<frames start=\"%u\" "
                         "end=\"%u\" />\n\t<node>host-%02u</node>\n\t<status>%s</status>\n"
                         "</item>\n",
                         id, kWords[rng.below(kWordCount)], kWords[rng.below(kWordCount)],
                         rng.below(100), start, start + rng.below(2000), rng.below(32),
                         kWords[20 + rng.below(4)]);
        out.append(record, static_cast<size_t>(n));
    }
    out.resize(size);
    return out;
}

void makeDirs(const std::string& path) {
    for (size_t slash = 1; slash != std::string::npos;) {
        slash = path.find('/', slash + 1);
        std::string part = path.substr(0, slash);
        if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
            perror(part.c_str());
            exit(2);
        }
    }
}

struct Generated {
    int files = 0;
    uint64_t bytes = 0;
    void add(const std::string& path, const std::string& data) {
        makeDirs(path.substr(0, path.rfind('/')));
        FILE* f = fopen(path.c_str(), "wb");
        if (!f || fwrite(data.data(), 1, data.size(), f) != data.size() || fclose(f) != 0) {
            perror(path.c_str());
            exit(2);
        }
        ++files;
        bytes += data.size();
    }
};

int generate(const std::string& sandbox, uint64_t total) {
    Rng rng(2026);
    Generated out;
    const std::string products = sandbox + "/root/Library/Application Support/Orvanta Software";
    const std::string home = sandbox + "/home";
    const std::string logs = home + "/.config/Orvanta/Corvix";
    const std::string adobe = home + "/Library/Preferences/Adobe";

    // Half of the bytes are logs: the current product log, its ring of ten rolled archives, the
    // first generation's log and the support tool's own.
    const uint64_t logBytes = total / 2;
    for (int i = 0; i < 10; ++i) {
        out.add(logs + "/CorvixPro2.log." + std::to_string(i) + ".txt",
                logText(rng, logBytes * 8 / 100));
    }
    out.add(logs + "/CorvixPro2.log", logText(rng, logBytes * 15 / 100));
    out.add(logs + "/CorvixPro.log", logText(rng, logBytes * 4 / 100));
    out.add(logs + "/CorvixSupport.log", logText(rng, logBytes / 100));

    // The rest: frame cache registries (binary), render queues (XML text) and settings.
    for (int generation = 1; generation <= 2; ++generation) {
        const std::string folder = products + (generation == 1 ? "/CorvixPro" : "/CorvixPro2");
        const uint64_t share = generation == 1 ? total / 6 : total * 2 / 6;
        out.add(folder + "/FrameCache.cpr", binaryData(rng, share * 55 / 100));
        std::string config = "#\n# Orvanta Software Corvix Pro Configuration.\n#\n";
        for (unsigned i = 0; i < 60; ++i) {
            config += std::string(kWords[rng.below(kWordCount)]) + "_" + std::to_string(i) + "=" +
                      std::to_string(rng.below(10000)) + "\n";
        }
        out.add(folder + "/Config.txt", config);
        // Distinct names: both generations' queues end up side by side in one package folder.
        const std::string prefix = generation == 1 ? "/RenderQueue/V1-" : "/RenderQueue/";
        out.add(folder + prefix + "RQ.txt", queueText(rng, share * 10 / 100));
        out.add(folder + prefix + "ShadowRQ.txt", queueText(rng, share * 5 / 100));
        out.add(folder + prefix + "RQ-History.txt", queueText(rng, share * 20 / 100));
        for (int job = 1; job <= 24; ++job) {
            char name[64];
            snprintf(name, sizeof name, "%sJob-%04d.xml", prefix.c_str(), job);
            out.add(folder + name, queueText(rng, share * 10 / 100 / 24));
        }
    }
    // Host preferences of three application versions (rows AE_65, AE7, AE8).
    out.add(adobe + "/After Effects 6.5 Prefs", queueText(rng, 40000));
    out.add(adobe + "/After Effects/7.0/Adobe After Effects 7.0 Prefs", queueText(rng, 60000));
    out.add(adobe + "/After Effects/8.0/Adobe After Effects 8.0 Prefs", queueText(rng, 80000));

    printf("machine root %s/root, home %s: %d files, %" PRIu64 " bytes (%.1f MB)\n",
           sandbox.c_str(), home.c_str(), out.files, out.bytes, out.bytes / 1048576.0);
    return 0;
}

int measure(const std::string& resultPath, char** argv) {
    auto start = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid < 0) {
        perror("fork");
        return 2;
    }
    if (pid == 0) {
        execvp(argv[0], argv);
        perror(argv[0]);
        _exit(127);
    }
    int status = 0;
    struct rusage usage;
    memset(&usage, 0, sizeof usage);
    while (wait4(pid, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            perror("wait4");
            return 2;
        }
    }
    double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double cpu = usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec +
                 usage.ru_stime.tv_usec / 1e6;
    int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    FILE* result = fopen(resultPath.c_str(), "w");
    if (!result) {
        perror(resultPath.c_str());
        return 2;
    }
    fprintf(result, "%.3f %.3f %ld %d\n", wall, cpu, usage.ru_maxrss, code);
    return fclose(result) == 0 ? code : 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && strcmp(argv[1], "generate") == 0) {
        return generate(argv[2], optionValue(argc, argv, "--size-mb", 50) << 20);
    }
    if (argc >= 3 && strcmp(argv[1], "attachment") == 0) {
        return bench::makeLargeFile(argv[2], optionValue(argc, argv, "--size-gib", 2)) ? 0 : 2;
    }
    if (argc >= 4 && strcmp(argv[1], "measure") == 0) {
        return measure(argv[2], argv + 3);
    }
    fprintf(stderr,
            "usage: package_bench generate SANDBOX [--size-mb N]\n"
            "       package_bench attachment FILE [--size-gib N]\n"
            "       package_bench measure RESULT PROGRAM [ARG...]\n");
    return 2;
}
