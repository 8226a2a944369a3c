// The package job's progress for a person or a log: each row as a line, and the archive's bytes as
// one line rewritten in place on a terminal (percent, bytes, rate, time left), or as a plain line
// at most every kPlainInterval seconds (and a last one at 100 %) when standard error is a file or a
// pipe, so that a log never holds a carriage return.
//
// Threads: called on the job's thread only (PackageJobObserver). Failure: none; it only writes.
#ifndef CORVIX_CLI_CLIPROGRESSPRINTER_H
#define CORVIX_CLI_CLIPROGRESSPRINTER_H

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "PackageJob.h"

class CliProgressPrinter : public PackageJobObserver {
  public:
    // How often the line is rewritten on a terminal, and how often a plain line is printed.
    static constexpr std::chrono::milliseconds kTerminalInterval{100};
    static constexpr std::chrono::seconds kPlainInterval{5};

    // err must outlive the printer; onTerminal: err is a terminal, columns wide (a longer line
    // would wrap, and the carriage return would rewrite only its last part).
    CliProgressPrinter(std::ostream& err, bool onTerminal, int columns)
        : _err(err), _onTerminal(onTerminal), _columns(columns) {}

    void packageStep(int index, int total, const std::string& label) override;
    void packageSkipped(int index, int total, const std::string& label,
                        const std::string& why) override;
    void packageSaving(const std::string& archivePath) override;
    void packageAlert(const std::string& title, const std::string& message) override;
    void packageBytes(const std::string& what, uint64_t done, uint64_t total) override;

    // "45 %  135.0 of 300.0 MiB  80.1 MiB/s  2 s left": done of total after seconds.
    static std::string describe(uint64_t done, uint64_t total, double seconds);

    // Ends the line of bytes being shown, if any (on a terminal it has no line end yet): before
    // anything else is printed, and when the job ended before the bytes were all done.
    void endLine();

  private:
    using Clock = std::chrono::steady_clock;

    std::ostream& _err;
    const bool _onTerminal;
    const int _columns;
    std::string _what;  // the phase whose bytes are being shown
    Clock::time_point _started, _shown;
    bool _printed = false;  // a line of the phase _what was shown
};

#endif
