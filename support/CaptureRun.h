// CaptureRun: the package job's system commands, run side by side on a thread of their own while
// the job goes on copying files.
//
// Each command is a CommandCapture with its own process group, its own timeout (the package's
// command timeout) and its own file in the package's system folder, as addOutputToSys would make
// it. A command that writes a file which an earlier command of the run still writes starts only
// once that one has finished, so a file captured first and then appended to holds both outputs in
// the order they were added. Manifest entries are recorded by add(), on the caller's thread, in
// call order: the manifest lists the files exactly as one-at-a-time captures would. The package's
// lock (addOutputToSys's, one capture at a time) is not taken.
//
// Ownership: the run uses the package (which must outlive it) only on the caller's thread; its
// own thread touches nothing but its captures.
// Threads: add(), finish() and abort() are called by one thread (the job's). The commands' thread
// starts with the first add() and has ended when finish() or abort() returns; the destructor
// abort()s.
// Cancelling: the package's cancel flag ends every running command's group at once, and commands
// not yet started are dropped; abort() does the same for a job that fails.
// Failure: a capture file that could not be written whole is noted by finish() as the package's
// staging failure; a pipe that could not be made is thrown by finish() as SupportPackageException.
#ifndef CORVIX_SUPPORT_CAPTURERUN_H
#define CORVIX_SUPPORT_CAPTURERUN_H

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class CommandCapture;
class PackageCancelFlag;
class SupportPackage;

class CaptureRun {
  public:
    explicit CaptureRun(SupportPackage& package);
    ~CaptureRun();
    CaptureRun(const CaptureRun&) = delete;
    CaptureRun& operator=(const CaptureRun&) = delete;

    // Queues command into system/fileName ("w", or "a" when append is set; only a "w" capture
    // records the manifest entry). Nothing for a null argument or once cancelled.
    void add(const char* command, const char* fileName, bool append);

    // Waits until every queued command has finished and the thread has ended.
    void finish();

    // Ends every running command now, drops the others, and waits for the thread.
    void abort();

  private:
    struct Request {
        std::string _command, _path, _name;
        bool _append;
        int _timeout;
    };
    struct Running;

    void loop();
    void startReady(std::vector<std::unique_ptr<Running>>* running);
    void wake();
    void join();

    SupportPackage& _package;
    const PackageCancelFlag* _cancel;
    int _wake[2] = {-1, -1};  // a byte written here wakes the thread's poll()
    std::thread _thread;

    std::mutex _mutex;  // guards everything below
    std::deque<Request> _pending;
    bool _closing = false;  // finish(): end once nothing is left
    bool _aborting = false;
    std::string _failedName;  // the first capture that could not be written whole
    int _failedError = 0;
    std::string _exception;  // the first SupportPackageException's message
};

#endif
