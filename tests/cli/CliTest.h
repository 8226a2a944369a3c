// Runs corvix-support in-process, inside the sandbox, with captured streams; or starts the real
// binary (CORVIX_SUPPORT_BINARY) for what only a process shows: signals, concurrent runs.
#ifndef CORVIX_TESTS_CLI_CLITEST_H
#define CORVIX_TESTS_CLI_CLITEST_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <sstream>
#include <string>
#include <vector>

#include "CliMain.h"
#include "TestEnvironment.h"

namespace corvix_test {

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
        int code =
            corvixCliMain(static_cast<int>(argv.size()), argv.data(), out, err, in, interactive);
        _out = out.str();
        _err = err.str();
        return code;
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
