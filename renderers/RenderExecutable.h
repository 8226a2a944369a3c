// One candidate program of a renderer, built from an "executable" element of its render control
// file: the launch path (expanded pattern, discovered path or the user's override) and how the
// program is driven (adapter, console stream, console reader, HFS-style paths).
//
// Owned by its RenderControlInfo. Main thread only. Nothing here throws; failures show as
// exists() being false, and discovery and home-folder diagnostics go to the diagnostics sink.
#ifndef CORVIX_RENDERERS_RENDEREXECUTABLE_H
#define CORVIX_RENDERERS_RENDEREXECUTABLE_H

#include <string>

class RenderExecutable {
  public:
    // Expands pathPattern: the first "($APPDIR)" becomes getDefaultApplicationPath() (a second
    // one stays as written), every "($USERDIR)" becomes getUserPath(); then verifyPath(). A null
    // pattern gives an empty launch path that does not exist.
    explicit RenderExecutable(const char* pathPattern);
    virtual ~RenderExecutable();

    RenderExecutable(const RenderExecutable&) = delete;
    RenderExecutable& operator=(const RenderExecutable&) = delete;

    // exists = the launch path can be opened for reading. It is opened without blocking; a FIFO,
    // socket or device there is not opened at all, counts as missing and is reported.
    void verifyPath();
    // Sets the launch path (null reads as ""), then verifyPath().
    void setPathToExecutable(const char* path);
    const char* getLaunchPath() const { return _launchPath.c_str(); }

    // Replaces the launch path with the executable found for the discover key, using the current
    // launch path as the signature (AppFinder::findApplicationForExtension); when nothing is
    // found the launch path becomes "" and exists false.
    void discoverApplication();

    // The current user's home folder, looked up once and kept for this object's lifetime; may
    // be "" when the lookup fails or the folder's path does not fit a path buffer (both
    // reported through the diagnostics sink; a "($USERDIR)" token is then left in place).
    const char* getUserPath();
    // "/Applications" below the machine root; the text stays valid until the next call.
    const char* getDefaultApplicationPath();

    void setDiscoverKey(const char* key);
    const char* getDiscoverKey() const { return _discoverKey.c_str(); }
    void setAdapter(const char* adapter);
    const char* getAdapter() const { return _adapter.c_str(); }
    bool hasAdapter() const { return _hasAdapter; }
    void setVersionString(const char* version);
    const char* getVersionString() const { return _versionString.c_str(); }
    bool usesHFS() const { return _usesHFS; }
    void setUsesHFS(bool uses) { _usesHFS = uses; }
    bool isConsoleReader() const { return _consoleReader; }
    void setConsoleReader(bool reader) { _consoleReader = reader; }
    // 0: standard output, 1: standard error.
    int getStream() const { return _stream; }
    void setStream(int stream) { _stream = stream; }
    bool exists() const { return _exists; }
    bool isOverridden() const { return _overridden; }
    void setOverridden(bool overridden) { _overridden = overridden; }

    // Writes path, version, stream, console reader and existence to the diagnostics sink.
    void dumpInfo() const;

  private:
    std::string _launchPath;
    std::string _discoverKey;
    std::string _adapter;
    std::string _versionString;
    bool _consoleReader = false;
    bool _exists = false;
    bool _hasAdapter = false;
    bool _usesHFS = false;
    bool _overridden = false;
    int _stream = 0;
    char* _userFolder = nullptr;  // malloc'ed, released with free()
    bool _userFolderRefused = false;
    std::string _applicationFolder;
};

#endif
