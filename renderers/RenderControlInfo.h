// One external 3D renderer as its render control file describes it: display name, icon, the
// document types it opens, and the executables of it that exist on this machine, with the one
// chosen to run. Built from the file's "renderer" element by controlInfoFromElement, read, and
// deleted within one load; render control files are never written.
//
// Owns its RenderExecutables (deleted in the destructor). Main thread only. Diagnostics of
// discovery go to the diagnostics sink; nothing throws.
#ifndef CORVIX_RENDERERS_RENDERCONTROLINFO_H
#define CORVIX_RENDERERS_RENDERCONTROLINFO_H

#include <string>
#include <utility>
#include <vector>

class RenderExecutable;
class TiXmlElement;

class RenderControlInfo {
  public:
    // (installed application version, executable path)
    typedef std::pair<std::string, std::string> Product;

    RenderControlInfo() = default;
    virtual ~RenderControlInfo();

    RenderControlInfo(const RenderControlInfo&) = delete;
    RenderControlInfo& operator=(const RenderControlInfo&) = delete;

    // Builds a renderer from its "renderer" element: a new object the caller owns, or null when
    // renderer is null or has no "executable" element other than "win" ones. Executables whose
    // file is missing are dropped, so the result may have none. The user's override path for the
    // renderer's name (a renderer without a name has none) replaces every executable's launch
    // path unless ignoreOverride is set; it is reported by getOverridePath() either way.
    static RenderControlInfo* controlInfoFromElement(TiXmlElement* renderer, bool ignoreOverride);

    // Null texts are ignored.
    void addExtension(const char* extension);
    void addUTI(const char* uti);
    // Appends; the info takes ownership. Null is ignored.
    void addExecutable(RenderExecutable* executable);
    // Appends (version of the application at path, path); the version is "1.0" unless
    // getVersionStringForPath finds one.
    void addProduct(const char* path);

    // Chooses the executable of the installed application with the highest version; among
    // executables pointing at it, the one with the highest declared version not above the
    // installed one (an executable without a declared version always qualifies); among equal
    // versions, the first in the file. With no products the choice stays empty. Reorders
    // products (descending) and executables (ascending by declared version), stably.
    void determineCorrectExecutable();

    // The "CFBundleShortVersionString" of the application bundle holding path (the path up to its
    // first ".app"). False, version untouched, when there is no ".app" or no readable version.
    static bool getVersionStringForPath(const char* path, std::string& version);

    // The chosen executable; when none is chosen, the first executable, which is then
    // remembered as chosen; null when there are none.
    RenderExecutable* getExecutable();

    // True when ext equals one of the extensions exactly.
    bool handlesExtension(const char* ext) const;

    const char* getName() const { return _name.c_str(); }
    void setName(const char* name);
    const char* getIconFile() const { return _iconFile.c_str(); }
    void setIconFile(const char* iconFile);
    const std::vector<std::string>& getExtensions() const { return _extensions; }
    const std::vector<std::string>& getUTIs() const { return _utis; }
    const std::vector<RenderExecutable*>& getExecutables() const { return _executables; }
    const std::vector<Product>& getProducts() const { return _products; }
    const char* getOverridePath() const { return _overridePath.c_str(); }

    // Writes the extensions and UTIs to the diagnostics sink.
    void dumpInfo() const;

  private:
    std::vector<std::string> _extensions;
    std::vector<std::string> _utis;
    std::vector<RenderExecutable*> _executables;
    std::string _name;
    std::string _iconFile;
    std::vector<Product> _products;
    RenderExecutable* _chosenExecutable = nullptr;
    std::string _overridePath;
};

#endif
