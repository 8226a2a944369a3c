// The rows of the 3D Renderers view: scans the renderers folder
// ("/Library/Application Support/Orvanta Software/CorvixPro2/Renderers" below the machine root)
// into one ExternalRenderer per readable render control file, and writes the user's pinned paths
// back to "overrides.xml" in that folder.
//
// Owns its records (deleted in the destructor); the list is edited in place through
// getRenderers() and written only by commitChanges(). Loading first loads the process-wide
// RendererOverrideMap from the overrides file. Main thread only. Unreadable files add no row and
// report nothing; nothing throws.
#ifndef CORVIX_RENDERERS_EXTERNALRENDERMANAGER_H
#define CORVIX_RENDERERS_EXTERNALRENDERMANAGER_H

#include <string>
#include <vector>

class ExternalRenderer;

class ExternalRenderManager {
  public:
    // Runs load().
    ExternalRenderManager();
    virtual ~ExternalRenderManager();

    ExternalRenderManager(const ExternalRenderManager&) = delete;
    ExternalRenderManager& operator=(const ExternalRenderManager&) = delete;

    // The renderers folder below the machine root in force.
    static std::string rendererFolder();

    // Loads the override map from the folder's "overrides.xml", then adds a row for every file
    // of the folder (in listing order) that is no folder, has a name longer than four characters
    // ending in ".xml" (exactly) and is not "overrides.xml" (in any letter case). A folder that
    // cannot be opened adds nothing.
    void load();

    // Reads one render control file into existing, or into a new record appended to the list
    // when existing is null. The record takes the file path, the renderer's name and its chosen
    // executable's launch path, existence and override flag; a renderer without executables
    // gives its override path (possibly "") and is not valid, its override flag kept. A file
    // that cannot be read or yields no renderer changes nothing. Returns 0.
    int parseXmlFile(const char* path, bool ignoreOverride, ExternalRenderer* existing);

    std::vector<ExternalRenderer*>& getRenderers() { return _renderers; }

    // Rewrites "overrides.xml" with one line per overridden record, in list order; names and
    // paths are written as they stand, unescaped, as the product reads them. False when the file
    // cannot be opened for writing or written.
    bool commitChanges();

  private:
    std::vector<ExternalRenderer*> _renderers;
};

#endif
