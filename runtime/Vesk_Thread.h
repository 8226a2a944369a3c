// Vesk_Runnable and Vesk_Thread: the runtime library's thread over POSIX threads.
//
// A Vesk_Thread runs one Vesk_Runnable (not owned) on a joinable thread whose entry routine is
// vesk_threadMain. One controlling thread starts, stops and joins a Vesk_Thread; the class itself
// is not thread-safe. kill() ends the target by SIGINT: vesk_threadMain installs
// Vesk_Thread_SignalHandler, which leaves the interrupted thread with pthread_exit.
//
// Every thread started here is recorded in the process-wide thread map while it runs, so that
// displayRunningThreads() can list what is still alive at shutdown.
#ifndef CORVIX_RUNTIME_VESK_THREAD_H
#define CORVIX_RUNTIME_VESK_THREAD_H

#include <pthread.h>

class Vesk_Runnable {
  public:
    virtual ~Vesk_Runnable() {}
    // The thread's work.
    virtual void run() = 0;
    // Asks run() to finish; called from the controlling thread.
    virtual void stop() = 0;
    // A name for log lines.
    virtual const char* name() = 0;
};

class Vesk_Thread {
  public:
    explicit Vesk_Thread(Vesk_Runnable* runnable);
    // Forgets handle and runnable; neither joins nor kills the thread.
    virtual ~Vesk_Thread();

    Vesk_Thread(const Vesk_Thread&) = delete;
    Vesk_Thread& operator=(const Vesk_Thread&) = delete;

    // Creates the thread. The running flag is set even when creation failed: callers that care
    // ask isRunning(), which also looks at the handle.
    void start();
    // Sends SIGINT to the thread and clears the running flag; the pthread_kill result (ESRCH for
    // a thread never started).
    int kill();
    // With a runnable: its stop(), then waitForCompletion(). Without one: logs a warning and
    // kill()s. The running flag is cleared in both cases.
    void stop();
    // Joins the thread if it was started.
    void waitForCompletion();
    int isRunning();

  protected:
    // Protected so that a subclass may extend the thread (tests drop the runnable to reach the
    // kill path of stop()).
    pthread_t _handle;
    Vesk_Runnable* _runnable;
    int _running;
    int _reserved;
};

// Thread entry: installs the signal handler, logs start and end (developer level) around run().
void* vesk_threadMain(void* runnable);

// SIGINT: logs "Vesk_Thread received a kill request." and ends the calling thread with result 1.
// Any other signal: logs "Vesk_Thread received an unknown signal." and re-installs itself.
void Vesk_Thread_SignalHandler(int signal);

// Logs every thread of the thread map that is still running, in handle order.
void displayRunningThreads();

#endif
