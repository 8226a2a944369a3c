// SupportPackage: the staging area of a support package, and its manifest "package.xml".
//
// A package owns one folder (normally a fresh "/tmp/osp_XXXXXXX" made by createSupportPackage)
// with the category folders "system", "application" and "user". Files are copied in singly or by
// glob pattern, optionally into a feature subfolder of their category; the standard output of
// shell commands is captured into files of the "system" category. Every file placed in a category
// is recorded for the manifest. savePackage writes the manifest and zips the whole folder.
//
// Ownership: the package owns its four paths, its lock and its entry lists; it does not own the
// package description record handed to setPackageInfo (except the one _genDummyPackInfo makes).
// Destroying a package never removes its folder on disk.
//
// Threads: one thread fills a package. Only addOutputToSys is serialised (by the package's lock,
// held from before the pipe is made until the child has been reaped), so captures on the same
// package from several threads run one after the other. The package job runs its commands side by
// side instead, through a CaptureRun (which does not take the lock).
//
// Failure: results are 1 / 0 (see each operation); the copy operations report 0 whatever
// happened, as their callers never look. A staged file or capture that could not be written whole
// (a full or broken staging disk) is remembered in stagingError() instead, so that the package is
// never reported whole when it is not. Diagnostics go through the diagnostics sink
// (vesk_diagnostic), each beginning with a newline, never to the product log. A path that does
// not fit a path buffer is refused with a message naming it, never cut. Exceptions are
// SupportPackageException only: a category or feature folder that cannot be made, or a capture
// pipe that cannot be made. A failed fork ends the program with status 1.
//
// Cancelling: with a cancel flag set (setCancelFlag), copies, captures and the archive stop soon
// after the flag is raised; a running command's process group is ended.
//
// Implementation: SupportPackage.cpp (folders and copying), SupportPackageCapture.cpp (command
// capture), SupportPackageArchive.cpp (saving) and PackageManifest.cpp (manifest).
#ifndef CORVIX_SUPPORT_SUPPORTPACKAGE_H
#define CORVIX_SUPPORT_SUPPORTPACKAGE_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "SupportPackageException.h"
#include "Vesk_Thread.h"

class CommandCapture;
class DeflateCache;
class PackageCancelFlag;
class Vesk_Mutex;

// The category of a copied file. Any value above 3 counts as user.
enum _sp_support_info_type : int {
    SP_INFO_NONE = 0,         // target folder given by the caller; nothing is recorded
    SP_INFO_APPLICATION = 1,  // application folder, "application" entries
    SP_INFO_SYSTEM = 2,       // system folder, "system" entries
    SP_INFO_USER = 3,         // user folder, "user" entries
};

// The package description written into the manifest. The caller owns the record and its texts;
// a null text is written as "(null)", except the comment, which is then empty.
struct _sp_package_info_struct {
    int _version;           // manifest format version; below 1 is raised to 1 when written
    char* _productName;     // <application>
    char* _productVersion;  // <appversion>
    char* _userName;        // <user>
    char* _company;         // <company>
    char* _license;         // <license>: a free text that the caller fills
    char* _comment;         // <comment>, escaped by the manifest writer
    char* _email;           // <email>
    int _build;             // <build>
    int _timestamp;         // <timestamp>, seconds since 1970
};

// What savePackage made of the archive, for a caller that reports it.
struct PackageArchive {
    std::string _error;         // why no archive was made; empty when it was
    bool _interrupted = false;  // the cancel flag stopped it
    int64_t _size = 0;          // the archive renamed into place: its size
    std::string _sha256;        // and its SHA-256, taken from the bytes that were read back
};

class SupportPackage : public Vesk_Runnable {
  public:
    // Default limit of one captured command's run time, in seconds.
    static const int kDefaultCommandTimeout = 120;

    // Makes a fresh temporary folder with its "system", "user" and "application" subfolders and
    // returns a new package over it (owned flag set); the caller deletes it. Throws when the
    // folder or its "system" subfolder cannot be made; returns null (after a diagnostic) when
    // "user" or "application" cannot. Folders already made are left in place on failure.
    static SupportPackage* createSupportPackage();

    // A package over the folder contents (copied). The category paths are root + "/application",
    // root + "/system" and root + "//user" (the doubled slash is harmless to the file system and
    // is kept: the user path has always been formed this way); all are null for a null contents
    // path. owned is stored and not consulted.
    SupportPackage(const char* contents, bool owned);
    // Frees the paths and the lock and closes any open stream; leaves the folder on disk.
    ~SupportPackage() override;
    SupportPackage(const SupportPackage&) = delete;
    SupportPackage& operator=(const SupportPackage&) = delete;

    // Makes "<temporary folder>/osp_" + 7 random letters and digits (mode 0700) and copies its
    // path into buffer with strncpy semantics (at most length bytes). 0 for a null buffer or when
    // the folder cannot be made, else 1.
    static int createTempDirectory(char* buffer, unsigned long length);

