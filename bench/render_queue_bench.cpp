// Benchmark of the render queue store ("RQ.txt").
//
//   render_queue_bench WORK [--items N] [--rounds R]
//
// For queues of N/10, N/2 and N items (default N = 10000), each item with 20 entries (15 strings,
// 5 ints) and 2 output modules of 4 entries, written deterministically below the machine root
// WORK/root, it measures in a fresh child process per round:
//   load:    StartTransaction (read and parse the whole file),
//   commit:  Commit (write the shadow and copy it over "RQ.txt"),
//   peak:    the child's peak resident memory after both, and that of a child that only builds
//            an empty queue (the baseline the queue's own memory is measured against),
// and, in the same children, the cost of one call of each list operation on the loaded queue:
//   dup:     AddNewRenderQueueItem(item, "job") of a new item (the duplicate check; each queued
//            item differs from it in its first entry, as real jobs do),
//   add:     AddNewRenderQueueItem(item) without the check,
//   find:    GetSpecificRenderQueueItemInList of the last id, and
//   move:    MoveRenderQueueItem of the last item to the front;
// and, in a child of its own, the duplicate check's worst case ("worst"): a queue in memory whose
// items all equal the new one but for their last entry, so that every item is walked to the end.
// Prints medians over R rounds (default 5) and the cost per item, so growth with size shows.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Quaden_PISSRenderQueue.h"
#include "VeskPlatform.h"

#include "BenchData.h"
using bench::median;

