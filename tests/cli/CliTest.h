// Runs corvix-support in-process, inside the sandbox, with captured streams.
#ifndef CORVIX_TESTS_CLI_CLITEST_H
#define CORVIX_TESTS_CLI_CLITEST_H

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

    std::string _out, _err;
};

}  // namespace corvix_test

#endif
