#include "CprSweepWorker.h"

#include <QFile>

#include <cstdio>
#include <system_error>

#include "CorvixCleaner.h"
#include "CprSweepObserver.h"
#include "WindowDiagnostics.h"

// Keeps the folder being searched for the window, and makes a stop asked for before the walk
// raised g_shouldRunCPRThread take effect: the walk names its first folder before it reads an
// entry.
class CprSweepWorker::Observer : public CprSweepObserver {
  public:
    explicit Observer(CprSweepWorker& worker) : _worker(worker) {}

    void searchingFolder(const char* path) override {
        std::lock_guard<std::mutex> lock(_worker._mutex);
        _worker._folder = path;
        if (_worker._stopRequested) {
            g_shouldRunCPRThread = 0;
        }
    }
    // Deletions and failures are counted by the sweep and written to its log.
    void cprFileRemoved(const char*) override {}
    void cprFileNotRemoved(const char*, const char*) override {}

  private:
    CprSweepWorker& _worker;
};

CprSweepWorker::~CprSweepWorker() {
    if (_thread.joinable()) {
        requestStop();
        _thread.join();
    }
}

bool CprSweepWorker::start(const std::string& folder, bool recursive,
                           std::chrono::milliseconds delay) {
    if (_thread.joinable()) {
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _stopRequested = false;
        _folder = folder;
    }
    try {
        _thread = std::thread(&CprSweepWorker::run, this, folder, recursive, delay);
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void CprSweepWorker::requestStop() {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _stopRequested = true;
    }
    g_shouldRunCPRThread = 0;
    _stop.notify_all();
}

QString CprSweepWorker::currentFolder() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return QFile::decodeName(QByteArray::fromStdString(_folder));
}

void CprSweepWorker::run(std::string folder, bool recursive, std::chrono::milliseconds delay) {
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _stop.wait_for(lock, delay, [this] { return _stopRequested; });
    }
    CprSweepResult result;
    QString messages;
    {
        WindowDiagnosticsCapture capture;
        Observer observer(*this);
        CprSweep::run(folder.c_str(), recursive, &observer, &result);
        messages = capture.text();
        // Where the core's lines have always gone, in full; the window's alert shows only the
        // beginning of them.
        std::fwrite(capture.raw().data(), 1, capture.raw().size(), stderr);
    }
    QMetaObject::invokeMethod(
        this, [this, result, messages]() { ended(result, messages); }, Qt::QueuedConnection);
}

void CprSweepWorker::ended(const CprSweepResult& result, const QString& messages) {
    _thread.join();
    emit finished(result, messages);
}
