// Threads, the thread map and the string map.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "TestEnvironment.h"
#include "VeskLog.h"
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

// Drops its runnable once started, to reach the kill path of stop().
class OrphanedThread : public Vesk_Thread {
  public:
    using Vesk_Thread::Vesk_Thread;
    void forgetRunnable() { _runnable = nullptr; }
};

class ThreadTest : public SandboxTest {
  protected:
    ProductLog _log{tmp("threads.log"), true};
};

TEST_F(ThreadTest, StartRunStopAndTheThreadList) {
    WaitingRunnable runnable;
    Vesk_Thread thread(&runnable);
    EXPECT_EQ(thread.isRunning(), 0);  // never started
    EXPECT_NE(thread.kill(), 0);       // and cannot be killed

    thread.start();
    runnable.waitUntilStarted();
    EXPECT_EQ(thread.isRunning(), 1);

    displayRunningThreads();
    std::string listed = "ThreadId=[" + std::to_string(runnable._tid) + "]";
    EXPECT_TRUE(_log.has("WARNING\tThread still running: Handle=[")) << _log.text();
    EXPECT_TRUE(_log.has(listed));

    thread.stop();
    EXPECT_TRUE(runnable._stopRequested);
    EXPECT_EQ(thread.isRunning(), 0);
    EXPECT_TRUE(_log.has("DEV\tvesk_threadMain:Exiting the thread[waiter]\n"));

    // Once joined the thread is gone from the list.
    truncate(tmp("threads.log").c_str(), 0);
    displayRunningThreads();
    EXPECT_FALSE(_log.has(listed));
    EXPECT_TRUE(_log.has("Start Running Threads List:\n"));
}

TEST_F(ThreadTest, StopWithoutRunnableWarnsAndInterruptsTheThread) {
    WaitingRunnable runnable;
    OrphanedThread thread(&runnable);
    thread.start();
    runnable.waitUntilStarted();
    thread.forgetRunnable();

    thread.stop();
    EXPECT_EQ(thread.isRunning(), 0);
    thread.waitForCompletion();  // returns only because the signal ended the thread
    EXPECT_FALSE(runnable._stopRequested);
    EXPECT_TRUE(
        _log.has("Warning: Vesk_Thread::stop() - Runnable object is not valid. Killing thread.\n"));
    EXPECT_TRUE(_log.has("Vesk_Thread received a kill request.\n"));
    EXPECT_FALSE(_log.has("Exiting the thread[waiter]"));
}

TEST(VeskStringMap, PutKeepsPlaceGetCopiesAndUnknownKeysAreNull) {
    VeskStringMap map;
    EXPECT_EQ(map.get("a"), nullptr);
    map.put("a", "1");
    map.put("b", "2");
    map.put("c", "3");
    char value[] = "new";
    map.put("a", value);
    value[0] = 'X';  // the map holds its own copy
    EXPECT_STREQ(map.get("a"), "new");
    EXPECT_EQ(map.get("A"), nullptr);  // keys are case-sensitive
    EXPECT_EQ(map.get("d"), nullptr);

    std::string order;
    map.lockMap();
    for (VeskStringMapEntry* e = map.getHead(); e; e = e->_next) {
        order += std::string(e->_key) + "=" + e->_value + ";";
    }
    map.unlockMap();
    EXPECT_EQ(order, "a=new;b=2;c=3;");
}

TEST(VeskStringMap, ConcurrentPutsLoseNothing) {
    VeskStringMap map;
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
    int count = 0;
    map.lockMap();
    for (VeskStringMapEntry* e = map.getHead(); e; e = e->_next) {
        EXPECT_STREQ(e->_key, e->_value);
        ++count;
    }
    map.unlockMap();
    EXPECT_EQ(count, 2000);
}

}  // namespace