    // The user's Desktop folder into buffer; 1 on success, 0 for a null or empty buffer, when
    // there is no home folder, or when the path does not fit in length - 1 bytes (the buffer is
    // then left empty: a cut path would name another folder). Not created.
    static int getPathToDesktop(char* buffer, unsigned long length);

    // Copies source into target (feature subfolder made with mode 0777 when a feature is given;
    // throws if it cannot be made) under its base name, and records the entry
    // "<category>[/<feature>]/<base name>" when the copy succeeded and type is not SP_INFO_NONE.
    // A source without '/' names a file of the working folder and is its own base name. In the
    // user category a name this package already copied in gets a number: the second "crash.log"
    // arrives as "crash (2).log", and is recorded so. A copy that fails leaves no partial file
    // behind. Always returns 0.
    int addFileToDir(const char* source, const char* target, _sp_support_info_type type,
                     const char* feature);
    int addFileToApp(const char* source, const char* feature);
    int addFileToSys(const char* source, const char* feature);
    int addFileToUsr(const char* source, const char* feature);
    // Does nothing; 0.
    int addFileToLogs(const char* source, const char* feature);

    // addFileToDir for every match of the glob pattern (tilde expanded, sorted). recursive is
    // accepted and ignored: folders cannot be copied and are skipped. Returns glob's result when
    // nothing matched (GLOB_NOMATCH), else 0.
    int addFilesToDir(const char* pattern, const char* target, bool recursive,
                      _sp_support_info_type type, const char* feature);
    int addFilesToApp(const char* pattern, bool recursive, const char* feature);
    int addFilesToSys(const char* pattern, bool recursive, const char* feature);
    int addFilesToUsr(const char* pattern, bool recursive, const char* feature);

    // Copies a regular file; 1 when every byte was read and written (or source and destination
    // are one file, which is left as it is). The kernel copies it where it can (no byte passes
    // through this process; a file system that shares blocks makes a reflink), run of data by run
    // of data, so the source's holes stay holes. Across file systems it reads and writes large
    // blocks instead, each written through as it goes, and blocks of zeros become holes. Either
    // way a full disk shows at the write that did not fit, and the final close has nothing left
    // to flush. 0 when the source or the destination is not a regular file
    // (FIFOs, sockets and devices are refused without blocking), when either cannot be opened,
    // when reading fails, or when not every byte could be written (the partial destination is
    // left in place).
    static int copyFile(const char* source, const char* destination);

    // Deletes the tree at path without following symbolic links (a link is removed, not its
    // target, also when path itself is one) and returns the number of non-folder entries it tried
    // to remove. Folders whose name begins with '.' are neither entered nor removed, so a folder
    // holding one stays. The path itself is removed last, also when it could not be opened as a
    // folder (a plain file). The walk is iterative and relative to each folder: any depth works.
    static int killDirectory(const char* path);

    // Runs command with "/bin/sh -c" and the empty environment, in its own process group, and
    // stores its standard output as system/<fileName> ("wt", or "at" when append is set; only a
    // "wt" capture records the manifest entry), its standard error after it. A command still
    // running after the command timeout gets SIGTERM, then SIGKILL, for its whole group; what it
    // wrote is kept. When the cancel flag is raised the group is ended at once. Returns when the
    // child has been reaped. Does nothing for a null argument or once cancelled. Throws when the
    // pipe cannot be made; the lock then stays held, so the package takes no further captures.
    void addOutputToSys(const char* command, const char* fileName, bool append);

    // Limit of one captured command's run time in seconds; 0 or less: no limit.
    void setCommandTimeout(int seconds) { _commandTimeout = seconds; }
    int commandTimeout() const { return _commandTimeout; }

    // The flag that stops this package's copies, captures and archive (not owned; it must outlive
    // the package). Null: nothing stops them.
    void setCancelFlag(const PackageCancelFlag* flag) { _cancel = flag; }
    const PackageCancelFlag* cancelFlag() const { return _cancel; }

    // Reports how far a long piece of work has got, on the thread that does it: what is "archive"
    // while savePackage writes the archive (done of total bytes of the staged files, each time a
    // piece went in), or the source path of a copy of 64 MiB or more (done of its size). The last
    // report of each has done == total; a failed or cancelled one ends without it.
    using ByteProgress =
        std::function<void(const std::string& what, uint64_t done, uint64_t total)>;
    void setByteProgress(ByteProgress progress) { _byteProgress = std::move(progress); }

    // The capture file system/<fileName>: its path, or an empty text when it does not fit a path
    // buffer.
    std::string capturePath(const char* fileName) const;

    // The first staged file, capture or report that could not be written whole, with the cause
    // ("system/shm.txt: No space left on device"); empty while every write succeeded.
    const std::string& stagingError() const { return _stagingError; }
    // Records such a failure (the first one is kept).
    void noteStagingFailure(const std::string& what, int error);

    // Vesk_Runnable. run() is the capture loop of addOutputToSys, called on the capturing thread:
    // it copies the child's output into the capture file (if open) until the output ends, then
    // reaps the child and closes the capture file. stop() does nothing.
    void run() override;
    void stop() override {}
    const char* name() override { return "SupportPackage"; }

