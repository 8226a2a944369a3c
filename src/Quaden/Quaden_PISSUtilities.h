// Free functions shared by the persistent information store: the product's fixed folder and file
// paths, the tokenizer and whitespace skipper of the store line format, folder listings and size
// and count walks for the frame cache, folder creation, file deletion, and MD5 digests written as
// 32 lower-case hexadecimal digits (the name hash that turns project and composition names of any
// length and content into fixed, file-system-safe group names).
//
// Threads: every function may be called from any thread; none keeps state. Failures are written
// to the product log (vesk_logError and friends) and reported through the return value; nothing
// throws and nothing prints to a terminal.
#ifndef QUADEN_PISSUTILITIES_H
#define QUADEN_PISSUTILITIES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

// ---- product paths ----------------------------------------------------------------------------
//
// Each assigner zeroes size bytes of buffer and writes its path there, below the machine root when
// one is set (vesk_machinePath), and returns the path's length. The path must fit whole: at most
// size - 2 characters (the bound the product hands its formatter is size - 1). A path that does
// not fit is never cut: the buffer stays empty, the error names the whole path in the log, and the
// result is 0, as it is (with the error "... invalid arguments") for a null buffer or a size below
// 1. Callers treat 0 as "no path".

// ".../Orvanta Software/CorvixPro2/"; its message keeps the shorter name
// "assignCorvixProRootConfigPath", which is what the product has always logged.
int assignCorvixProRootConfigDirectoryPath(char* buffer, int size);
// ".../CorvixPro2/RenderQueue/"
int assignCorvixProRenderQueueDefaultDirectoryPath(char* buffer, int size);
// ".../CorvixPro2/Cache/"
int assignCorvixProFrameCacheDefaultDirectoryPath(char* buffer, int size);
// ".../CorvixPro2/FrameCache.cpr"
int assignCorvixProFrameCacheRegistryFilePath(char* buffer, int size);

// Logs the error "<who>: path too long (N bytes, at most M fit), not used: <path>" with the path
// made printable. Every place of the store that refuses a path says so through it.
void PISSLogPathTooLong(const char* who, const std::string& path, size_t limit);

// ---- line tokenizing --------------------------------------------------------------------------

// Re-entrant tokenizer. Starts at text, or at *save when text is null; skips separators; returns
// null when the string ends there (and *save then points at its terminating zero, so later calls
// return null too). Otherwise the token runs to the next separator, which is overwritten with a
// zero, and *save is left on the character after it (or on the terminating zero when the token
// ends the string).
char* QuadenPISSstrtok_r(char* text, const char* separators, char** save);

// Skips leading separator characters of text and returns the first other character's position,
// or null when only separators (or nothing) remain. Null text gives null; null separators give
// text unchanged. The stores apply it to the tokenizer's saved position to take the rest of a line
// as its value, inner blanks included.
char* QuadenPISSClipPrefixedWhiteSpace(char* text, const char* separators);

// One store line split in place: "group type<TAB>key value". Every field points into the line;
// a missing field is null. value is the rest of the line after the key, leading blanks and tabs
// skipped.
struct sPISSStoreLine {
    char* _group;
    char* _type;
    char* _key;
    char* _value;
};

// The line buffer of every store reader: a longer line is read in pieces of 1023 characters.
const int kPISSLineBufferSize = 1024;

// Reads the next line of a store file into buffer (size bytes, cleared first). A line longer than
// size - 1 characters comes back in pieces, each piece read as a line of its own, which is how
// the product has always read its files. Returns 0 at end of file.
int PISSReadStoreLine(FILE* file, char* buffer, int size);

// Drops the line's final line feed and splits it with spaces and tabs. Returns 0 (all fields
// null) when the line holds no token at all, which ends every store's load.
int PISSSplitStoreLine(char* line, sPISSStoreLine* out);

// The next entry line of a settings store, read into line (kPISSLineBufferSize bytes) and split
// into *fields: 0 at the end of the file or at a line without any token, which ends the load of
// every settings store.
int PISSReadStoreEntry(FILE* file, char* line, sPISSStoreLine* fields);

// The number in text, read as atoi would but clamped to the int range; null or no digits give 0.
int PISSParseInt(const char* text);

// ---- folders and files ------------------------------------------------------------------------
//
// Folder walks never follow a symbolic link (a link counts as an entry that is not a folder, so a
// link loop cannot make a walk endless) and keep their own list of folders still to read instead
// of recursing, so no depth of tree exhausts the stack. An entry whose full path would be longer
// than kVeskPathMaxLength (1023 bytes) is skipped, never cut: the walk counts it (in *skipped when
// given) and logs one warning naming the folder and the count.

// The largest store file read: "Config.txt", a project's settings file and "FrameCache.cpr" hold
// a few hundred bytes to a few kilobytes; the render queue about 1.4 KB a job. Larger files are
// refused, so a damaged or hostile file cannot exhaust memory.
const long long kPISSSettingsFileMaxBytes = 16LL << 20;
const long long kPISSRenderQueueFileMaxBytes = 64LL << 20;

