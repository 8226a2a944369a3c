// One row of the 3D Renderers view: a renderer's name, the path of its executable as currently
// known (or as the user typed it), the render control file it came from, whether the path is the
// user's ("Specify") or found by the file or discovery ("Discover"), and whether the executable
// exists. Plain record, owned by ExternalRenderManager and edited in place by its users.
#ifndef CORVIX_RENDERERS_EXTERNALRENDERER_H
#define CORVIX_RENDERERS_EXTERNALRENDERER_H

#include <string>

class ExternalRenderer {
  public:
    ExternalRenderer() = default;
    virtual ~ExternalRenderer() = default;

    const std::string& getName() const { return _name; }
    void setName(const std::string& name) { _name = name; }
    const std::string& getPath() const { return _path; }
    void setPath(const std::string& path) { _path = path; }
    const std::string& getControlFile() const { return _controlFile; }
    void setControlFile(const std::string& controlFile) { _controlFile = controlFile; }
    bool isOverridden() const { return _overridden; }
    void setOverridden(bool overridden) { _overridden = overridden; }
    bool isValid() const { return _valid; }
    void setValid(bool valid) { _valid = valid; }

  private:
    std::string _name;
    std::string _path;
    std::string _controlFile;
    bool _overridden = false;
    bool _valid = false;
};

#endif
