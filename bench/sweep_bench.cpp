// Benchmark of the per-project settings file sweep against find(1).
//
//   sweep_bench WORK [--entries N] [--rounds R]
//
// Builds a deterministic tree of about N entries under WORK/tree (folders 6 deep, 1% of the
// files bearing one of the two target names in mixed letter case, one small hidden folder per
// top-level folder whose targets must survive), warms the caches, then alternates R rounds of
//   sweep:  CprSweep::run(tree, recursive) in a fresh child process (the worker's real steps,
//           with its log "CorvixSupport.log" under WORK/home), and
//   find:   find tree -depth ( -path '*/.*/*' -o -iname T2 -delete -o -iname T1 -delete )
// restoring the deleted files after each run and checking that exactly the expected files went.
// Prints the median wall and CPU times of each, their ratios and each child's peak resident
// memory.
//
// find cannot prune while it deletes (-delete implies -depth, which disables -prune), so it
// skips the hidden folders' contents by path instead; those folders are kept small, so its extra
// work there is a few dozen entries.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "CprSweep.h"

#include "BenchData.h"
using bench::median;

namespace {

const char* const kTargets[] = {".CorvixPro2ProjectConfig.cpr", ".CorvixProProjectConfig.cpr"};
const int kDepth = 6;

struct Tree {
    std::string root;
    std::vector<std::string> targets;        // must be deleted
    std::vector<std::string> hiddenTargets;  // must survive
    long entries = 0;
};

struct Run {
    double seconds;
    double cpuSeconds;  // user + system
    long maxRssKb;
};

void die(const std::string& what) {
    perror(what.c_str());
    exit(1);
}

void makeFolder(const std::string& path, Tree& tree) {
    if (mkdir(path.c_str(), 0777) != 0) {
        die("mkdir " + path);
    }
    ++tree.entries;
}

void makeFile(const std::string& path) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0) {
        die("create " + path);
    }
    close(fd);
}

// A target name whose letters' case comes from the bits of n, so names stay distinct.
std::string targetName(long n) {
    std::string name = kTargets[n % 2];
    n /= 2;
    for (char& c : name) {
        if (isalpha(static_cast<unsigned char>(c))) {
            c = (n & 1) ? static_cast<char>(toupper(c)) : static_cast<char>(tolower(c));
            n >>= 1;
        }
    }
    return name;
}

void fillLeaf(const std::string& folder, long files, long& fileCounter, long& targetCounter,
              Tree& tree) {
    for (long i = 0; i < files; ++i, ++fileCounter) {
        if (fileCounter % 100 == 99) {
            std::string path = folder + "/" + targetName(targetCounter++);
            makeFile(path);
            tree.targets.push_back(path);
        } else {
            makeFile(folder + "/file" + std::to_string(fileCounter) + ".aep");
        }
        ++tree.entries;
    }
}

void buildLevel(const std::string& folder, int level, int branching, long filesPerLeaf,
                long& fileCounter, long& targetCounter, Tree& tree) {
    if (level == kDepth) {
        fillLeaf(folder, filesPerLeaf, fileCounter, targetCounter, tree);
        return;
    }
    for (int i = 0; i < branching; ++i) {
        std::string child = folder + "/d" + std::to_string(level) + "_" + std::to_string(i);
        makeFolder(child, tree);
        buildLevel(child, level + 1, branching, filesPerLeaf, fileCounter, targetCounter, tree);
    }
    if (level == 1) {
        std::string hidden = folder + "/.hidden";
        makeFolder(hidden, tree);
        for (int i = 0; i < 20; ++i) {
            makeFile(hidden + "/file" + std::to_string(i) + ".aep");
            ++tree.entries;
        }
        std::string path = hidden + "/" + targetName(targetCounter++);
        makeFile(path);
        tree.hiddenTargets.push_back(path);
        ++tree.entries;
    }
}

Tree buildTree(const std::string& root, long entries) {
    Tree tree;
    tree.root = root;
    int branching = std::max(2, static_cast<int>(std::lround(std::pow(entries / 100.0, 1.0 / 6))));
    long folders = 0;
    long leaves = 1;
    for (int level = 0; level < kDepth; ++level) {
        leaves *= branching;
        folders += leaves;
    }
    long filesPerLeaf = std::max(1L, (entries - folders - branching * 22L) / leaves);
    if (mkdir(root.c_str(), 0777) != 0) {
        die("mkdir " + root);
    }
    long fileCounter = 0;
    long targetCounter = 0;
    buildLevel(root, 0, branching, filesPerLeaf, fileCounter, targetCounter, tree);
    printf(
        "tree: %ld entries, %ld folders (branching %d, depth %d), %zu targets, "
        "%zu targets in hidden folders\n",
        tree.entries, folders + branching, branching, kDepth, tree.targets.size(),
        tree.hiddenTargets.size());
    return tree;
}

bool exists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

// Puts the deleted targets back; fails the benchmark unless exactly they had gone. With
// hiddenToo, the targets in hidden folders must have gone as well (find without pruning).
void restoreAndCheck(const Tree& tree, const char* who, bool hiddenToo = false) {
    size_t restored = 0;
    for (const std::string& path : tree.targets) {
        if (!exists(path)) {
            makeFile(path);
            ++restored;
        }
    }
    for (const std::string& path : tree.hiddenTargets) {
        if (hiddenToo) {
            if (exists(path)) {
                fprintf(stderr, "%s left a file in a hidden folder: %s\n", who, path.c_str());
                exit(1);
            }
            makeFile(path);
        } else if (!exists(path)) {
            fprintf(stderr, "%s deleted a file in a hidden folder: %s\n", who, path.c_str());
            exit(1);
        }
    }
    if (restored != tree.targets.size()) {
        fprintf(stderr, "%s deleted %zu of %zu targets\n", who, restored, tree.targets.size());
        exit(1);
    }
}

