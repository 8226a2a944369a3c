// Threads and the string map.
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "TestEnvironment.h"
#include "VeskStringMap.h"
#include "Vesk_Thread.h"

using namespace corvix_test;

namespace {

// Runs until asked to stop; records that it ran and on which kernel thread.
class WaitingRunnable : public Vesk_Runnable {
  public:
    void run() override {
        _tid = gettid();
        _started = true;
        while (!_stopRequested) {
            usleep(1000);
        }
    }
    void stop() override { _stopRequested = true; }
    const char* name() override { return "waiter"; }

    void waitUntilStarted() {
        while (!_started) {
            usleep(1000);
        }
    }

    std::atomic<bool> _started{false};
    std::atomic<bool> _stopRequested{false};
    std::atomic<int> _tid{0};
};

class ThreadTest : public SandboxTest {
  protected:
    ProductLog _log{tmp("threads.log"), true};
};

TEST_F(ThreadTest, StartRunAndStop) {
    WaitingRunnable runnable;
    Vesk_Thread thread(&runnable);
    EXPECT_EQ(thread.isRunning(), 0);  // never started
    EXPECT_NE(thread.kill(), 0);       // and cannot be killed

    thread.start();
    runnable.waitUntilStarted();
    EXPECT_EQ(thread.isRunning(), 1);
    EXPECT_NE(runnable._tid, gettid());
    thread.stop();
    EXPECT_TRUE(runnable._stopRequested);
    EXPECT_EQ(thread.isRunning(), 0);
    EXPECT_TRUE(_log.has("DEV\tvesk_threadMain:Exiting the thread[waiter]\n"));
}

// Puts from several threads lose nothing; a put of a known key replaces its value in place, with
// a copy; keys are case-sensitive.
TEST(VeskStringMap, PutsKeepPlaceCopyAndLoseNothingUnderThreads) {
    VeskStringMap map;
    map.put("a", "first");
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([&map, t] {
            for (int i = 0; i < 500; ++i) {
                std::string key = std::to_string(t) + ":" + std::to_string(i);
                map.put(key.c_str(), key.c_str());
            }
        });
    }
    for (auto& w : writers) {
        w.join();
    }
    char value[] = "new";
    map.put("a", value);
    value[0] = 'X';
    EXPECT_STREQ(map.get("a"), "new");
    EXPECT_EQ(map.get("A"), nullptr);
    int count = 0;
    map.lockMap();
    EXPECT_STREQ(map.getHead()->_key, "a");
    for (VeskStringMapEntry* e = map.getHead()->_next; e; e = e->_next) {
        EXPECT_STREQ(e->_key, e->_value);
        ++count;
    }
    map.unlockMap();
    EXPECT_EQ(count, 2000);
}

}  // namespace
