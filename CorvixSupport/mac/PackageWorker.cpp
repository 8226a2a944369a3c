#include "PackageWorker.h"

#include <QMetaObject>

#include <utility>

#include "WindowDiagnostics.h"

// Called on the job's thread: hands each report to the worker's thread, where it is emitted.
class PackageWorker::Observer : public PackageJobObserver {
  public:
    explicit Observer(PackageWorker* worker) : _worker(worker) {}

    void packageStep(int index, int total, const std::string& label) override {
        post([worker = _worker, index, total, text = QString::fromStdString(label)] {
            emit worker->step(index, total, text);
        });
    }
    void packageSaving(const std::string& archivePath) override {
        post([worker = _worker, path = QString::fromStdString(archivePath)] {
            emit worker->saving(path);
        });
    }
    // The archive's figure only: a copy is over in moments, and its row's label says enough.
    void packageBytes(const std::string& what, uint64_t done, uint64_t total) override {
        if (what != "archive") {
            return;
        }
        const int percent = total ? static_cast<int>(done * 100 / total) : 100;
        if (percent != _percent) {
            _percent = percent;
            post([worker = _worker, percent] { emit worker->progress(percent); });
        }
    }
    void packageAlert(const std::string& title, const std::string& message) override {
        post([worker = _worker, title = QString::fromStdString(title),
              message = QString::fromStdString(message)] { emit worker->alert(title, message); });
    }

  private:
    void post(std::function<void()> report) { _worker->post(std::move(report)); }

    PackageWorker* _worker;
    int _percent = -1;  // the last figure sent, so that the queue is not flooded
};

PackageWorker::PackageWorker(PackageRequest request, QObject* parent)
    : QObject(parent), _request(std::move(request)) {}

PackageWorker::~PackageWorker() {
    cancel();
    joinThread();
}

void PackageWorker::start() {
    if (!_thread.joinable()) {
        _thread = std::thread(&PackageWorker::savePackage, this);
    }
}

void PackageWorker::cancel() {
    if (_thread.joinable()) {
        _cancel.request();
    }
}

void PackageWorker::joinThread() {
    if (_thread.joinable()) {
        _thread.join();
    }
}

void PackageWorker::savePackage() {
    Observer observer(this);
    {
        WindowDiagnosticsCapture capture;
        _result = PackageJob::run(_request, &observer, &_cancel);
        _diagnostics = capture.raw();
    }
    // The thread's last act: once it has returned nothing here touches the worker.
    post([this] {
        joinThread();
        emit finished();
    });
}

void PackageWorker::post(std::function<void()> report) {
    {
        std::lock_guard<std::mutex> lock(_reportsMutex);
        _reports.push_back(std::move(report));
    }
    // Queued calls to one receiver are delivered in the order they were posted; a call may find
    // its report already run by an earlier one.
    QMetaObject::invokeMethod(this, "deliverReports", Qt::QueuedConnection);
}

void PackageWorker::deliverReports() {
    std::deque<std::function<void()>> reports;
    {
        std::lock_guard<std::mutex> lock(_reportsMutex);
        reports.swap(_reports);
    }
    // The last report (finished) may see the worker deleted: nothing here touches it afterwards.
    for (std::function<void()>& report : reports) {
        report();
    }
}
