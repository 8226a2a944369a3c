// Fixture for the store's tests: a sandboxed machine root holding the product folder, and the
// product log started in a temporary file so that tests can read the store's diagnostics.
#ifndef CORVIX_TESTS_QUADENSTORETEST_H
#define CORVIX_TESTS_QUADENSTORETEST_H

#include <string>

#include "TestEnvironment.h"

class QuadenStoreTest : public corvix_test::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        corvix_test::makeDirs(productFolder());
    }

    std::string logText() const { return _log.text(); }
    bool logged(const std::string& text) const { return _log.has(text); }
    // The MD5 of bytes as the system's md5sum reports it: an oracle independent of the store.
    std::string md5sum(const std::string& bytes) const {
        corvix_test::writeFile(tmp("md5-input"), bytes);
        std::string output;
        corvix_test::runCommand("md5sum '" + tmp("md5-input") + "'", &output);
        return output.substr(0, 32);
    }

    corvix_test::ProductLog _log{tmp("store.log")};
};

#endif
