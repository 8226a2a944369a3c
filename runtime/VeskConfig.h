// The product's user configuration file: key=value lines in <Preferences>/Orvanta/Corvix/, with
// a built-in default for each of the 41 known keys.
//
// Construction creates the file when it is missing or its version is not "2.7" (only the first
// three characters are compared, so "2.7.1" is accepted), and otherwise loads the values of the
// known keys; unknown keys are dropped at the next write. Changes stay in memory until
// writeToDisk(), which rewrites the whole file. Failures never throw: they go to the product log
// ("Unable to store config file: ...") and the entries in memory stay as they are.
//
// Not thread-safe: one thread uses one object. Two objects (or processes) on one file are not
// coordinated; the last writer wins. Between calls the object may keep one read handle open,
// which the next file operation or the destructor closes.
#ifndef CORVIX_RUNTIME_VESKCONFIG_H
#define CORVIX_RUNTIME_VESKCONFIG_H

#include <cstdio>
#include <map>
#include <string>

#include "Vesk_ConfigEntry.h"

class VeskConfig {
  public:
    // name is kept for the plug-in's sake and not used; fileName is the file's name inside the
    // per-user product folder ("corvix.cfg", "CorvixPro2.cfg").
    VeskConfig(const char* name, const char* fileName);
    ~VeskConfig();
    VeskConfig(const VeskConfig&) = delete;
    VeskConfig& operator=(const VeskConfig&) = delete;

    // Fills the defaults table.
    void populateConfigDefaults();
    // Sets every known key to the value "default".
    void createConfigDefaults();
    // Takes the file's value for every known key that the file holds.
    void loadConfigFile();
    // Computes the file's path from the Preferences folder and creates Orvanta/Corvix in it.
    void createConfigFileName(const char* fileName);
    // Rewrites the whole file (version line, header, defaults, entries) and leaves it open.
    void createNewConfigFile();
    // Writes the "key=value" entry lines to the open file.
    void toFile();
    // createNewConfigFile(), then closes the file.
    void writeToDisk();

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

  private:
    void closeFile();

    std::string _name;
    FILE* _file = nullptr;
    std::string _path;
    std::map<std::string, Vesk_ConfigEntry> _entries;
    std::map<std::string, std::string> _defaults;
};

#endif
