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
    void packageAlert(const std::string& title, const std::string& message) override {
        post([worker = _worker, title = QString::fromStdString(title),
              message = QString::fromStdString(message)] { emit worker->alert(title, message); });
    }

    // Queued events to one receiver are delivered in the order they were posted.
    template <class Function>
    void post(Function function) {
        QMetaObject::invokeMethod(_worker, std::move(function), Qt::QueuedConnection);
    }

  private:
    PackageWorker* _worker;
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
    // The thread's last act: after this nothing here touches the worker.
    observer.post([this] {
        joinThread();
        emit finished();
    });
}
