// The core's messages for the user (runtime/VeskDiagnostics.h) in the window. A view that runs a
// core operation captures what the core says meanwhile (WindowDiagnosticsCapture) and shows it in
// its alert; anything said outside a capture goes to standard error, as the core's messages
// always have.
//
// Threads: captures are per thread, so a worker thread (the package job, the sweep) captures its
// own messages without mixing them with the main thread's. The sink itself may be written from
// any thread.
#ifndef CORVIX_WINDOW_WINDOWDIAGNOSTICS_H
#define CORVIX_WINDOW_WINDOWDIAGNOSTICS_H

#include <QString>

#include <string>

#include "VeskDiagnostics.h"

class WindowDiagnostics : public VeskDiagnosticSink {
  public:
    // Installs itself as the process's diagnostics sink; the destructor puts the previous back.
    WindowDiagnostics();
    ~WindowDiagnostics() override;
    WindowDiagnostics(const WindowDiagnostics&) = delete;
    WindowDiagnostics& operator=(const WindowDiagnostics&) = delete;

    void write(const std::string& text) override;

  private:
    VeskDiagnosticSink* _previous;
};

// Collects the core's messages on this thread while it lives (captures nest: the innermost
// collects). Works whether or not a WindowDiagnostics is installed: without one it installs a
// sink of its own for its lifetime.
class WindowDiagnosticsCapture {
  public:
    WindowDiagnosticsCapture();
    ~WindowDiagnosticsCapture();
    WindowDiagnosticsCapture(const WindowDiagnosticsCapture&) = delete;
    WindowDiagnosticsCapture& operator=(const WindowDiagnosticsCapture&) = delete;

    // What was said so far, as the core wrote it.
    const std::string& raw() const { return _text; }
    // The same for an alert: the core's lines begin with a line break, which an alert does not
    // need, so surrounding white space is trimmed.
    QString text() const;

  private:
    friend class WindowDiagnostics;
    std::string _text;
    WindowDiagnosticsCapture* _outer;
    WindowDiagnostics* _ownSink = nullptr;
};

#endif
