// An installed application as discovery sees it, read portably from the file system.
//
// A path that lies inside an application bundle (the folder that ends at the path's first ".app")
// stands for that bundle: its folder is the ".app" folder and its main executable is the file that
// "CFBundleExecutable" of "Contents/Info.plist" names under "Contents/MacOS". Any other path is an
// application that is no bundle: its main executable is the path itself and its folder is the
// folder of that executable.
//
// Only XML property lists are read (with TinyXML, bounded as XmlFile.h says); a binary list, like
// a missing or malformed one, counts as unreadable, and a FIFO, folder, oversized or too deeply
// nested one is also reported through the diagnostics sink. Plain value object; nothing is
// cached; any thread.
#ifndef CORVIX_RENDERERS_APPBUNDLE_H
#define CORVIX_RENDERERS_APPBUNDLE_H

#include <string>

class AppBundle {
  public:
    explicit AppBundle(const std::string& applicationPath);

    // The main executable's full path, or "" when the bundle names none that exists.
    const std::string& getExecutablePath() const { return _executablePath; }
    // The bundle's folder (or the executable's folder for an application that is no bundle);
    // "" when the application path was empty.
    const std::string& getFolder() const { return _folder; }
    bool isBundle() const { return _isBundle; }

    // The path cut right after its first ".app", or "" when it holds none.
    static std::string bundlePathOf(const std::string& path);

    // Reads the string value of key from the top-level dictionary of bundleFolder's
    // "Contents/Info.plist". False, value untouched, when the list is unreadable, lacks the key or
    // holds something other than a string under it.
    static bool readInfoString(const std::string& bundleFolder, const char* key,
                               std::string* value);

  private:
    std::string _executablePath;
    std::string _folder;
    bool _isBundle = false;
};

#endif
