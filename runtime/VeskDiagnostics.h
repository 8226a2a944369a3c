// The core's messages for the user: the staging area's, the manifest's, the captures', the system
// report's, the cleaner's and the renderers' standard-error lines, and the refusals of the path
// and file helpers. Every one of them goes through vesk_diagnostic(), which hands the formatted
// text to the sink in force. By default that is standard error, written byte for byte as the
// product always wrote these lines; the command line points the sink at its error stream, the
// window shows or logs what arrives, tests capture it.
//
// Threads: any thread may write; writes and sink changes are serialised by one process-wide lock,
// so a sink sees one message at a time and is never replaced in the middle of one. A sink must
// not call vesk_diagnostic() itself (that would wait on the lock forever). Not for signal
// handlers, nor for a forked child before exec (that writes with write(2) directly).
#ifndef CORVIX_RUNTIME_VESKDIAGNOSTICS_H
#define CORVIX_RUNTIME_VESKDIAGNOSTICS_H

#include <string>

class VeskDiagnosticSink {
  public:
    virtual ~VeskDiagnosticSink() = default;
    // One message, exactly the bytes the core means to write (no line end is added or removed).
    virtual void write(const std::string& text) = 0;
};

// Installs sink for the whole process and returns the one it replaces (null for the default).
// Null restores the default, standard error. The caller keeps ownership; the sink must stay alive
// until it is replaced.
VeskDiagnosticSink* vesk_setDiagnosticSink(VeskDiagnosticSink* sink);

// Formats a message (printf rules) and hands it to the sink. Never fails, never throws.
void vesk_diagnostic(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Hands text to the sink as it stands (no formatting).
void vesk_diagnosticText(const std::string& text);

// Installs a sink for the lifetime of the object and puts the previous one back afterwards.
class VeskScopedDiagnosticSink {
  public:
    explicit VeskScopedDiagnosticSink(VeskDiagnosticSink* sink)
        : _previous(vesk_setDiagnosticSink(sink)) {}
    ~VeskScopedDiagnosticSink() { vesk_setDiagnosticSink(_previous); }
    VeskScopedDiagnosticSink(const VeskScopedDiagnosticSink&) = delete;
    VeskScopedDiagnosticSink& operator=(const VeskScopedDiagnosticSink&) = delete;

  private:
    VeskDiagnosticSink* _previous;
};

#endif
