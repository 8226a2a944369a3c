// PackageCancelFlag: how a running package job is asked to stop.
//
// The job and everything it drives (the row loop, the staged copies, the captures' wait, the zip
// and its read-back) look at the flag between small steps and stop soon after it is set: the
// captured command's process group is ended, the temporary archive removed, an existing archive
// left as it was. A signal handler (the command line's SIGINT / SIGTERM) or another thread (the
// window's Cancel button) sets it.
//
// Threads: request() is async-signal-safe and may be called from any thread or signal handler at
// any time; the readers may run on any thread. The flag never resets: use one per job.
#ifndef CORVIX_SUPPORT_PACKAGECANCELFLAG_H
#define CORVIX_SUPPORT_PACKAGECANCELFLAG_H

#include <atomic>

class PackageCancelFlag {
  public:
    // Asks the job to stop. signal names the signal that asked; 0 (a user's Cancel) keeps any
    // signal recorded before.
    void request(int signal = 0) noexcept {
        int expected = 0;
        if (signal > 0) {
            _state.store(signal, std::memory_order_relaxed);
        } else {
            _state.compare_exchange_strong(expected, kByUser, std::memory_order_relaxed);
        }
    }

    bool requested() const noexcept { return _state.load(std::memory_order_relaxed) != 0; }

    // The signal that asked, or 0 when none did (not requested, or cancelled by the user).
    int signal() const noexcept {
        int state = _state.load(std::memory_order_relaxed);
        return state > 0 ? state : 0;
    }

    // True when flag is set and asks to stop; a null flag never does.
    static bool isSet(const PackageCancelFlag* flag) noexcept { return flag && flag->requested(); }

  private:
    static constexpr int kByUser = -1;
    static_assert(std::atomic<int>::is_always_lock_free, "set from signal handlers");
    std::atomic<int> _state{0};
};

#endif
