// The executable paths that the user has pinned to renderers by name, for the whole process. Read
// from the overrides file ("overrides.xml" in the renderers folder) that ExternalRenderManager
// writes; render control file loading asks it for a renderer's pinned path.
//
// One instance per process, created on first use and never deleted. Loads add to the map and
// replace entries of the same name; they never remove entries. Main thread only: getInstance is
// not guarded against two threads creating the instance at once.
#ifndef CORVIX_RENDERERS_RENDEREROVERRIDEMAP_H
#define CORVIX_RENDERERS_RENDEREROVERRIDEMAP_H

#include <map>
#include <string>

class RendererOverrideMap {
  public:
    static RendererOverrideMap* getInstance();
    virtual ~RendererOverrideMap();

    RendererOverrideMap(const RendererOverrideMap&) = delete;
    RendererOverrideMap& operator=(const RendererOverrideMap&) = delete;

    // Remembers path and reads the file's "overrides" element: each "renderer" child with a
    // "name" attribute and non-empty text sets name -> text, later lines winning. Returns false
    // only when the file parsed but has no "overrides" element; true otherwise, also when the
    // file could not be read at all (the map is then unchanged). A damaged file (one that does
    // not parse or has no "overrides" element) is reported through the diagnostics sink.
    bool load(const char* path);

    // The path pinned to name (case-sensitive), or null. The text belongs to the map and stays
    // valid until the entry is replaced or cleared.
    const char* getPathForRenderer(const char* name) const;

    // Writes the map to the diagnostics sink, entries in name order.
    void printOverrides() const;

    // Forgets every entry and the file path, leaving the map as a new process finds it. The
    // command line calls it so that each command starts from the overrides file on disk even
    // when several commands run in one process.
    void clear();

    const std::string& getFilePath() const { return _filePath; }
    // Every pin, by name.
    const std::map<std::string, std::string>& getOverrides() const { return _overrides; }

  private:
    RendererOverrideMap() = default;

    std::map<std::string, std::string> _overrides;
    std::string _filePath;
};

#endif
