#include "VeskConfig.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "QuadenLowLevelPlatformInfo.h"
#include "VeskFile.h"
#include "VeskLog.h"
#include "VeskPlatform.h"

namespace {

const char* const kVersionKey = "corvix.config.version";
const char* const kVersion = "2.7";
const char* const kBlanks = " \t\n\r\f";

// Lines are read in pieces of at most 255 characters; a longer line continues as a "line" of
// its own, which the product's plug-in has always accepted.
const size_t kLineBuffer = 256;
const int kValueBuffer = 1024;
// Kept-aside copies of wrong-version files: "<name>.old", then "<name>.old.2" and on.
const int kAsideCopies = 99;

const char* skipBlanks(const char* text) {
    return text + strspn(text, kBlanks);
}

// The next line as the product's reader sees it (fgets into 256 bytes): at most 255 characters,
// up to and including a newline, ending at a NUL byte.
bool nextLine(const std::string& text, size_t* pos, std::string* line) {
    if (*pos >= text.size()) {
        return false;
    }
    size_t limit = std::min(text.size(), *pos + kLineBuffer - 1);
    size_t newline = text.find('\n', *pos);
    size_t stop = newline != std::string::npos && newline < limit ? newline + 1 : limit;
    line->assign(text, *pos, stop - *pos);
    *pos = stop;
    line->resize(strlen(line->c_str()));
    return true;
}

// The value of the first non-comment line that begins with key.
bool scanValue(const std::string& text, const char* key, std::string* value) {
    size_t keyLength = strlen(key);
    size_t pos = 0;
    std::string line;
    while (nextLine(text, &pos, &line)) {
        if (!line.empty() && line.back() == '\n') {
            line.pop_back();
        }
        const char* start = skipBlanks(line.c_str());
        if (*start == '\0' || *start == '#' || *start == ';' ||
            strncmp(start, key, keyLength) != 0) {
            continue;
        }
        // A matching line without "=" carries an empty value.
        const char* equals = strchr(start, '=');
        *value = equals ? skipBlanks(equals + 1) : "";
        return true;
    }
    return false;
}

bool hasCurrentVersion(const std::string& text) {
    std::string version;
    return scanValue(text, kVersionKey, &version) && strncmp(version.c_str(), kVersion, 3) == 0;
}

}  // namespace

VeskConfig::VeskConfig(const char* name, const char* fileName, Access access)
    : _name(name ? name : ""), _access(access) {
    populateConfigDefaults();
    createConfigFileName(fileName ? fileName : "");
    createConfigDefaults();

    std::string text;
    switch (readFile(&text)) {
        case kRead:
            vesk_log("Config file found: %s.", _path.c_str());
            if (hasCurrentVersion(text)) {
                loadFrom(text);
                break;
            }
            if (_access == kReadWrite) {
                vesk_log(
                    "The present config file had the wrong version, deleting it and making a "
                    "new one");
            }
            createFile();
            break;
        case kMissing:
            createFile();
            break;
        case kRefused:
            break;
    }
    closeFile();
    vesk_logDev("End of VeskConfig::VeskConfig()");
}

VeskConfig::~VeskConfig() {
    closeFile();
}

void VeskConfig::fail(const std::string& why) {
    _error = why;
}

void VeskConfig::failToStore(const std::string& why) {
    _error = why;
    vesk_logError("Unable to store config file: %s.", _path.c_str());
}

VeskConfig::ReadResult VeskConfig::readFile(std::string* text) {
    std::string why;
    if (vesk_readRegularFile(_path.c_str(), kMaxFileSize, text, &why)) {
        return kRead;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return kMissing;
    }
    fail(_path + (why.compare(0, 3, "is ") == 0 ? " " : ": ") + why);
    vesk_logError("Config file not read: %s.", _error.c_str());
    return kRefused;
}

// Creates the missing file, or rewrites one of the wrong version once it is kept aside. Another
// process may have done either since the file was read, so it is read again under the lock.
void VeskConfig::createFile() {
    if (_access == kReadOnly || !lockForWrite()) {
        return;
    }
    std::string text;
    ReadResult state = readFile(&text);
    if (state == kRefused) {
        return;
    }
    if (state == kRead && hasCurrentVersion(text)) {
        loadFrom(text);
        return;
    }
    if (state == kRead && !keepAside(text)) {
        return;
    }
    createNewConfigFile();
}

bool VeskConfig::keepAside(const std::string& text) {
    if (text.empty()) {
        return true;
    }
    for (int copy = 1; copy <= kAsideCopies; ++copy) {
        std::string aside = _path + ".old" + (copy == 1 ? "" : "." + std::to_string(copy));
        struct stat info;
        if (lstat(aside.c_str(), &info) == 0) {
            continue;
        }
        VeskAtomicFile file(aside);
        if (file.open() && fwrite(text.data(), 1, text.size(), file.stream()) == text.size() &&
            file.commit()) {
            vesk_log("Kept the old config file as %s.", aside.c_str());
            return true;
        }
        failToStore(file.error());
        return false;
    }
    failToStore(_path + ": no free name to keep the old file aside");
    return false;
}

