// The fixture of the maintenance tests: the sandbox, the user's and the products' folders, and a
// diagnostics sink that keeps what the cleaner writes for the user.
#ifndef CORVIX_TESTS_MAINTENANCE_MAINTENANCETEST_H
#define CORVIX_TESTS_MAINTENANCE_MAINTENANCETEST_H

#include <string>
#include <utility>

#include "CorvixCleaner.h"
#include "TestEnvironment.h"
#include "VeskDiagnostics.h"

namespace corvix_test {

class MaintenanceTest : public SandboxTest, public VeskDiagnosticSink {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _previousSink = vesk_setDiagnosticSink(this);
        g_shouldRunCPRThread = 1;
    }
    void TearDown() override {
        vesk_setDiagnosticSink(_previousSink);
        SandboxTest::TearDown();
    }
    void write(const std::string& text) override { _diagnostics += text; }
    // What reached the sink since the last call.
    std::string diagnostics() { return std::exchange(_diagnostics, std::string()); }

    std::string userFolder() const { return home() + "/.config/Orvanta/Corvix/"; }
    // generation "CorvixPro" or "CorvixPro2".
    std::string product(const std::string& generation, const std::string& item) const {
        return root() + "/Library/Application Support/Orvanta Software/" + generation + "/" + item;
    }

  private:
    VeskDiagnosticSink* _previousSink = nullptr;
    std::string _diagnostics;
};

}  // namespace corvix_test

#endif
