// CommandCapture: one shell command run for a support package, its standard output kept in a file.
//
// The command runs as "/bin/sh -c COMMAND" with the empty environment, in a process group of its
// own, its standard output a non-blocking pipe. What it writes is copied into the capture file
// piece by piece (a line, or up to 1024 bytes of one), unchanged. Its standard error goes to an
// unlinked scratch file beside the capture file and is appended to the capture file once the
// command has been reaped, after its standard output; it never reaches this process's terminal.
// A command still running when its time is up gets SIGTERM for its whole group, after a grace
// period SIGKILL, and after another the reader stops waiting for the end of its output (a
// descendant that left the group may still hold the pipe open); what it wrote is kept. A raised
// cancel flag, or endNow(), ends the group the same way at once, with a shorter grace period.
//
// Ownership: the capture owns the child, the pipe and the capture file. The destructor ends a
// command still running (SIGKILL to its group), reaps it and closes both streams.
// Threads: one capture is used by one thread at a time; captures on different threads run side by
// side (CaptureRun). The cancel flag may be raised from anywhere.
// Failure: a capture file that cannot be opened is reported through the diagnostics sink and the
// output is read and dropped, so that the command can finish; a write that fails is remembered in
// writeError(). start() throws SupportPackageException when the pipe cannot be made; a failed fork
// ends the program with status 1.
#ifndef CORVIX_SUPPORT_COMMANDCAPTURE_H
#define CORVIX_SUPPORT_COMMANDCAPTURE_H

#include <sys/types.h>

#include <cstdio>
#include <string>

class PackageCancelFlag;

class CommandCapture {
  public:
    // outputPath is the capture file, opened with "w" (or "a" when append is set); an empty path
    // stands for one that did not fit a path buffer. timeoutSeconds of 0 or less: no limit.
    // cancel may be null and must outlive the capture.
    CommandCapture(const std::string& command, const std::string& outputPath, bool append,
                   int timeoutSeconds, const PackageCancelFlag* cancel);
    ~CommandCapture();
    CommandCapture(const CommandCapture&) = delete;
    CommandCapture& operator=(const CommandCapture&) = delete;

    // Makes the pipe, starts the command and opens the capture file.
    void start();

    // One piece of the output into buffer (a line, or up to count - 1 bytes of one): 1. 0 at the
    // end of the output, which closes the pipe; also when the command was ended and its output
    // given up, or for a count under 2. Without wait, -1 when nothing has arrived yet. With wait
    // it waits for output, ending the command when its time is up.
    int readPiece(char* buffer, int count, bool wait);

    // Never blocks: copies into the capture file whatever has arrived, ends the command when its
    // time is up, and once the output has ended reaps the command if it has exited and closes the
    // capture file. True once all that is done.
    bool step();
    // For a poll() over several captures: the pipe while it is open (else -1), and how long the
    // poll may wait before step() has work again (-1: until output arrives).
    int pollDescriptor() const;
    int waitMs() const;
    // step() until done, waiting on this capture alone in between.
    void finish();

    // Ends the command now, as a cancel does.
    void endNow() { _endNow = true; }
    // errno of the first write to the capture file that failed, else 0.
    int writeError() const { return _writeError; }

  private:
    bool timeIsUp();
    bool endGroup();
    bool waitForOutput();
    void closeOutput();
    void keep(const char* piece);
    void openErrorFile();
    void keepErrors();

    std::string _command;
    std::string _outputPath;
    bool _append;
    int _timeoutSeconds;
    const PackageCancelFlag* _cancel;
    pid_t _pid = -1;
    FILE* _output = nullptr;  // read end of the pipe
    FILE* _file = nullptr;    // the capture file
    int _errors = -1;         // the command's standard error, kept until it has been reaped
    long long _deadline = 0;  // monotonic milliseconds; 0: none
    int _stage = 0;           // 0 running, 1 terminated, 2 killed, 3 given up
    bool _endNow = false;
    bool _reaped = false;
    int _writeError = 0;
};

#endif