bool VeskConfig::lockForWrite() {
    if (_lock) {
        return true;
    }
    _lock.reset(new VeskFileLock(_path));
    if (_lock->locked()) {
        return true;
    }
    failToStore(_lock->error());
    _lock.reset();
    return false;
}

// Puts a file being written in place, then lets the lock go.
bool VeskConfig::closeFile() {
    bool stored = true;
    if (_pending) {
        stored = _pending->commit();
        if (!stored) {
            failToStore(_pending->error());
        }
        _pending.reset();
        _file = nullptr;
    }
    _lock.reset();
    return stored;
}

void VeskConfig::populateConfigDefaults() {
    static const char* const kDefaults[][2] = {
        {"corvix.processes", "automatic"},
        {"corvix.enabled", "1"},
        {"corvix.preview.shared.memory", "1"},
        {"corvix.render.backupwarning", "1"},
        {"corvix.checkforupdates", "1"},
        {"corvix.override.xfactor.commands", "1"},
        {"corvix.preview.type", "1"},
        {"corvix.render.type", "2"},
        {"corvix.preview.moveplayhead", "0"},
        {"corvix.noncorvix.process.cpu.threshold", "15"},
        {"corvix.logging", "0"},
        {"corvix.render.background.purge.rate", "5"},
        {"corvix.render.shared.memory.sizeInKilobytes.windows", "12288"},
        {"corvix.render.shared.memory.sizeInKilobytes.mac", "512"},
        {"corvix.http.proxy.enabled", "0"},
        {"corvix.http.proxy.host", ""},
        {"corvix.http.proxy.port", "0"},
        {"corvix.preview.use.foreground", "1"},
        {"corvix.performance.level", "1"},
        {"corvix.render.backup.count", "10"},
        {"corvix.render.sequences.separately", "1"},
        {"corvix.memory.free.amountInMegabytes", "512"},
        {"corvix.run.install.benchmark", "0"},
        {"corvix.preview.min.purge.counter", "3"},
        {"corvix.preview.memory.free.amountInMegabytes", "25"},
        {"corvix.show.eps.warning", "0"},
        {"corvix.show.performance.warning", "0"},
        {"corvix.show.preemption.warning", "1"},
        {"corvix.preview.populate.cache.immediately", "0"},
        {"corvix.pro.spec.evaluation.delayInSeconds", "5"},
        {"corvix.dev.logging", "0"},
        {"corvix.effect.layer.top", "1"},
        {"corvix.preview.number.temp.buffers", "-1"},
        {"corvix.logging.threadInfo", "1"},
        {"corvix.ae.background.args.win", "-noui -m"},
        {"corvix.ae.background.args.mac", "-noui"},
        {"corvix.show.ctd.transfer_modes.warning", "1"},
        {"corvix.show.templates_changed.warning", "1"},
        {"corvix.show.disabled.dialog", "1"},
        {"corvix.support.bg.mem", "unknown"},
        {"corvix.cache.max.memory.setting", "0"},
    };
    for (const auto& row : kDefaults) {
        _defaults[row[0]] = row[1];
    }
}

void VeskConfig::createConfigDefaults() {
    for (const auto& [key, value] : _defaults) {
        (void)value;
        _entries[key] = Vesk_ConfigEntry(key.c_str(), "default", true);
    }
}

void VeskConfig::loadConfigFile() {
    std::string text;
    if (readFile(&text) == kRead) {
        loadFrom(text);
    }
}

void VeskConfig::loadFrom(const std::string& text) {
    for (const auto& [key, value] : _defaults) {
        (void)value;
        std::string found;
        if (scanValue(text, key.c_str(), &found)) {
            _entries[key] = Vesk_ConfigEntry(key.c_str(), found.c_str(), true);
        }
    }
}

void VeskConfig::createConfigFileName(const char* fileName) {
    _path.clear();
    bool create = _access == kReadWrite;
    std::string base;
    if (!vesk_preferencesFolderOrFallback(&base, create)) {
        // The platform gives no status code; -1 stands for "no folder".
        vesk_logError("VeskConfig::createConfigFileName: FSFindFolder failed (%d)", -1);
    }
    _path = base + "/Orvanta";
    if (create) {
        QuadenLowLevelPlatformInfo::createDirectory(_path.c_str(), nullptr);
    }
    _path += "/Corvix";
    if (create) {
        QuadenLowLevelPlatformInfo::createDirectory(_path.c_str(), nullptr);
    }
    _path += "/";
    _path += fileName;
}

