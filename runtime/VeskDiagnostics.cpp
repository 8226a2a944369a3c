#include "VeskDiagnostics.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <vector>

namespace {

std::mutex& sinkMutex() {
    static std::mutex m;
    return m;
}

VeskDiagnosticSink*& currentSink() {
    static VeskDiagnosticSink* sink = nullptr;
    return sink;
}

}  // namespace

VeskDiagnosticSink* vesk_setDiagnosticSink(VeskDiagnosticSink* sink) {
    std::lock_guard<std::mutex> lock(sinkMutex());
    VeskDiagnosticSink* previous = currentSink();
    currentSink() = sink;
    return previous;
}

void vesk_diagnosticText(const std::string& text) {
    std::lock_guard<std::mutex> lock(sinkMutex());
    if (VeskDiagnosticSink* sink = currentSink()) {
        sink->write(text);
        return;
    }
    // Standard error is unbuffered: the bytes arrive as one write, as the product's own did.
    fwrite(text.data(), 1, text.size(), stderr);
}

void vesk_diagnostic(const char* format, ...) {
    char small[512];
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    int length = vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (length < 0) {
        va_end(again);
        return;
    }
    if (static_cast<size_t>(length) < sizeof small) {
        va_end(again);
        vesk_diagnosticText(std::string(small, static_cast<size_t>(length)));
        return;
    }
    std::vector<char> large(static_cast<size_t>(length) + 1);
    vsnprintf(large.data(), large.size(), format, again);
    va_end(again);
    vesk_diagnosticText(std::string(large.data(), static_cast<size_t>(length)));
}
