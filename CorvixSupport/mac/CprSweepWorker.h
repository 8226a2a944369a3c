// Runs one settings-file sweep (CprSweep::run) on a thread of its own, so that the window keeps
// painting and its stop button keeps working, and hands the sweep's end to the main thread.
//
// Main thread: start, requestStop, currentFolder, isRunning and the destructor; finished is
// emitted there too, after the worker's thread has ended. The walk leaves the folder it is in
// with this object at the cost of one string copy, and the window shows it at its own pace, so
// that painting never slows a fast sweep. A stop sets g_shouldRunCPRThread to 0 and is kept:
// pressed during the start delay or before the walk has raised the flag, it still ends the walk
// at its first entry. The destructor stops a running sweep and waits for its thread.
#ifndef CORVIX_WINDOW_CPRSWEEPWORKER_H
#define CORVIX_WINDOW_CPRSWEEPWORKER_H

#include <QObject>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "CprSweep.h"

class CprSweepWorker : public QObject {
    Q_OBJECT

  public:
    CprSweepWorker() = default;
    ~CprSweepWorker() override;
    CprSweepWorker(const CprSweepWorker&) = delete;
    CprSweepWorker& operator=(const CprSweepWorker&) = delete;

    // Sweeps folder (bytes as the file system takes them) after waiting delay, unless a sweep is
    // running already. False when it is, or when no thread could be started.
    bool start(const std::string& folder, bool recursive, std::chrono::milliseconds delay);
    bool isRunning() const { return _thread.joinable(); }
    // Lowers g_shouldRunCPRThread and keeps the request for the running sweep. Safe from any
    // thread.
    void requestStop();
    // The folder the walk reads now; before it starts, the chosen one.
    QString currentFolder() const;

  signals:
    // The sweep has ended: result is its whole account, messages what the core said meanwhile
    // (the sweep log that could not be opened, ...), trimmed; empty when nothing.
    void finished(const CprSweepResult& result, const QString& messages);

  private:
    class Observer;

    void run(std::string folder, bool recursive, std::chrono::milliseconds delay);
    void ended(const CprSweepResult& result, const QString& messages);

    std::thread _thread;
    mutable std::mutex _mutex;
    std::condition_variable _stop;
    // Under _mutex.
    bool _stopRequested = false;
    std::string _folder;
};

#endif
