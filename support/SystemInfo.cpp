// SystemInfo on the platform seam: see SystemInfo.h.
#include "SystemInfo.h"

#include <dirent.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPlatform.h"

namespace {

const size_t kVersionBufferSize = 1024;

// Copies value into a buffer of kVersionBufferSize bytes, cut to fit.
void copyValue(char* buffer, const std::string& value) {
    snprintf(buffer, kVersionBufferSize, "%s", value.c_str());
}

}  // namespace

SystemInfo* SystemInfo::_instance = nullptr;

SystemInfo* SystemInfo::instance() {
    if (_instance == nullptr) {
        _instance = new SystemInfo();
    }
    return _instance;
}

SystemInfo::SystemInfo() : _osVersion(nullptr), _osBuild(nullptr) {}

SystemInfo::~SystemInfo() {
    delete[] _osVersion;
    delete[] _osBuild;
    _osVersion = nullptr;
    _osBuild = nullptr;
    // A test's own derived object must not clear the singleton's pointer.
    if (_instance == this) {
        _instance = nullptr;
    }
}

const char* SystemInfo::getPlatform() {
    return vesk_platformName();
}

void SystemInfo::loadVersionInfo() {
    delete[] _osVersion;
    delete[] _osBuild;
    // Cleared, so that a missing value is written as an empty element.
    _osVersion = new char[kVersionBufferSize]();
    _osBuild = new char[kVersionBufferSize]();
    getOSVersionInfo();
}

const char* SystemInfo::getOSVersionString() {
    if (_osVersion == nullptr) {
        loadVersionInfo();
    }
    return _osVersion;
}

const char* SystemInfo::getOSBuildNumberString() {
    if (_osBuild == nullptr) {
        loadVersionInfo();
    }
    return _osBuild;
}

void SystemInfo::getOSVersionInfo() {
    if (_osVersion == nullptr || _osBuild == nullptr) {
        return;
    }
    // The seam writes each output only when it found a value, so a missing key leaves its
    // buffer as it was.
    std::string version;
    std::string build;
    if (!vesk_osVersionInfo(&version, &build)) {
        return;
    }
    if (!version.empty()) {
        copyValue(_osVersion, version);
    }
    if (!build.empty()) {
        copyValue(_osBuild, build);
    }
}

int SystemInfo::getUserLanguage(char* buf, unsigned long len) {
    if (buf == nullptr || len == 0) {
        return 0;
    }
    std::string identifier;
    if (!vesk_localeIdentifier(&identifier)) {
        return 0;
    }
    snprintf(buf, len, "%s", identifier.c_str());
    return 1;
}

bool SystemInfo::queryProcessorCount(int* count) {
    return vesk_processorCount(count);
}

bool SystemInfo::queryMemorySize(uint64_t* bytes) {
    return vesk_memorySize(bytes);
}

int32_t SystemInfo::getNumberOfProcessors() {
    int count = 0;
    if (!queryProcessorCount(&count)) {
        vesk_diagnostic("\ngetNumberOfCPUs() sysctlbyname() failed. assuming number of CPUs=1");
        return 1;
    }
    return count;
}

int32_t SystemInfo::getTotalMemoryInMB() {
    uint64_t bytes = 0;
    if (!queryMemorySize(&bytes)) {
        vesk_diagnostic("getTotalMemoryInMB() sysctlbyname() failed. Unknown RAM size.");
        return 0;
    }
    return static_cast<int32_t>(static_cast<uint32_t>(bytes >> 20));
}

int SystemInfo::outputToXML(const char* path) {
    if (path == nullptr) {
        return 0;
    }
    FILE* file = vesk_fopenRegular(path, "w");
    if (file == nullptr) {
        return 0;
    }
    char language[256];
    memset(language, 0, sizeof(language));
    getUserLanguage(language, 255);

    fprintf(file, "<?xml version=\"1.0\" ?>\n");
    fprintf(file, "<system_info version=\"1.0\">\n");
    fprintf(file, "\t<operating_system>\n");
    fprintf(file, "\t\t<platform>%s</platform>\n", getPlatform());
    fprintf(file, "\t\t<version>%s</version>\n", getOSVersionString());
    fprintf(file, "\t\t<build>%s</build>\n", getOSBuildNumberString());
    fprintf(file, "\t\t<language>%s</language>\n", language);
    fprintf(file, "\t</operating_system>\n");
    fprintf(file, "\t<hardware>\n");
    fprintf(file, "\t\t<cpu_count>%d</cpu_count>\n", getNumberOfProcessors());
    fprintf(file, "\t\t<total_ram unit=\"mb\">%ld</total_ram>\n",
            static_cast<long>(getTotalMemoryInMB()));
    fprintf(file, "\t</hardware>\n");
    fprintf(file, "</system_info>\n");
    // A report cut short by a full disk is not a report.
    bool written = ferror(file) == 0;
    return fclose(file) == 0 && written ? 1 : 0;
}

int PathFileExists(const char* path) {
    if (path == nullptr) {
        return 0;
    }
    DIR* dir = opendir(path);
    if (dir == nullptr) {
        return 0;
    }
    closedir(dir);
    return 1;
}
