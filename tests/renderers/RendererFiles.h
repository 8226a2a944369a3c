// Renderer fixture files shared by the renderer and command-line tests (RendererFixtures.h) and
// the window's tests: executables, application bundles, and an application registry (the type
// of "*.cvxscene" and desktop entries) below an XDG data folder. No test framework here: each
// returns false when a file could not be made or a cache not rebuilt.
#ifndef CORVIX_TESTS_RENDERERFILES_H
#define CORVIX_TESTS_RENDERERFILES_H

#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "../common/FixtureFiles.h"

namespace renderer_files {

const char kSceneType[] = "application/x-corvix-scene";

inline bool makeExecutable(const std::string& path, const std::string& contents = "#!/bin/sh\n") {
    return fixture_files::writeFile(path, contents) && chmod(path.c_str(), 0755) == 0;
}

// bundle/Contents/Info.plist (an XML property list naming executable and version) and
// bundle/Contents/MacOS/executable.
inline bool makeBundle(const std::string& bundle, const std::string& executable,
                       const std::string& version) {
    return fixture_files::writeFile(
               bundle + "/Contents/Info.plist",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n"
               "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>" +
                   executable + "</string><key>CFBundleShortVersionString</key><string>" + version +
                   "</string></dict></plist>\n") &&
           makeExecutable(bundle + "/Contents/MacOS/" + executable);
}

// Registers the type of "*.cvxscene" and one desktop entry "app<i>.desktop" per command line
// (the Exec value) below dataHome, then rebuilds both caches, as a package manager would.
inline bool registerApplications(const std::string& dataHome,
                                 const std::vector<std::string>& commandLines) {
    bool written = fixture_files::writeFile(
        dataHome + "/mime/packages/corvix-scene.xml",
        "<?xml version=\"1.0\"?>\n<mime-info xmlns=\"http://www.freedesktop.org/"
        "standards/shared-mime-info\"><mime-type type=\"" +
            std::string(kSceneType) +
            "\"><glob pattern=\"*.cvxscene\"/></mime-type></mime-info>\n");
    for (size_t i = 0; i < commandLines.size(); ++i) {
        written =
            written && fixture_files::writeFile(
                           dataHome + "/applications/app" + std::to_string(i) + ".desktop",
                           "[Desktop Entry]\nType=Application\nName=App\nExec=" + commandLines[i] +
                               "\nMimeType=" + kSceneType + ";\n");
    }
    return written &&
           std::system(("update-mime-database '" + dataHome + "/mime' >/dev/null 2>&1").c_str()) ==
               0 &&
           std::system(("update-desktop-database '" + dataHome + "/applications'").c_str()) == 0;
}

}  // namespace renderer_files

#endif
