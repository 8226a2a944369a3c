#include "Vesk_Thread.h"

#include <signal.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "VeskLog.h"
#include "VeskPlatform.h"

namespace {

// The process-wide thread map: handle -> kernel thread id. Handles are pthread_t values cut to
// int, which is what the listing prints.
struct ThreadMap {
    std::mutex mutex;
    std::map<int, int> threads;
};

ThreadMap& threadMap() {
    static ThreadMap* map = new ThreadMap;  // never destroyed: threads may end during exit
    return *map;
}

int handleNumber(pthread_t handle) {
    return static_cast<int>(static_cast<uintptr_t>(handle));
}

// Records the calling thread while it lives. A thread_local object is destroyed on every way out
// of the thread, pthread_exit from the signal handler included.
struct ThreadRecord {
    int handle = 0;
    bool recorded = false;

    void enter() {
        handle = handleNumber(pthread_self());
        std::lock_guard<std::mutex> lock(threadMap().mutex);
        threadMap().threads[handle] = vesk_currentThreadNumber();
        recorded = true;
    }
    ~ThreadRecord() {
        if (recorded) {
            std::lock_guard<std::mutex> lock(threadMap().mutex);
            threadMap().threads.erase(handle);
        }
    }
};

thread_local ThreadRecord t_record;

}  // namespace

Vesk_Thread::Vesk_Thread(Vesk_Runnable* runnable)
    : _handle(0), _runnable(runnable), _running(0), _reserved(0) {}

Vesk_Thread::~Vesk_Thread() {
    _handle = 0;
    _runnable = nullptr;
}

void Vesk_Thread::start() {
    vesk_logDev("Vesk_Thread::start - calling pthread_createX()");
    if (pthread_create(&_handle, nullptr, vesk_threadMain, _runnable) != 0) {
        _handle = 0;
        vesk_logDev("Vesk_Thread::pthread_createX() failed.");
    }
    vesk_logDev("Vesk_Thread::pthread_createX() success.");
    _running = 1;
}

int Vesk_Thread::kill() {
    int result = _handle ? pthread_kill(_handle, SIGINT) : ESRCH;
    _running = 0;
    return result;
}

void Vesk_Thread::stop() {
    if (_runnable) {
        _runnable->stop();
        waitForCompletion();
    } else {
        vesk_log("Warning: Vesk_Thread::stop() - Runnable object is not valid. Killing thread.");
        kill();
    }
    _running = 0;
}

void Vesk_Thread::waitForCompletion() {
    if (_handle) {
        pthread_join(_handle, nullptr);
    }
}

int Vesk_Thread::isRunning() {
    if (!_running) {
        return 0;
    }
    if (_handle) {
        return 1;
    }
    _running = 0;
    return 0;
}

void* vesk_threadMain(void* runnable) {
    signal(SIGINT, Vesk_Thread_SignalHandler);
    t_record.enter();

    Vesk_Runnable* r = static_cast<Vesk_Runnable*>(runnable);
    char name[128];
    memset(name, 0, sizeof name);
    strncpy(name, r->name(), sizeof name - 1);

    vesk_logDev("vesk_threadMain:Starting thread[%s]", name);
    r->run();
    vesk_logDev("vesk_threadMain:Exiting the thread[%s]", name);
    pthread_exit(nullptr);
}

void Vesk_Thread_SignalHandler(int sig) {
    if (sig == SIGINT) {
        vesk_log("Vesk_Thread received a kill request.");
        pthread_exit(reinterpret_cast<void*>(1));
    }
    vesk_log("Vesk_Thread received an unknown signal.");
    signal(SIGINT, Vesk_Thread_SignalHandler);
}

void displayRunningThreads() {
    std::vector<std::pair<int, int>> running;
    {
        std::lock_guard<std::mutex> lock(threadMap().mutex);
        running.assign(threadMap().threads.begin(), threadMap().threads.end());
    }
    vesk_log("Start Running Threads List:");
    for (const auto& [handle, id] : running) {
        if (id != 0) {
            vesk_logWarning("Thread still running: Handle=[%d] ThreadId=[%d]", handle, id);
        }
    }
    vesk_log("End Running Threads List");
}