void VeskConfig::createNewConfigFile() {
    if (_pending) {
        closeFile();
    }
    if (_access == kReadOnly) {
        fail(_path + ": opened for reading only");
        return;
    }
    if (!lockForWrite()) {
        return;
    }
    _pending.reset(new VeskAtomicFile(_path));
    if (!_pending->open()) {
        failToStore(_pending->error());
        _pending.reset();
        return;
    }
    _file = _pending->stream();
    fprintf(_file, "%s=%s\n", kVersionKey, kVersion);
    fputs("#\n# Orvanta Software Corvix Pro Configuration.\n", _file);
    fputs("#\n# Warning - Do not edit by hand.\n", _file);
    fputs("# ----------------------------------\n", _file);
    fputs("# Defaults:\n", _file);
    for (const auto& [key, value] : _defaults) {
        fprintf(_file, "#      %s=%s\n", key.c_str(), value.c_str());
    }
    fputs("# ----------------------------------\n\n", _file);
    toFile();
}

void VeskConfig::toFile() {
    if (!_file) {
        return;
    }
    for (const auto& [key, entry] : _entries) {
        fprintf(_file, "%s=%s\n", entry.getKey(), entry.getValue());
    }
}

bool VeskConfig::writeToDisk() {
    if (_access == kReadOnly) {
        fail(_path + ": opened for reading only");
        return false;
    }
    // A write left open goes first, so that the lock is held from the read below to the rename.
    if (_pending) {
        closeFile();
    }
    if (!lockForWrite()) {
        return false;
    }
    std::string text;
    ReadResult state = readFile(&text);
    bool current = state == kRead && hasCurrentVersion(text);
    if (state == kRefused) {
        failToStore(_error);
    }
    if (state == kRefused || (state == kRead && !current && !keepAside(text))) {
        closeFile();
        return false;
    }
    // Every key not set here takes the file's value now, which another writer may have changed.
    for (auto& [key, entry] : _entries) {
        if (_changed.count(key) == 0) {
            std::string value;
            bool found = current && scanValue(text, key.c_str(), &value);
            entry = Vesk_ConfigEntry(key.c_str(), found ? value.c_str() : "default", true);
        }
    }
    createNewConfigFile();
    if (!_pending || !closeFile()) {
        closeFile();
        return false;
    }
    _changed.clear();
    return true;
}

int VeskConfig::getValueX(const char* key, char* out) {
    closeFile();
    std::string text;
    if (!key || !out || readFile(&text) != kRead) {
        vesk_log("VeskConfig::getValueX() - NULL values encountered.");
        return 0;
    }
    std::string value;
    if (!scanValue(text, key, &value)) {
        return 0;
    }
    strcpy(out, value.c_str());
    return 1;
}

int VeskConfig::getValue(const char* key, char* out) {
    if (!key || !out) {
        return 0;
    }
    auto entry = _entries.find(key);
    if (entry == _entries.end()) {
        return 0;
    }
    const char* value = entry->second.getValue();
    if (strncmp(value, "default", 7) == 0) {
        auto fallback = _defaults.find(key);
        if (fallback == _defaults.end()) {
            return 0;
        }
        strcpy(out, fallback->second.c_str());
    } else {
        strcpy(out, value);
    }
    return 1;
}

int VeskConfig::getValue(const char* key, int* out) {
    char text[kValueBuffer] = {0};
    if (!out || !getValue(key, text)) {
        return 0;
    }
    *out = atoi(text);
    return 1;
}

int VeskConfig::getValue(const char* key, bool* out) {
    int number = 0;
    if (!out || !getValue(key, &number)) {
        return 0;
    }
    *out = number != 0;
    return 1;
}

void VeskConfig::setValue(const char* key, const char* value) {
    if (!key || !value) {
        return;
    }
    _entries[key] = Vesk_ConfigEntry(key, value, true);
    _changed.insert(key);
}

int VeskConfig::getNumProcesses() {
    int cpus = QuadenLowLevelPlatformInfo::getNumberOfCPUs();
    unsigned long megabytes = QuadenLowLevelPlatformInfo::getTotalRAM();
    int result = 2;

    char value[kValueBuffer] = {0};
    if (!getValue("corvix.processes", value)) {
        vesk_log("Could not determine the proper number of processes to start. So using: %d",
                 result);
        return result;
    }
    if (strncmp(value, "automatic", 9) == 0) {
        if (cpus > 1) {
            result = (cpus > 2 && megabytes <= 2560) ? cpus - 1 : cpus + 1;
        }
    } else if (strncmp(value, "dedicatedEncoder", 16) == 0) {
        if (cpus > 1) {
            result = (cpus > 2 && megabytes <= 2560) ? cpus - 2 : cpus;
        }
    } else {
        int number = atoi(value);
        if (number > 0) {
            result = number;
        } else {
            setValue("corvix.processes", "automatic");
            writeToDisk();
            result = getNumProcesses();
        }
    }
    return result;
}
