// The system information report: a few facts about the machine (operating system
// version and build, the user's language, processor count, memory size), written as the small
// XML file "system.xml" of a support package's "system" category. Also the folder test
// PathFileExists that the staging area uses.
//
// The facts come from the platform seam (runtime/VeskPlatform.h): on Linux the platform is
// "Linux", version and build come from os-release below the machine root (see DESIGN.md 3).
//
// Threads: the singleton is not guarded; create it (first instance() call) on one thread. The
// getters may then be called from the thread that owns the report (the package job's worker).
// Failure: only the processor-count and memory messages are written, through the diagnostics
// sink (standard error by default); a system file that cannot be read safely (a FIFO in place of
// os-release) is reported by the platform seam.
#ifndef CORVIX_SUPPORT_SYSTEMINFO_H
#define CORVIX_SUPPORT_SYSTEMINFO_H

#include <cstdint>

class SystemInfo {
  public:
    // The single instance, created on first call. Deleting it frees both buffers and clears the
    // class-wide pointer, so a later call makes a fresh instance.
    static SystemInfo* instance();

    virtual ~SystemInfo();
    SystemInfo(const SystemInfo&) = delete;
    SystemInfo& operator=(const SystemInfo&) = delete;

    // The platform's name for reports ("Linux" on Linux).
    const char* getPlatform();

    // Version and build of the operating system; both are loaded on first use of either getter.
    // A value the system does not give is the empty text. The result is owned by the instance.
    const char* getOSVersionString();
    const char* getOSBuildNumberString();

    // Fills both buffers from the system version file (os-release). A value that is not found
    // leaves its buffer as it was. The buffers must have been allocated.
    void getOSVersionInfo();

    // Writes the locale identifier ("en_US") into buf, at most len bytes including the NUL;
    // 1 if an identifier was obtained, 0 otherwise (buf is then left unchanged).
    int getUserLanguage(char* buf, unsigned long len);

    // Processors online; on failure prints its message to standard error and returns 1.
    int32_t getNumberOfProcessors();

    // Physical memory in mebibytes (bytes >> 20, kept to 32 bits); on failure prints its
    // message to standard error and returns 0.
    int32_t getTotalMemoryInMB();

    // Writes the 13-line report to path (mode "wt"); 1 on success, 0 if path is null, the file
    // cannot be opened (or is not a regular file) or could not be written whole. Values are not
    // escaped.
    int outputToXML(const char* path);

  protected:
    // Protected so that tests may derive and replace the two sources below; production code uses
    // instance().
    SystemInfo();

    // The sources of the hardware facts; by default the platform seam (vesk_processorCount,
    // vesk_memorySize). false when the system had no answer.
    virtual bool queryProcessorCount(int* count);
    virtual bool queryMemorySize(uint64_t* bytes);

  private:
    void loadVersionInfo();

    char* _osVersion;  // 1024 bytes, allocated (and cleared) on first use
    char* _osBuild;    // 1024 bytes, allocated (and cleared) on first use

    static SystemInfo* _instance;
};

// 1 if the path can be opened as a folder (it is closed again at once), else 0. A regular file
// therefore counts as not existing.
int PathFileExists(const char* path);

#endif
