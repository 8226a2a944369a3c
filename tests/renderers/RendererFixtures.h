// Fixture helpers shared by the renderer tests: fake application bundles and executables in a
// sandbox, render control documents parsed from text, and a fresh override map per test.
#ifndef CORVIX_TESTS_RENDERERS_RENDERERFIXTURES_H
#define CORVIX_TESTS_RENDERERS_RENDERERFIXTURES_H

#include <sys/stat.h>
#include <tinyxml.h>

#include <memory>
#include <string>

#include "RenderControlInfo.h"
#include "RendererOverrideMap.h"
#include "TestEnvironment.h"

namespace renderer_test {

inline void makeExecutable(const std::string& path, const std::string& contents = "#!/bin/sh\n") {
    corvix_test::writeFile(path, contents);
    chmod(path.c_str(), 0755);
}

// bundle/Contents/Info.plist (an XML property list naming executable and version) and
// bundle/Contents/MacOS/executable.
inline void makeBundle(const std::string& bundle, const std::string& executable,
                       const std::string& version) {
    corvix_test::writeFile(bundle + "/Contents/Info.plist",
                           "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n"
                           "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>" +
                               executable +
                               "</string><key>CFBundleShortVersionString</key><string>" + version +
                               "</string></dict></plist>\n");
    makeExecutable(bundle + "/Contents/MacOS/" + executable);
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

// The sandbox, with the process-wide override map emptied before and after each test.
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
    std::string applications() const { return root() + "/Applications"; }
    std::string rendererFolder() const {
        return root() + "/Library/Application Support/Orvanta Software/CorvixPro2/Renderers";
    }
};

}  // namespace renderer_test

#endif