// Opens a store file for reading without waiting on it: a FIFO, socket, device or folder, or a
// file larger than maxBytes, is refused at once. Null when refused or missing; *missing (when
// given) tells a missing file (nothing to read) from a refused one, and *why (when given) says
// what was wrong, naming the path ("'/x/Config.txt' not read: is a FIFO, not a regular file").
FILE* PISSOpenStoreFile(const char* path, long long maxBytes, bool* missing, std::string* why);

// Sets *slot to a malloc'ed copy of value (null stays null) and frees what it held: 1, or 0 when
// memory runs out (*slot is then unchanged).
int PISSReplaceString(char** slot, const char* value);

// One entry of a folder listing: the bare entry name (malloc'ed, owned by the entry) and the next
// entry.
struct sDirectoryOrFileListEntry {
    char* _name;
    sDirectoryOrFileListEntry* _next;
};

// Lists the entries of one folder (not recursively) in the order the file system returns them:
// searchForType 0 lists every entry that is not a folder, 1 every sub-folder except "." and "..".
// *head, *tail and *count are reset first and each match is appended. Returns 1; 0 when the
// folder cannot be opened (silently) or for a bad argument or lack of memory (with an error in
// the log; entries gathered before running out of memory stay in the list). The caller frees the
// list, for example with PISSFreeDirectoryOrFileList. A symbolic link is listed as an entry that
// is not a folder; an entry whose path would not fit is left out and counted as above.
int PISSGetDirectoryOrFileList(const char* path, int searchForType,
                               sDirectoryOrFileListEntry** head, sDirectoryOrFileListEntry** tail,
                               int* count);

// Frees a list made by PISSGetDirectoryOrFileList, names included. A null head is ignored.
void PISSFreeDirectoryOrFileList(sDirectoryOrFileListEntry* head);

// Creates the folder and all missing parents by running mkdir -p through the shell, with the path
// in double quotes (and the characters the shell still expands inside them escaped, so any path
// is passed literally). Returns 1 in every case: callers learn of failure when they use the
// folder. A path longer than 1023 bytes is refused with an error in the log.
int PISSCreateDirectoryPath(const char* path);

// Total size in bytes of every entry that is not a folder, in the folder and all its sub-folders.
// Unreadable folders count 0; links count their own size.
uint64_t PISSGetSizeOfDirectoryContents(const char* path, uint64_t* skipped = nullptr);

// The file's size from its status; 0 with an error in the log when it cannot be read.
uint64_t PISSGetSizeOfFileContents(const char* path);

// Number of entries that are not folders, in the folder and all its sub-folders.
uint64_t PISSGetFileCount(const char* path, uint64_t* skipped = nullptr);

// Removes the file, or the link itself when path is a symbolic link (never its target); a folder
// is not removed. 1 on success, 0 on failure (null path included).
int PISSDeleteFile(const char* path);

// ---- MD5 --------------------------------------------------------------------------------------

struct evp_md_ctx_st;

// An MD5 computation in progress, over libcrypto's digest interface. Copying an object copies the
// state reached so far, so a copy can be finished while the original goes on. If libcrypto cannot
// provide the digest (no memory, a policy without MD5) the object is marked failed: Final then
// returns 0 and the printable-hash functions write an empty text and log an error. One object is
// used by one thread at a time.
class MD5 {
  public:
    MD5();
    MD5(const MD5& other);
    MD5& operator=(const MD5& other);
    ~MD5();

    // Starts over with no data.
    void Init();
    void Update(const void* data, size_t size);
    // Writes the 16-byte digest and leaves the object finished (Init starts a new computation).
    // 1 on success, 0 when the object failed.
    int Final(unsigned char digest[16]);
    bool IsValid() const { return _context != nullptr && !_failed; }

  private:
    evp_md_ctx_st* _context;
    bool _failed;
};

// Size of a buffer that holds a printable hash: 32 digits and the terminating zero.
const int kPISSPrintableHashSize = 33;

// Writes the printable hash of the bytes of text (without its terminating zero) into out, which
// holds at least 33 characters. Returns 1, or 0 (out empty, error in the log) for a null argument
// or when the digest is unavailable.
int _MD5GetPrintableHash(const char* text, char* out);

// Finishes a copy of context and writes its printable hash into out (at least 33 characters).
// Returns 1, or 0 with out empty.
int _MD5FinalPrintableHash(char* out, MD5 context);

// Reads the file in binary in chunks of 16384 bytes and writes the printable hash of its whole
// content into out (at least 33 characters). Returns 1, or 0 when the file cannot be opened or
// read, or is not a regular file (out is then empty).
int _generateMD5ForFile(const char* path, char* out);

#endif
