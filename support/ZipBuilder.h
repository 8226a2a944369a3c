// The ZIP archive builder: a thin class over the minizip writer that turns a folder
// tree (a support package's staging folder) into one ZIP archive. Each file becomes one deflated
// entry (method 8, the library's default level) named by its path relative to a base folder,
// with an all-zero date and attributes. Every entry carries
// ZIP64 information, so files of 4 GiB and more stay valid.
//
// Ownership: the builder owns the open archive; closeFile() or the destructor finishes it.
// Threads: one builder is used by one thread at a time.
// Failure: nothing is printed. A failed open leaves no archive open, and later calls then add
// nothing. An entry whose data could not be written fully stays as far as it got.
#ifndef CORVIX_SUPPORT_ZIPBUILDER_H
#define CORVIX_SUPPORT_ZIPBUILDER_H

struct tm_zip_s;  // minizip's date record (<minizip/zip.h>)

class ZipBuilder {
  public:
    // Opens the archive at path: a new file, or with append set, an archive added after the
    // file's existing content. A null path opens nothing.
    ZipBuilder(const char* path, bool append);
    // Calls closeFile().
    virtual ~ZipBuilder();
    ZipBuilder(const ZipBuilder&) = delete;
    ZipBuilder& operator=(const ZipBuilder&) = delete;

    // Adds every entry of folder that readdir returns, in that order: subfolders are descended
    // when recursive is set unless their name begins with '.' (hidden folders stay out; hidden
    // files go in); every other entry goes to addFileToZip with the same base. Returns 0 for a
    // null or empty folder path, else 1 (also when the folder cannot be opened).
    int addFolderToZip(const char* folder, bool recursive, const char* base);

    // Adds one file. The entry name is the text after the first occurrence of base in path (one
    // separator skipped), or without base the text after the first '/'. Returns 1 when the file
    // could be opened and named (whether or not its data went in whole), 0 for a null path, a
    // file that cannot be opened, or a base / '/' not found in the path (no entry then).
    int addFileToZip(const char* path, const char* base);

    // Finishes the archive (no global comment) if one is open.
    void closeFile();

    // Turns every backslash of path into a slash, in place.
    static void swapInUnixPathSeparators(char* path);

    // Fills the six date fields of date from the file's modification time (local time); the DOS
    // date is not written. A trailing '/' of path is ignored. Returns 1 if the file could be
    // examined, else 0 (the fields then hold time 0).
    static int getFileTime(const char* path, tm_zip_s* date, unsigned long* dosDate);

  private:
    void* _zipFile;  // minizip's zipFile handle; null when no archive is open
};

#endif
