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

inline std::string infoPlist(const std::string& executable, const std::string& version) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n<dict>\n"
           "\t<key>CFBundleExecutable</key>\n\t<string>" +
           executable +
           "</string>\n"
           "\t<key>CFBundleShortVersionString</key>\n\t<string>" +
           version + "</string>\n</dict>\n</plist>\n";
}

// bundle/Contents/Info.plist naming executable and version, and bundle/Contents/MacOS/executable.
inline void makeBundle(const std::string& bundle, const std::string& executable,
                       const std::string& version) {
    corvix_test::writeFile(bundle + "/Contents/Info.plist", infoPlist(executable, version));
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
