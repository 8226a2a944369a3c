// Runs corvix-support inside the sandbox: in-process with captured streams; or the real binary
// (CORVIX_SUPPORT_BINARY) for what only a process shows (signals, concurrent runs, a terminal),
// with its streams in files or on a pseudo-terminal as a person at a terminal would see it.
#ifndef CORVIX_TESTS_CLI_CLITEST_H
#define CORVIX_TESTS_CLI_CLITEST_H

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "CliMain.h"
#include "TestEnvironment.h"

namespace corvix_test {

inline std::string shellQuoted(const std::string& s) {
    std::string out = "'";
    for (char c : s) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out + "'";
}

// How many times what occurs in text, overlapping ones too.
inline size_t occurrences(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

// Runs the binary with arguments on a new pseudo-terminal, columns wide, that is its standard
// input, output and error; input is typed into it first. Returns the exit status (-1 when it did
// not exit) and everything the terminal showed, byte for byte (no "\r" is added to line ends).
inline int runOnTerminal(const std::vector<std::string>& arguments, const std::string& input,
                         std::string* screen, unsigned short columns = 80) {
    // A terminal's usual control characters. Left unset, whatever bytes the stack held would
    // decide which typed letters raise a signal, suspend the program or end its input.
    struct termios modes = {};
    modes.c_cc[VINTR] = 003;
    modes.c_cc[VQUIT] = 034;
    modes.c_cc[VERASE] = 0177;
    modes.c_cc[VKILL] = 025;
    modes.c_cc[VEOF] = 004;
    modes.c_cc[VSUSP] = 032;
    cfsetspeed(&modes, B38400);
    cfmakeraw(&modes);
    modes.c_lflag |= ICANON | ISIG;  // lines are read whole, and Ctrl-C is a signal
    struct winsize size = {24, columns, 0, 0};
    int terminal = -1;
    pid_t child = forkpty(&terminal, nullptr, &modes, &size);
    if (child == 0) {
        std::vector<char*> argv{const_cast<char*>(CORVIX_SUPPORT_BINARY)};
        for (const std::string& a : arguments) {
            argv.push_back(const_cast<char*>(a.c_str()));
        }
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (child < 0) {
        return -1;
    }
    if (!input.empty() && write(terminal, input.data(), input.size()) < 0) {
        ADD_FAILURE() << "cannot type into the terminal";
    }
    screen->clear();
    char buffer[4096];
    // The end of the output shows as EIO once the child has closed the terminal. A child that
    // shows nothing for a minute is stuck: it is ended, and the test fails with what it showed.
    for (struct pollfd ready = {terminal, POLLIN, 0};;) {
        if (poll(&ready, 1, 60000) <= 0) {
            // Where it waits tells an answer never read from a hang elsewhere.
            std::string where = readFile("/proc/" + std::to_string(child) + "/syscall");
            where.erase(where.find_last_not_of('\n') + 1);
            ADD_FAILURE() << "the terminal showed nothing for a minute (the program is in system "
                          << "call " << where << ") after: " << *screen;
            kill(child, SIGKILL);
            break;
        }
        ssize_t n = read(terminal, buffer, sizeof buffer);
        if (n <= 0) {
            break;
        }
        screen->append(buffer, static_cast<size_t>(n));
    }
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class CliTest : public SandboxTest {
  protected:
    // corvix-support <verb> <arguments>; input answers questions when interactive is set.
    // Returns the exit code and keeps standard output and error in _out and _err.
    int cli(const char* verb, std::vector<std::string> arguments, const std::string& input = "",
            bool interactive = false) {
        arguments.insert(arguments.begin(), {"corvix-support", verb});
        std::vector<const char*> argv;
        for (const std::string& a : arguments) {
            argv.push_back(a.c_str());
        }
        std::ostringstream out, err;
        std::istringstream in(input);
        CliTerminal terminal;
        terminal.interactive = interactive;
        int code =
            corvixCliMain(static_cast<int>(argv.size()), argv.data(), out, err, in, terminal);
        _out = out.str();
        _err = err.str();
        return code;
    }

    // The real binary with arguments, standard input from /dev/null (no terminal), standard
    // output and error into _out and _err.
    int binary(const std::vector<std::string>& arguments) {
        std::string command = CORVIX_SUPPORT_BINARY;
        for (const std::string& a : arguments) {
            command += " " + shellQuoted(a);
        }
        int status = runCommand(command + " </dev/null 2>" + shellQuoted(tmp("stderr.txt")), &_out);
        _err = readFile(tmp("stderr.txt"));
        return status;
    }

    // Starts the binary with arguments in this environment, standard output and error into
    // <out> and <out>.err when out is given; -1 when it cannot be started. posix_spawn, not
    // fork: copying a sanitizer build's address space takes long.
    static pid_t spawn(std::vector<std::string> arguments, const std::string& out = "") {
        arguments.insert(arguments.begin(), CORVIX_SUPPORT_BINARY);
        std::vector<char*> argv;
        for (std::string& a : arguments) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        if (!out.empty()) {
            const int flags = O_WRONLY | O_CREAT | O_TRUNC;
            posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), flags, 0600);
            posix_spawn_file_actions_addopen(&actions, 2, (out + ".err").c_str(), flags, 0600);
        }
        pid_t child = -1;
        int failed =
            posix_spawn(&child, CORVIX_SUPPORT_BINARY, &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        return failed ? -1 : child;
    }
    // The exit code of a child started by spawn; -1 when it did not exit by itself.
    static int exitCode(pid_t child) {
        int status = 0;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string _out, _err;
};

}  // namespace corvix_test

#endif