Run timeChild(pid_t child, std::chrono::steady_clock::time_point start) {
    int status = 0;
    struct rusage usage;
    if (wait4(child, &status, 0, &usage) != child) {
        die("wait4");
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "child failed (status %d)\n", status);
        exit(1);
    }
    double cpu = usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec +
                 usage.ru_stime.tv_usec / 1e6;
    return {seconds, cpu, usage.ru_maxrss};
}

Run runSweep(const Tree& tree) {
    auto start = std::chrono::steady_clock::now();
    pid_t child = fork();
    if (child < 0) {
        die("fork");
    }
    if (child == 0) {
        // A fresh process, so its peak memory is the sweep's own and not this one's lists.
        std::string expected = std::to_string(tree.targets.size());
        execl("/proc/self/exe", "sweep_bench", "--walk", tree.root.c_str(), expected.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    return timeChild(child, start);
}

// literal: without the clause that keeps out of hidden folders.
Run runFind(const Tree& tree, bool literal = false) {
    auto start = std::chrono::steady_clock::now();
    pid_t child = fork();
    if (child < 0) {
        die("fork");
    }
    if (child == 0 && literal) {
        execl("/usr/bin/find", "find", tree.root.c_str(), "-iname", kTargets[0], "-delete", "-o",
              "-iname", kTargets[1], "-delete", static_cast<char*>(nullptr));
        _exit(127);
    }
    if (child == 0) {
        execl("/usr/bin/find", "find", tree.root.c_str(), "-depth", "(", "-path", "*/.*/*", "-o",
              "-iname", kTargets[0], "-delete", "-o", "-iname", kTargets[1], "-delete", ")",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    return timeChild(child, start);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "--walk") == 0) {
        return CprSweep::run(argv[2], true) == atoi(argv[3]) ? 0 : 3;
    }
    if (argc < 2) {
        fprintf(stderr, "usage: sweep_bench WORK [--entries N] [--rounds R]\n");
        return 2;
    }
    std::string work = argv[1];
    long entries = 500000;
    int rounds = 5;
    for (int i = 2; i + 1 < argc; i += 2) {
        if (strcmp(argv[i], "--entries") == 0) {
            entries = atol(argv[i + 1]);
        } else if (strcmp(argv[i], "--rounds") == 0) {
            rounds = atoi(argv[i + 1]);
        }
    }
    // The sweep log goes below WORK, never into the real home folder.
    std::string home = work + "/home";
    mkdir(home.c_str(), 0777);
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);

    auto built = std::chrono::steady_clock::now();
    Tree tree = buildTree(work + "/tree", entries);
    fflush(stdout);
    printf("built in %.1f s\n",
           std::chrono::duration<double>(std::chrono::steady_clock::now() - built).count());

    // Warm the caches with one run of each, so that neither side pays for the first reading.
    runFind(tree);
    restoreAndCheck(tree, "find");
    runSweep(tree);
    restoreAndCheck(tree, "sweep");

    std::vector<double> sweepTimes, findTimes, sweepCpu, findCpu;
    long sweepRss = 0, findRss = 0;
    for (int round = 0; round < rounds; ++round) {
        for (int turn = 0; turn < 2; ++turn) {
            bool sweepTurn = (round + turn) % 2 == 0;
            Run run = sweepTurn ? runSweep(tree) : runFind(tree);
            restoreAndCheck(tree, sweepTurn ? "sweep" : "find");
            (sweepTurn ? sweepTimes : findTimes).push_back(run.seconds);
            (sweepTurn ? sweepCpu : findCpu).push_back(run.cpuSeconds);
            long& rss = sweepTurn ? sweepRss : findRss;
            rss = std::max(rss, run.maxRssKb);
            printf("round %d %-5s wall %.3f s  cpu %.3f s  %ld KiB\n", round + 1,
                   sweepTurn ? "sweep" : "find", run.seconds, run.cpuSeconds, run.maxRssKb);
        }
    }
    // For reference: find as plainly written, which also deletes inside hidden folders.
    std::vector<double> literalTimes, literalCpu;
    for (int round = 0; round < rounds; ++round) {
        Run run = runFind(tree, true);
        restoreAndCheck(tree, "find (no hidden-folder clause)", true);
        literalTimes.push_back(run.seconds);
        literalCpu.push_back(run.cpuSeconds);
    }

    double sweepMedian = median(sweepTimes);
    double findMedian = median(findTimes);
    printf("median: sweep %.3f s, find %.3f s, ratio sweep/find %.3f\n", sweepMedian, findMedian,
           sweepMedian / findMedian);
    printf("median cpu: sweep %.3f s, find %.3f s, ratio sweep/find %.3f\n", median(sweepCpu),
           median(findCpu), median(sweepCpu) / median(findCpu));
    printf("reference, find without the hidden-folder clause: median wall %.3f s, cpu %.3f s\n",
           median(literalTimes), median(literalCpu));
    printf("peak resident memory: sweep %ld KiB, find %ld KiB\n", sweepRss, findRss);
    return 0;
}
