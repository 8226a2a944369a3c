#include "WindowDiagnostics.h"

#include <atomic>
#include <cstdio>

namespace {

thread_local WindowDiagnosticsCapture* t_capture = nullptr;
std::atomic<WindowDiagnostics*> g_installed{nullptr};

}  // namespace

WindowDiagnostics::WindowDiagnostics() : _previous(vesk_setDiagnosticSink(this)) {
    g_installed = this;
}

WindowDiagnostics::~WindowDiagnostics() {
    if (g_installed == this) {
        g_installed = nullptr;
    }
    vesk_setDiagnosticSink(_previous);
}

void WindowDiagnostics::write(const std::string& text) {
    if (t_capture != nullptr) {
        t_capture->_text += text;
        return;
    }
    fwrite(text.data(), 1, text.size(), stderr);
}

WindowDiagnosticsCapture::WindowDiagnosticsCapture() : _outer(t_capture) {
    if (g_installed == nullptr) {
        _ownSink = new WindowDiagnostics;
    }
    t_capture = this;
}

WindowDiagnosticsCapture::~WindowDiagnosticsCapture() {
    t_capture = _outer;
    delete _ownSink;
}

QString WindowDiagnosticsCapture::text() const {
    return QString::fromUtf8(_text.data(), static_cast<int>(_text.size())).trimmed();
}
