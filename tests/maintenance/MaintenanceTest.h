// The fixture of the maintenance tests: the sandbox, with the core's messages for the user
// captured and the sweep's stop flag raised.
#ifndef CORVIX_TESTS_MAINTENANCE_MAINTENANCETEST_H
#define CORVIX_TESTS_MAINTENANCE_MAINTENANCETEST_H

#include <string>

#include "CorvixCleaner.h"
#include "DiagnosticCapture.h"
#include "TestEnvironment.h"

namespace corvix_test {

class MaintenanceTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        g_shouldRunCPRThread = 1;
    }
    // What reached the sink since the last call.
    std::string diagnostics() { return _diagnostics.take(); }
    // generation "CorvixPro" or "CorvixPro2".
    std::string product(const std::string& generation, const std::string& item) const {
        return productFolder(generation) + item;
    }

    DiagnosticCapture _diagnostics;
};

}  // namespace corvix_test

#endif