namespace {

const int kStringEntries = 15;
const int kIntEntries = 5;
const int kModules = 2;
const int kModuleEntries = 4;

struct Figures {
    double load, commit, dup, dupWorst, add, find, move;  // seconds
    long peakKb;
};

enum Mode { kBaseline, kWrite, kMeasure, kWorstCase };

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// alike: every entry but the last ("Serial") is the same for all items, the duplicate check's
// worst case.
QuadenPISSRenderQueueItem* makeItem(bench::Rng& rng, int serial, bool alike = false) {
    auto* item = new QuadenPISSRenderQueueItem();
    for (int e = 0; e < kStringEntries; ++e) {
        std::string value = "/Volumes/Projects/Show " + std::to_string(alike ? 1 : rng.below(100)) +
                            "/Comp " + std::to_string(alike ? 0 : serial) + " part " +
                            std::to_string(e);
        item->Add("job", ("Text" + std::to_string(e)).c_str(), value.c_str());
    }
    for (int e = 0; e < kIntEntries - 1; ++e) {
        item->Add("job", ("Number" + std::to_string(e)).c_str(),
                  alike ? e : static_cast<int>(rng.below(1000)));
    }
    item->Add("job", "Serial", serial);  // last: what tells items apart
    for (int m = 0; m < kModules; ++m) {
        auto* module = new QuadenPISSRenderQueueItemOutputModule();
        for (int e = 0; e < kModuleEntries; ++e) {
            std::string value = "/Renders/comp_" + std::to_string(serial) + "_" +
                                std::to_string(m) + "_" + std::to_string(e) + ".mov";
            module->Add("om", ("Out" + std::to_string(e)).c_str(), value.c_str());
        }
        item->AddNewOutputModule(module);
    }
    return item;
}

// Writes a queue of items items through the store itself.
void writeQueue(int items) {
    bench::Rng rng(7);
    QuadenPISSRenderQueue queue;
    queue.StartTransaction();
    queue.DeleteAllRenderQueueItems();
    for (int i = 0; i < items; ++i) {
        queue.AddNewRenderQueueItem(makeItem(rng, i));
    }
    if (!queue.Commit()) {
        fprintf(stderr, "cannot write the queue\n");
        exit(1);
    }
}

// Runs one mode in a fresh child process, so that the figures and the peak memory are its own;
// returns what it wrote to the pipe and its peak memory.
Figures inChild(int items, Mode mode) {
    int fds[2];
    if (pipe(fds) != 0) {
        perror("pipe");
        exit(1);
    }
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        Figures f{};
        QuadenPISSRenderQueue queue;
        if (mode == kWrite) {
            writeQueue(items);
        } else if (mode == kWorstCase) {
            bench::Rng rng(5);
            for (int i = 0; i < items; ++i) {
                queue.AddNewRenderQueueItem(makeItem(rng, i, true));
            }
            QuadenPISSRenderQueueItem* item = makeItem(rng, items, true);
            double t = now();
            int added = queue.AddNewRenderQueueItem(item, "job");
            f.dupWorst = now() - t;
            if (!added) {
                _exit(3);
            }
        } else if (mode == kMeasure) {
            double t = now();
            if (!queue.StartTransaction() || queue.NumberOfRenderQueueItemsInList() != items) {
                _exit(2);
            }
            f.load = now() - t;
            bench::Rng rng(99);
            QuadenPISSRenderQueueItem* item = makeItem(rng, items + 1);
            t = now();
            int added = queue.AddNewRenderQueueItem(item, "job");
            f.dup = now() - t;
            if (!added) {
                _exit(3);
            }
            QuadenPISSRenderQueueItem* plain = makeItem(rng, items + 2);
            t = now();
            queue.AddNewRenderQueueItem(plain);
            f.add = now() - t;
            t = now();
            volatile bool found = queue.GetSpecificRenderQueueItemInList(items) != nullptr;
            f.find = now() - t;
            (void)found;
            t = now();
            queue.MoveRenderQueueItem(items + 2, 1);
            f.move = now() - t;
            queue.DeleteRenderQueueItemAtIndex(0);  // back to the file's items
            queue.DeleteRenderQueueItem(items + 1);
            t = now();
            if (!queue.Commit()) {
                _exit(4);
            }
            f.commit = now() - t;
        }
        if (write(fds[1], &f, sizeof f) != static_cast<ssize_t>(sizeof f)) {
            _exit(5);
        }
        _exit(0);
    }
    close(fds[1]);
    Figures f{};
    ssize_t got = read(fds[0], &f, sizeof f);
    close(fds[0]);
    int status = 0;
    struct rusage usage;
    wait4(pid, &status, 0, &usage);
    if (got != static_cast<ssize_t>(sizeof f) || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "measuring child failed (status %d)\n", status);
        exit(1);
    }
    f.peakKb = usage.ru_maxrss;
    return f;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: render_queue_bench WORK [--items N] [--rounds R]\n");
        return 2;
    }
    const std::string work = argv[1];
    const int largest = static_cast<int>(bench::optionValue(argc, argv, "--items", 10000));
    const int rounds = static_cast<int>(bench::optionValue(argc, argv, "--rounds", 5));
    vesk_setMachineRoot(work + "/root");
    std::string queuePath;
    {
        QuadenPISSRenderQueue probe;
        queuePath = probe.getRenderQueueFilePath();
    }
    printf("%7s %8s %8s %10s %16s %8s %13s %8s %8s %8s %8s %14s\n", "items", "file MB", "load ms",
           "commit ms", "load+commit", "dup ms", "dup ns/item", "worst ms", "add us", "find us",
           "move us", "peak MB (+q)");
    for (int items : {largest / 10, largest / 2, largest}) {
        inChild(items, kWrite);
        FILE* file = fopen(queuePath.c_str(), "rb");
        fseek(file, 0, SEEK_END);
        double megabytes = static_cast<double>(ftell(file)) / (1 << 20);
        fclose(file);
        std::vector<double> load, commit, dup, worst, add, find, move;
        long peak = 0;
        long baseline = inChild(items, kBaseline).peakKb;
        for (int r = 0; r < rounds; ++r) {
            Figures f = inChild(items, kMeasure);
            load.push_back(f.load);
            commit.push_back(f.commit);
            dup.push_back(f.dup);
            add.push_back(f.add);
            find.push_back(f.find);
            move.push_back(f.move);
            peak = std::max(peak, f.peakKb);
            worst.push_back(inChild(items, kWorstCase).dupWorst);
        }
        double l = median(load) * 1e3;
        double c = median(commit) * 1e3;
        printf(
            "%7d %8.1f %8.1f %10.1f %8.2f us/item %8.3f %13.1f %8.2f %8.2f %8.1f %8.1f %6.1f "
            "(+%.1f)\n",
            items, megabytes, l, c, (l + c) * 1e3 / items, median(dup) * 1e3,
            median(dup) * 1e9 / items, median(worst) * 1e3, median(add) * 1e6, median(find) * 1e6,
            median(move) * 1e6, peak / 1024.0, (peak - baseline) / 1024.0);
    }
    return 0;
}
