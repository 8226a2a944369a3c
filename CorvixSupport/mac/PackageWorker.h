// One support package job on a thread of its own, for the window: the thread runs
// PackageJob::run (the core the command line runs too) and everything the job reports is handed
// to the thread that made the worker (the main thread) as signals, in the order it happened, so
// the window keeps painting and its timers keep firing while the job runs.
//
// Ownership and threads: make, start, cancel and delete the worker on the main thread. The job's
// thread touches no widget and no member but the result, which the main thread reads only after
// finished(). Deleting a running worker cancels the job and waits for its thread: the job stops
// within a moment (the running command's process group ended, the temporary archive removed, an
// existing archive untouched). Signals still queued when the worker is deleted are dropped.
//
// The core's messages said while the job runs (the diagnostics sink) are collected on the job's
// thread (WindowDiagnosticsCapture) and kept in diagnostics(); the window decides what to show.
#ifndef CORVIX_WINDOW_PACKAGEWORKER_H
#define CORVIX_WINDOW_PACKAGEWORKER_H

#include <QObject>
#include <QString>

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "PackageCancelFlag.h"
#include "PackageJob.h"

class PackageWorker : public QObject {
    Q_OBJECT

  public:
    explicit PackageWorker(PackageRequest request, QObject* parent = nullptr);
    ~PackageWorker() override;
    PackageWorker(const PackageWorker&) = delete;
    PackageWorker& operator=(const PackageWorker&) = delete;

    // Starts the job's thread (savePackage); once only.
    void start();
    // Asks the running job to stop; it then ends as Cancelled. Any time, any number of times.
    void cancel();

    bool isRunning() const { return _thread.joinable(); }
    bool isCancelled() const { return _cancel.requested(); }

    // After finished(): what the job reported, and the core's messages it said meanwhile.
    const PackageJobResult& result() const { return _result; }
    const std::string& diagnostics() const { return _diagnostics; }

  signals:
    // The job collects row index (1-based) of total, labelled label.
    void step(int index, int total, const QString& label);
    // The job writes the manifest and saves the archive at archivePath.
    void saving(const QString& archivePath);
    // The archive has reached percent of its bytes (sent when the figure changes).
    void progress(int percent);
    // One of the job's own alerts (title and message as the job words them).
    void alert(const QString& title, const QString& message);
    // The job has ended and its thread is done: result() holds what happened.
    void finished();

  private:
    class Observer;

    // The job's thread.
    void savePackage();
    // On the main thread, after the job's last word.
    void joinThread();
    // Any thread: queues report for the main thread, in order.
    void post(std::function<void()> report);
    // On the main thread: runs the reports queued so far.
    Q_INVOKABLE void deliverReports();

    const PackageRequest _request;
    PackageCancelFlag _cancel;
    PackageJobResult _result;
    std::string _diagnostics;
    std::thread _thread;
    // The reports travel through this queue, not inside Qt's queued call: the hand-over is then
    // under a lock of ours, which ThreadSanitizer sees (Qt's own reference counts it cannot).
    std::mutex _reportsMutex;
    std::deque<std::function<void()>> _reports;
};

#endif
