// An application bundle's "Contents/Info.plist": any file yields a version and an executable or
// none, without harm, for the bundle and for a path inside it.
#include <string>

#include "AppBundle.h"
#include "FuzzSandbox.h"
#include "RenderControlInfo.h"

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(
        folder, "bundle",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\">"
        "<dict><key>CFBundleExecutable</key><string>Prism</string>"
        "<key>CFBundleShortVersionString</key><string>10.1</string>"
        "<key>Other</key><array><string>x</string><dict/></array></dict></plist>\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string bundle = fuzz_begin() + "/work/Prism.app";
    fuzz_writeFile(bundle + "/Contents/Info.plist", data, size);
    fuzz_writeFile(bundle + "/Contents/MacOS/Prism", "#!/bin/sh\n");
    std::string value;
    bool found = AppBundle::readInfoString(bundle, "CFBundleShortVersionString", &value);
    std::string version = "unchanged";
    bool read = RenderControlInfo::getVersionStringForPath(
        (bundle + "/Contents/MacOS/Prism").c_str(), version);
    fuzz_check(read == found && (!read || version == value), "the two readers disagree");
    AppBundle application(bundle + "/Contents/MacOS/Prism");
    application.getExecutablePath();
    return 0;
}
