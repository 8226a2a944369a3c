// Fixture for the store's tests: a sandboxed machine root holding the product folder, and the
// product log started in a temporary file so that tests can read the store's diagnostics.
#ifndef CORVIX_TESTS_QUADENSTORETEST_H
#define CORVIX_TESTS_QUADENSTORETEST_H

#include <string>

#include "TestEnvironment.h"
#include "VeskLog.h"

class QuadenStoreTest : public corvix_test::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        corvix_test::makeDirs(productFolder());
        _logPath = tmp("store.log");
        VeskLoggingEnabled = 1;
        VeskThreadLoggingEnabled = 0;
        initializeVeskLogging(const_cast<char*>(_logPath.c_str()));
    }
    void TearDown() override {
        VeskLoggingInitialized = 0;
        cleanupVeskLogging();
        VeskThreadLoggingEnabled = 1;
        SandboxTest::TearDown();
    }

    std::string productFolder() const {
        return root() + "/Library/Application Support/Orvanta Software/CorvixPro2/";
    }
    std::string logText() const {
        return corvix_test::exists(_logPath) ? corvix_test::readFile(_logPath) : std::string();
    }
    bool logged(const std::string& text) const { return logText().find(text) != std::string::npos; }
    // The MD5 of text as the system's md5sum reports it: an oracle independent of the store.
    static std::string md5sum(const std::string& text) {
        std::string output;
        std::string quoted;
        for (char c : text) {
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        corvix_test::runCommand("printf '%s' '" + quoted + "' | md5sum", &output);
        return output.substr(0, 32);
    }

    std::string _logPath;
};

#endif
