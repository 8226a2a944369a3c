// Fixture helpers shared by the renderer tests: fake application bundles and executables in a
// sandbox and an application registry (GIO) over a temporary XDG data folder (RendererFiles.h,
// failing the test when a file cannot be made), render control documents parsed from text, and a
// fresh override map and captured diagnostics per test.
#ifndef CORVIX_TESTS_RENDERERS_RENDERERFIXTURES_H
#define CORVIX_TESTS_RENDERERS_RENDERERFIXTURES_H

#include <tinyxml.h>

#include <memory>
#include <string>
#include <vector>

#include "DiagnosticCapture.h"
#include "RenderControlInfo.h"
#include "RendererFiles.h"
#include "RendererOverrideMap.h"
#include "TestEnvironment.h"

namespace renderer_test {

using renderer_files::kSceneType;

inline void makeExecutable(const std::string& path, const std::string& contents = "#!/bin/sh\n") {
    EXPECT_TRUE(renderer_files::makeExecutable(path, contents)) << path;
}

inline void makeBundle(const std::string& bundle, const std::string& executable,
                       const std::string& version) {
    EXPECT_TRUE(renderer_files::makeBundle(bundle, executable, version)) << bundle;
}

inline void registerApplications(const std::string& dataHome,
                                 const std::vector<std::string>& commandLines) {
    ASSERT_TRUE(renderer_files::registerApplications(dataHome, commandLines)) << dataHome;
}

// Parses a render control document and builds its renderer; null when either fails.
inline std::unique_ptr<RenderControlInfo> controlInfoFrom(const std::string& xml,
                                                          bool ignoreOverride = false) {
    TiXmlDocument document;
    document.Parse(xml.c_str());
    TiXmlElement* renderer = document.FirstChildElement("renderer");
    return std::unique_ptr<RenderControlInfo>(
        RenderControlInfo::controlInfoFromElement(renderer, ignoreOverride));
}

// The sandbox, with the process-wide override map emptied before and after each test and the
// core's messages captured.
class RendererTest : public corvix_test::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        RendererOverrideMap::getInstance()->clear();
    }
    void TearDown() override {
        RendererOverrideMap::getInstance()->clear();
        SandboxTest::TearDown();
    }
    // The captured messages, cleared for the next step.
    std::string diagnostics() { return _diagnostics.take(); }
    std::string applications() const { return root() + "/Applications"; }
    std::string rendererFolder() const { return productFolder() + "Renderers"; }

    corvix_test::DiagnosticCapture _diagnostics;
};

}  // namespace renderer_test

#endif
