// The product's user configuration file: key=value lines in <Preferences>/Orvanta/Corvix/, with
// a built-in default for each of the 41 known keys.
//
// Construction creates the file when it is missing or its version is not "2.7" (only the first
// three characters are compared, so "2.7.1" is accepted), and otherwise loads the values of the
// known keys; unknown keys are dropped at the next write. A file of the wrong version is first
// kept aside as "<name>.old" (or "<name>.old.N"), since rewriting it loses the user's values; when
// that cannot be done the file is left as it is. Changes stay in memory until writeToDisk(), which
// rewrites the whole file. Failures never throw: they go to the product log ("Unable to store
// config file: ...") and lastError(), and the entries in memory stay as they are.
//
// Safe on disk: the file is read whole, non-blocking and bounded (kMaxFileSize); a FIFO, device,
// folder or oversized file in its place is refused at once and never replaced. Every write goes
// through a temporary file and a rename (VeskAtomicFile), so a reader sees the old file or the
// new one, never a part. Writes hold VeskFileLock on the file and re-read it under the lock:
// writeToDisk() keeps what other objects or processes wrote since this one read the file and
// changes only the keys set here, so two writers never lose each other's keys. The lock is held
// only while a write is under way, never for the object's life, so a long-lived object blocks
// no one.
//
// kReadOnly objects create nothing (no folder, no file, no rewrite of a wrong version: its values
// read as defaults) and refuse to write.
//
// Not thread-safe: one thread uses one object.
#ifndef CORVIX_RUNTIME_VESKCONFIG_H
#define CORVIX_RUNTIME_VESKCONFIG_H

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "Vesk_ConfigEntry.h"

class VeskAtomicFile;
class VeskFileLock;

class VeskConfig {
  public:
    enum Access { kReadWrite, kReadOnly };

    // The largest file read; a larger one is refused, not parsed.
    static const size_t kMaxFileSize = 1 << 20;

    // name is kept for the plug-in's sake and not used; fileName is the file's name inside the
    // per-user product folder ("corvix.cfg", "CorvixPro2.cfg").
    VeskConfig(const char* name, const char* fileName, Access access = kReadWrite);
    // Commits a write still open (createNewConfigFile() without writeToDisk()).
    ~VeskConfig();
    VeskConfig(const VeskConfig&) = delete;
    VeskConfig& operator=(const VeskConfig&) = delete;

    // Fills the defaults table.
    void populateConfigDefaults();
    // Sets every known key to the value "default".
    void createConfigDefaults();
    // Takes the file's value for every known key that the file holds.
    void loadConfigFile();
    // Computes the file's path from the Preferences folder and, unless read-only, creates
    // Orvanta/Corvix in it.
    void createConfigFileName(const char* fileName);
    // Starts rewriting the whole file (version line, header, defaults, entries) under the lock;
    // the new file replaces the old one when the write is closed (writeToDisk(), the next file
    // operation, or the destructor).
    void createNewConfigFile();
    // Writes the "key=value" entry lines to the file being written.
    void toFile();
    // Takes the file's current values for the keys not set on this object, rewrites the file and
    // closes it. True when the new file is in place.
    bool writeToDisk();

    // Reads key's value straight from the file (the first non-comment line that begins with the
    // key). out must hold the value (callers pass 1024 bytes). 1 found, 0 not found or no file.
    int getValueX(const char* key, char* out);
    // The value in memory, "default" resolved to the built-in default. 1 found, 0 unknown key.
    int getValue(const char* key, char* out);
    // The value read with atoi.
    int getValue(const char* key, int* out);
    // The value as an integer, true when it is not 0.
    int getValue(const char* key, bool* out);
    // Sets (or adds) an entry in memory; null arguments are ignored.
    void setValue(const char* key, const char* value);

    // Render processes to start, from "corvix.processes" ("automatic", "dedicatedEncoder" or a
    // positive number) and the machine's processors and memory. Any other value is reset to
    // "automatic" and written to disk first.
    int getNumProcesses();

    // The configuration file's full path.
    const char* getPath() const { return _path.c_str(); }
    // Why the file could not be read or written, naming it; empty while nothing failed.
    const std::string& lastError() const { return _error; }

  private:
    enum ReadResult { kMissing, kRead, kRefused };

    ReadResult readFile(std::string* text);
    void loadFrom(const std::string& text);
    void createFile();
    bool keepAside(const std::string& text);
    bool lockForWrite();
    bool closeFile();
    void fail(const std::string& why);
    // fail(), and the product log's designed line for a write that did not happen.
    void failToStore(const std::string& why);

    std::string _name;
    Access _access;
    FILE* _file = nullptr;
    std::string _path;
    std::map<std::string, Vesk_ConfigEntry> _entries;
    std::map<std::string, std::string> _defaults;
    // Keys given to setValue(): a write keeps the file's current values for all others.
    std::set<std::string> _changed;
    std::unique_ptr<VeskFileLock> _lock;
    std::unique_ptr<VeskAtomicFile> _pending;
    std::string _error;
};

#endif
