#include "CliProgressPrinter.h"

#include <cstdio>
#include <ostream>

namespace {

std::string mebibytes(uint64_t bytes) {
    char text[32];
    snprintf(text, sizeof text, "%.1f", static_cast<double>(bytes) / (1 << 20));
    return text;
}

}  // namespace

constexpr std::chrono::milliseconds CliProgressPrinter::kTerminalInterval;
constexpr std::chrono::seconds CliProgressPrinter::kPlainInterval;

void CliProgressPrinter::endLine() {
    if (_onTerminal && _printed) {
        _err << "\n";
    }
    _printed = false;
    _what.clear();
}

void CliProgressPrinter::packageStep(int index, int total, const std::string& label) {
    endLine();
    char prefix[32];
    snprintf(prefix, sizeof prefix, "[%2d/%d] ", index, total);
    _err << prefix << label << std::endl;
}

void CliProgressPrinter::packageSkipped(int index, int total, const std::string& label,
                                        const std::string& why) {
    packageStep(index, total, label + "  skipped: " + why);
}

void CliProgressPrinter::packageSaving(const std::string& archivePath) {
    endLine();
    _err << "saving " << archivePath << std::endl;
}

void CliProgressPrinter::packageAlert(const std::string& title, const std::string& message) {
    endLine();
    _err << title << " " << message << std::endl;
}

std::string CliProgressPrinter::describe(uint64_t done, uint64_t total, double seconds) {
    const int percent = total ? static_cast<int>(done * 100 / total) : 100;
    std::string text =
        std::to_string(percent) + " %  " + mebibytes(done) + " of " + mebibytes(total) + " MiB";
    if (seconds > 0) {
        const double rate = static_cast<double>(done) / seconds;
        text += "  " + mebibytes(static_cast<uint64_t>(rate)) + " MiB/s";
        if (rate > 0 && done < total) {
            text += "  " + std::to_string(static_cast<long long>((total - done) / rate + 0.5)) +
                    " s left";
        }
    }
    return text;
}

void CliProgressPrinter::packageBytes(const std::string& what, uint64_t done, uint64_t total) {
    const Clock::time_point now = Clock::now();
    if (what != _what) {
        endLine();
        _what = what;
        _started = _shown = now;
        _printed = false;
    }
    const bool last = done >= total;
    const auto interval = _onTerminal
                              ? std::chrono::duration_cast<Clock::duration>(kTerminalInterval)
                              : std::chrono::duration_cast<Clock::duration>(kPlainInterval);
    const bool due = _onTerminal ? !_printed || now - _shown >= interval : now - _shown >= interval;
    if (!(due || (last && _printed))) {
        return;
    }
    std::string line = (what == "archive" ? std::string("zipping")
                                          : "copying " + what.substr(what.rfind('/') + 1)) +
                       ": " +
                       describe(done, total, std::chrono::duration<double>(now - _started).count());
    if (_onTerminal) {
        if (_columns > 1 && line.size() >= static_cast<size_t>(_columns)) {
            line.resize(static_cast<size_t>(_columns - 1));
        }
        // Back to the line's start, the new text, and the rest of the old one cleared.
        _err << "\r" << line << "\033[K" << std::flush;
    } else {
        _err << line << std::endl;
    }
    _shown = now;
    _printed = true;
    if (last) {
        endLine();
    }
}