    // Reads the next piece of the child's output (a line, or a part of one up to count - 1 bytes)
    // into buffer; 1 when something was read, 0 at the end of the output, whereupon the stream is
    // closed. Also 0, closing nothing, when no child output is open or the buffer holds under 2
    // bytes.
    int getInputFromChild(char* buffer, int count);

    const char* getPathToContents() const { return _contentsPath; }
    const char* getPathToSys() const { return _systemPath; }
    const char* getPathToApp() const { return _applicationPath; }
    const char* getPathToUsr() const { return _userPath; }

    // Starts compressing the application and user folders for the archive on threads of their
    // own, while the job still waits for its system commands: call it once both folders are
    // complete. savePackage takes the streams that are finished and compresses the rest itself;
    // the archive's bytes are the same either way (see DeflateCache).
    void warmArchive();

    // Stores the record (not owned) that savePackage describes the package with.
    void setPackageInfo(_sp_package_info_struct* info) { _packageInfo = info; }

    // Writes contents/package.xml and zips the contents folder (entries relative to it) to
    // archivePath. The archive is written beside archivePath under a temporary name, read back
    // whole (every entry's CRC-32), synced and only then renamed over archivePath; the
    // compression, the read-back and the digest run on several threads, all joined before this
    // returns; on any failure
    // the temporary file is removed and an existing archive stays exactly as it was. 1 when the
    // archive is in place, else 0: without package info or path, when the manifest cannot be
    // written, or when the archive could not be written, read back or renamed. archive (when not
    // null) says why, or the size and SHA-256 of what was renamed into place. The folder is left
    // on disk.
    int savePackage(const char* archivePath, PackageArchive* archive = nullptr);

    // Reading a saved package back is not supported; 0.
    int loadSupportPackage(const char* path);

    // Development aid: gives the package a sample record that it owns, unless it already has one.
    void _genDummyPackInfo();

    // ---- manifest (PackageManifest.cpp) ----

    // Writes the manifest of info and the recorded entries to path; raises info's version to 1
    // when below. The comment is escaped whole, however long. 1 on success, 0 (with a diagnostic)
    // for a null argument, a file that cannot be opened, or one that could not be written whole.
    int writePackageInfo(_sp_package_info_struct* info, const char* path);

    // Writes one manifest section named element listing entries; nothing if an argument is null.
    static void addAttachments(FILE* stream, const char* element,
                               std::vector<std::string>* entries);

    // Records system/<fileName> for a file written into the system folder by other means.
    void addFileToSysManifest(const char* fileName);

    // Escapes input for the manifest into output, which must hold limit bytes: newline becomes
    // "<br />", tab and carriage return are dropped, " & < > become entities, and
    // ! # $ % * + , - / : ; = ? @ { | } ~ become "&#<code>;". At most limit input characters are
    // read; the output is cut before an escape that would not fit in limit bytes with its NUL. A
    // null input gives the empty text.
    static void urlEncodeString(char* input, char* output, unsigned long limit);

    // urlEncodeString of the whole text, never cut (the result is sized from the escapes).
    static std::string escapedWhole(const char* input);

    // The entry lists, in the order entries were recorded.
    const std::vector<std::string>& systemEntries() const { return _systemEntries; }
    const std::vector<std::string>& applicationEntries() const { return _applicationEntries; }
    const std::vector<std::string>& userEntries() const { return _userEntries; }

  private:
    // urlEncodeString with the output's capacity apart from the input limit.
    static void encodeInto(const char* input, char* output, unsigned long limit,
                           unsigned long capacity);

    // The copy of addFileToDir: copyFile's work, with the cancel flag, the destination's number
    // and a failure to write remembered as the staging error. Returns the name it arrived under,
    // or an empty text when it did not arrive.
    std::string stageFile(const char* source, const char* folder, const char* baseName,
                          bool numbered);
    // Writes the archive of the contents folder to archivePath (see savePackage).
    bool writeArchive(const char* archivePath, PackageArchive* archive, DeflateCache* warm);

    FILE* _commandStream;                // pclose-d at destruction if set; nothing sets it
    CommandCapture* _capture = nullptr;  // addOutputToSys's running command, for run()
    char* _contentsPath;
    char* _applicationPath;
    char* _systemPath;
    char* _userPath;
    bool _owned;
    _sp_package_info_struct* _packageInfo;
    Vesk_Mutex* _lock;
    std::vector<std::string> _systemEntries;
    std::vector<std::string> _applicationEntries;
    std::vector<std::string> _userEntries;
    std::vector<std::string> _attachmentEntries;  // nothing fills it

    int _commandTimeout;
    _sp_package_info_struct* _dummyInfo;  // owned; made by _genDummyPackInfo
    const PackageCancelFlag* _cancel = nullptr;
    ByteProgress _byteProgress;
    std::string _stagingError;
    std::set<std::string> _stagedFiles;        // every file copied in, so that none is replaced
    std::unique_ptr<DeflateCache> _warmCache;  // made by warmArchive, ended by savePackage
};

#endif
