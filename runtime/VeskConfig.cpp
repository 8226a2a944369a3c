#include "VeskConfig.h"

#include <cstdlib>
#include <cstring>

#include "QuadenLowLevelPlatformInfo.h"
#include "VeskLog.h"
#include "VeskPlatform.h"

namespace {

const char* const kVersionKey = "corvix.config.version";
const char* const kVersion = "2.7";
const char* const kBlanks = " \t\n\r\f";

// Lines are read in pieces of at most 255 characters; a longer line continues as a "line" of
// its own, which the product's plug-in has always accepted.
const int kLineBuffer = 256;
const int kValueBuffer = 1024;

const char* skipBlanks(const char* text) {
    return text + strspn(text, kBlanks);
}

}  // namespace

VeskConfig::VeskConfig(const char* name, const char* fileName) : _name(name ? name : "") {
    populateConfigDefaults();
    createConfigFileName(fileName ? fileName : "");
    createConfigDefaults();

    _file = fopen(_path.c_str(), "r");
    if (_file) {
        vesk_log("Config file found: %s.", _path.c_str());
        char version[kValueBuffer] = {0};
        if (getValueX(kVersionKey, version) && strncmp(version, kVersion, 3) == 0) {
            closeFile();
            _file = fopen(_path.c_str(), "r");
            loadConfigFile();
        } else {
            vesk_log(
                "The present config file had the wrong version, deleting it and making a new "
                "one");
            closeFile();
            createNewConfigFile();
        }
    } else {
        createNewConfigFile();
    }
    closeFile();
    vesk_logDev("End of VeskConfig::VeskConfig()");
}

VeskConfig::~VeskConfig() {
    closeFile();
}

void VeskConfig::closeFile() {
    if (_file) {
        fclose(_file);
        _file = nullptr;
    }
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
    for (const auto& [key, value] : _defaults) {
        (void)value;
        char found[kValueBuffer] = {0};
        if (getValueX(key.c_str(), found)) {
            _entries[key] = Vesk_ConfigEntry(key.c_str(), found, true);
        }
    }
}

void VeskConfig::createConfigFileName(const char* fileName) {
    _path.clear();
    std::string base;
    if (!vesk_preferencesFolderOrFallback(&base)) {
        // The platform gives no status code; -1 stands for "no folder".
        vesk_logError("VeskConfig::createConfigFileName: FSFindFolder failed (%d)", -1);
    }
    _path = base + "/Orvanta";
    QuadenLowLevelPlatformInfo::createDirectory(_path.c_str(), nullptr);
    _path += "/Corvix";
    QuadenLowLevelPlatformInfo::createDirectory(_path.c_str(), nullptr);
    _path += "/";
    _path += fileName;
}

void VeskConfig::createNewConfigFile() {
    closeFile();
    _file = fopen(_path.c_str(), "w");
    if (!_file) {
        vesk_logError("Unable to store config file: %s.", _path.c_str());
        return;
    }
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

void VeskConfig::writeToDisk() {
    createNewConfigFile();
    closeFile();
}

int VeskConfig::getValueX(const char* key, char* out) {
    closeFile();
    _file = fopen(_path.c_str(), "r");
    if (!_file || !key || !out) {
        vesk_log("VeskConfig::getValueX() - NULL values encountered.");
        return 0;
    }
    size_t keyLength = strlen(key);
    char line[kLineBuffer];
    for (;;) {
        memset(line, 0, sizeof line);
        if (!fgets(line, sizeof line, _file)) {
            return 0;
        }
        size_t length = strlen(line);
        if (length > 0 && line[length - 1] == '\n') {
            line[length - 1] = '\0';
        }
        const char* text = skipBlanks(line);
        if (*text == '\0' || *text == '#' || *text == ';') {
            continue;
        }
        if (strncmp(text, key, keyLength) != 0) {
            continue;
        }
        // A matching line without "=" carries an empty value.
        const char* equals = strchr(text, '=');
        strcpy(out, equals ? skipBlanks(equals + 1) : "");
        return 1;
    }
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
