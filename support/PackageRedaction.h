// PackageRedaction: hides the names and addresses of this machine and its user in a staged
// support package, and keeps the map from real value to stand-in beside the archive.
//
// The names come from the system: the host name, the machine's "/etc/hostname" and the names of
// its "/etc/hosts" (both below the machine root), the login name, full name and home folder of
// the user running the job; addresses are found by their form (see Pseudonymizer). A map given
// back from an earlier package is read first, so the same machine gets the same stand-ins.
//
// Ownership and threads: one object per job, used by the job's thread only.
// Failure: every step returns false with the reason, naming the file, in *why; a staged text
// that could not be rewritten whole fails the job rather than leaving a real value in it.
#ifndef CORVIX_SUPPORT_PACKAGEREDACTION_H
#define CORVIX_SUPPORT_PACKAGEREDACTION_H

#include <memory>
#include <string>

#include "Pseudonymizer.h"

class VeskAtomicFile;

class PackageRedaction {
  public:
    PackageRedaction();
    ~PackageRedaction();

    // The map kept beside the archive at archivePath: archivePath + ".map".
    static std::string mapPathFor(const std::string& archivePath);

    // Reads the map at mapPath (none when empty) and learns this machine's names.
    bool start(const std::string& mapPath, std::string* why);

    // Rewrites every text file below folder with its stand-ins. A file holding a NUL byte is
    // binary (the product's frame cache registry) and is left as it is.
    bool redactFolder(const std::string& folder, std::string* why);

    // Writes the map (mode 0600) to a temporary file beside mapPath; commitMap() puts it in
    // place, so that an archive that could not be saved leaves an older map as it was.
    bool prepareMap(const std::string& mapPath, std::string* why);
    bool commitMap(std::string* why);

    Pseudonymizer& pseudonymizer() { return _pseudonymizer; }

  private:
    bool redactFile(const std::string& path, std::string* why);

    Pseudonymizer _pseudonymizer;
    std::unique_ptr<VeskAtomicFile> _map;
};

#endif
