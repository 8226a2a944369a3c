// The rows of the 3D Renderers view: scans the renderers folder
// ("/Library/Application Support/Orvanta Software/CorvixPro2/Renderers" below the machine root)
// into one ExternalRenderer per readable render control file, edits rows as the view does, and
// writes the user's pinned paths back to "overrides.xml" in that folder (OverridesFile).
//
// Owns its records (deleted in the destructor); the list is edited in place through the row
// operations (or getRenderers()) and written only by commitChanges(). Loading first loads the
// process-wide RendererOverrideMap from the overrides file. Main thread only. Files that cannot
// be read add no row; special, oversized and too deeply nested files are reported through the
// diagnostics sink, naming them. Nothing throws.
#ifndef CORVIX_RENDERERS_EXTERNALRENDERMANAGER_H
#define CORVIX_RENDERERS_EXTERNALRENDERMANAGER_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class ExternalRenderer;
class VeskFileLock;

class ExternalRenderManager {
  public:
    // The view's "mode" pop-up: item 0 is "Discover", item 1 "Specify".
    static const int kModeDiscover = 0;
    static const int kModeSpecify = 1;

    // What the user is told after "Apply" (the view's alerts, the command line's notice): a
    // title and a message for each outcome. The titles differ in the case of "3d" and "3D", as
    // the product has always had them.
    static const char* const kCommitFailedTitle;
    static const char* const kCommitFailedMessage;
    static const char* const kCommitDoneTitle;
    static const char* const kCommitDoneMessage;

    // How long the overrides file's lock (VeskFileLock) is held. The view keeps its manager for
    // its lifetime and locks only while committing. A one-shot user (the command line) locks from
    // before loading until destruction, so that its read-modify-write never loses the pins of
    // another writer; commitChanges() then fails if that lock could not be had.
    enum LockMode { kLockWhileCommitting, kLockForLifetime };

    // Runs load().
    explicit ExternalRenderManager(LockMode lockMode = kLockWhileCommitting);
    virtual ~ExternalRenderManager();

    ExternalRenderManager(const ExternalRenderManager&) = delete;
    ExternalRenderManager& operator=(const ExternalRenderManager&) = delete;

    // The renderers folder below the machine root in force, and its overrides file.
    static std::string rendererFolder();
    static std::string overridesFile();

    // Loads the override map from the folder's "overrides.xml", then adds a row for every file
    // of the folder (in listing order) that is no folder, has a name longer than four characters
    // ending in ".xml" (exactly) and is not "overrides.xml" (in any letter case). A folder that
    // cannot be opened adds nothing; a file whose path does not fit a path buffer is reported
    // and skipped.
    void load();

    // Reads one render control file into existing, or into a new record appended to the list
    // when existing is null. The record takes the file path, the renderer's name and its chosen
    // executable's launch path, existence and override flag; a renderer without executables
    // gives its override path (possibly "") and is not valid, its override flag kept unless it
    // has an override path and overrides are not ignored (then it is set: the pin stays a pin).
    // A file that cannot be read or yields no renderer changes nothing. Returns 0.
    int parseXmlFile(const char* path, bool ignoreOverride, ExternalRenderer* existing);

    std::vector<ExternalRenderer*>& getRenderers() { return _renderers; }

    // The view's edits of row `row` (an index into getRenderers()). A row outside the list is
    // refused: false, a message through the diagnostics sink, nothing changed.
    //
    // kModeSpecify: the row is overridden and valid when anything exists at its current path.
    // Any other mode ("Discover"): the row is no longer overridden and its render control file
    // is read again ignoring the override map, which runs discovery and refreshes path and
    // validity.
    bool setMode(size_t row, int mode);
    // A path typed into the row: the row becomes overridden; a path that differs from the current
    // one other than in letter case replaces it and sets validity by whether anything exists
    // there, while a case-only change keeps the old text and validity. A null path, or one longer
    // than kVeskPathMaxLength, is refused (the latter reported) and changes nothing.
    bool setPath(size_t row, const char* path);

    // Rewrites "overrides.xml" with one line per overridden record, in list order, then the pins
    // of the override map whose renderer has no record, in name order (OverridesFile::write). False
    // when the file cannot be written; getCommitError() then says why, and the file on disk is as
    // it was.
    bool commitChanges();
    const std::string& getCommitError() const { return _commitError; }

  private:
    ExternalRenderer* rowAt(size_t row);

    std::vector<ExternalRenderer*> _renderers;
    std::unique_ptr<VeskFileLock> _lifetimeLock;
    std::string _commitError;
};

#endif
