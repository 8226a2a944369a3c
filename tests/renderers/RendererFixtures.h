// Fixture helpers shared by the renderer tests: fake application bundles and executables in a
// sandbox, render control documents parsed from text, an application registry (GIO) over a
// temporary XDG data folder, and a fresh override map and a capturing diagnostics sink per test.
#ifndef CORVIX_TESTS_RENDERERS_RENDERERFIXTURES_H
#define CORVIX_TESTS_RENDERERS_RENDERERFIXTURES_H

#include <sys/stat.h>
#include <tinyxml.h>

#include <memory>
#include <string>
#include <vector>

#include "RenderControlInfo.h"
#include "RendererOverrideMap.h"
#include "TestEnvironment.h"
#include "VeskDiagnostics.h"

namespace renderer_test {

const char kSceneType[] = "application/x-corvix-scene";

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

// Registers the type of "*.cvxscene" and one desktop entry "app<i>.desktop" per command line
// (the Exec value) below dataHome, then rebuilds both caches, as a package manager would.
inline void registerApplications(const std::string& dataHome,
                                 const std::vector<std::string>& commandLines) {
    corvix_test::writeFile(dataHome + "/mime/packages/corvix-scene.xml",
                           "<?xml version=\"1.0\"?>\n<mime-info xmlns=\"http://www.freedesktop.org/"
                           "standards/shared-mime-info\"><mime-type type=\"" +
                               std::string(kSceneType) +
                               "\"><glob pattern=\"*.cvxscene\"/></mime-type></mime-info>\n");
    for (size_t i = 0; i < commandLines.size(); ++i) {
        corvix_test::writeFile(dataHome + "/applications/app" + std::to_string(i) + ".desktop",
                               "[Desktop Entry]\nType=Application\nName=App\nExec=" +
                                   commandLines[i] + "\nMimeType=" + kSceneType + ";\n");
    }
    ASSERT_EQ(0, corvix_test::runCommand("update-mime-database '" + dataHome + "/mime' 2>&1"));
    ASSERT_EQ(0,
              corvix_test::runCommand("update-desktop-database '" + dataHome + "/applications'"));
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

// Keeps every message the core sends to the diagnostics sink.
class CapturingSink : public VeskDiagnosticSink {
  public:
    void write(const std::string& text) override { _text += text; }
    std::string _text;
};

// The sandbox, with the process-wide override map emptied before and after each test and the
// core's messages captured in _diagnostics._text.
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
    std::string diagnostics() {
        std::string text;
        text.swap(_diagnostics._text);
        return text;
    }
    std::string applications() const { return root() + "/Applications"; }
    std::string rendererFolder() const {
        return root() + "/Library/Application Support/Orvanta Software/CorvixPro2/Renderers";
    }

    CapturingSink _diagnostics;
    VeskScopedDiagnosticSink _capture{&_diagnostics};
};

}  // namespace renderer_test

#endif
