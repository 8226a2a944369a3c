// Helpers of the support tests: the core's messages captured, and a disk that fills up on cue.
#ifndef CORVIX_TESTS_SUPPORT_SUPPORTTESTTOOLS_H
#define CORVIX_TESTS_SUPPORT_SUPPORTTESTTOOLS_H

#include <signal.h>
#include <sys/resource.h>

#include "DiagnosticCapture.h"

// While it lives, a write past bytes into any file fails with "File too large", as on a full disk.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &_previous);
        _handler = signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {bytes, _previous.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &_previous);
        signal(SIGXFSZ, _handler);
    }

  private:
    struct rlimit _previous;
    sighandler_t _handler;
};

#endif
