// Tests read the core's messages through a capturing sink, never from the process's standard
// error: the sink sees each message whole, whichever thread wrote it.
#ifndef CORVIX_TESTS_DIAGNOSTICCAPTURE_H
#define CORVIX_TESTS_DIAGNOSTICCAPTURE_H

#include <string>
#include <utility>

#include "VeskDiagnostics.h"

namespace corvix_test {

// Collects what the core sends to the diagnostics sink while the object lives.
class DiagnosticCapture : public VeskDiagnosticSink {
  public:
    void write(const std::string& text) override { _text += text; }
    // What arrived since the last call.
    std::string take() { return std::exchange(_text, std::string()); }

  private:
    std::string _text;
    VeskScopedDiagnosticSink _scoped{this};
};

}  // namespace corvix_test

#endif
