// Discovery of a renderer's executable: asks the system which applications open a document of a
// given extension and searches them for an executable whose file name matches a signature, a
// POSIX extended regular expression (unanchored).
//
// Stateless; all operations are static. The questions to the system (default application and all
// applications for a document type) are the platform's part and live in AppFinder-<platform>.cpp;
// the rest is portable. Main thread only, like all renderer code (the platform's application
// registry is not guarded here). Result buffers follow the path-buffer convention: resultSize + 1
// bytes, zero-filled by the caller; at most resultSize bytes (never more than 1024) are written,
// always followed by a terminator.
#ifndef CORVIX_RENDERERS_APPFINDER_H
#define CORVIX_RENDERERS_APPFINDER_H

#include <regex.h>

#include <string>
#include <vector>

class AppBundle;

class AppFinder {
  public:
    // True when the file's mode has the owner-execute bit set (links are followed); a file that
    // cannot be examined is not executable.
    static bool isAnExecutable(const char* path);

    // Depth-first walk of dir in listing order; the first executable whose name (not path)
    // matches the signature ends the walk, its full path in result. Entries whose names begin
    // with one or two full stops are never examined (three pass). False when nothing matched or
    // dir cannot be opened.
    static bool scanDir(const char* dir, regex_t* signature, char* result,
                        unsigned long resultSize);

    // Matches the bundle's main executable name first; when that fails, walks the bundle's
    // folder with scanDir.
    static bool scanBundleContents(const AppBundle& bundle, regex_t* signature, char* result,
                                   unsigned long resultSize);

    // Creates an empty probe document "/tmp/tmpXXXXXXX.<extension>", asks for the default
    // application of its type and searches it; failing that, searches every application for the
    // type in the order the system gives. The probe is removed afterwards. A signature that does
    // not compile writes a message to the diagnostics sink and gives false.
    static bool findApplicationForExtension(const char* extension, const char* signature,
                                            char* result, unsigned long resultSize);

  private:
    // Platform part: the full path of the default application's executable for a document like
    // probePath, resolved through PATH and symbolic links. False when the type is unknown or has
    // no default.
    static bool defaultApplicationFor(const char* probePath, std::string* application);
    // Platform part: the executables of every application that opens a document like probePath,
    // in the system's order.
    static std::vector<std::string> applicationsFor(const char* probePath);
};

#endif
