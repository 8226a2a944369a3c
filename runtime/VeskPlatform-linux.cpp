// Linux implementation of the platform seam.
#include "VeskPlatform.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"

namespace {

std::mutex& rootMutex() {
    static std::mutex m;
    return m;
}

std::string& explicitRoot() {
    static std::string root;
    return root;
}

std::string stripTrailingSlashes(std::string s) {
    while (!s.empty() && s.back() == '/') {
        s.pop_back();
    }
    return s;
}

std::string envValue(const char* name) {
    const char* v = getenv(name);
    return v ? std::string(v) : std::string();
}

bool isDirectory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Creates every missing component of an absolute path; true when the folder exists afterwards.
bool makeFolders(const std::string& path) {
    if (isDirectory(path)) {
        return true;
    }
    for (size_t pos = 1; pos <= path.size(); ++pos) {
        if (pos == path.size() || path[pos] == '/') {
            std::string part = path.substr(0, pos);
            if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
                return false;
            }
        }
    }
    return isDirectory(path);
}

// The small system files read here (os-release, debian_version, user-dirs.dirs) are a few hundred
// bytes; anything larger is not one of them.
const size_t kSystemFileLimit = 65536;

// Reads a small system file whole, without waiting on a FIFO or a device in its place. A missing
// file is normal and passes silently; one that exists but cannot be read is reported.
bool readSystemFile(const std::string& file, std::string* text) {
    std::string why;
    if (vesk_readRegularFile(file.c_str(), kSystemFileLimit, text, &why)) {
        return true;
    }
    if (errno != ENOENT) {
        vesk_diagnostic("\nCannot read %s: %s", vesk_printablePath(file).c_str(), why.c_str());
    }
    return false;
}

// Finds KEY=value in the lines of a shell-style file (os-release, user-dirs.dirs); quotes are
// removed.
bool readAssignment(const std::string& text, const std::string& key, std::string* value) {
    std::string line;
    bool found = false;
    for (size_t from = 0; from < text.size();) {
        size_t end = text.find('\n', from);
        end = end == std::string::npos ? text.size() : end;
        line = text.substr(from, end - from);
        from = end + 1;
        size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line[start] == '#') {
            continue;
        }
        if (line.compare(start, key.size(), key) != 0 || line.size() <= start + key.size() ||
            line[start + key.size()] != '=') {
            continue;
        }
        std::string v = line.substr(start + key.size() + 1);
        while (!v.empty() && (v.back() == ' ' || v.back() == '\t' || v.back() == '\r')) {
            v.pop_back();
        }
        if (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front()) {
            v = v.substr(1, v.size() - 2);
        }
        *value = v;  // the last assignment wins, as in a shell
        found = true;
    }
    return found;
}

}  // namespace

// ---- machine root ---------------------------------------------------------------------------

void vesk_setMachineRoot(const std::string& root) {
    std::lock_guard<std::mutex> lock(rootMutex());
    explicitRoot() = stripTrailingSlashes(root);
}

std::string vesk_machineRoot() {
    {
        std::lock_guard<std::mutex> lock(rootMutex());
        if (!explicitRoot().empty()) {
            return explicitRoot();
        }
    }
    return stripTrailingSlashes(envValue("CORVIX_ROOT"));
}

std::string vesk_machinePath(const std::string& designedPath) {
    if (designedPath.empty() || designedPath[0] != '/') {
        return designedPath;
    }
    std::string root = vesk_machineRoot();
    return root.empty() ? designedPath : root + designedPath;
}

// ---- per-user folders -----------------------------------------------------------------------

bool vesk_homeFolder(std::string* out) {
    std::string home = envValue("HOME");
    if (!home.empty()) {
        *out = home;
        return true;
    }
    struct passwd pwd;
    struct passwd* result = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &pwd, buffer, sizeof buffer, &result) == 0 && result &&
        result->pw_dir && result->pw_dir[0]) {
        *out = result->pw_dir;
        return true;
    }
    return false;
}

bool vesk_userFullName(std::string* out) {
    struct passwd pwd;
    struct passwd* result = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &pwd, buffer, sizeof buffer, &result) != 0 || !result) {
        return false;
    }
    std::string name = result->pw_gecos ? result->pw_gecos : "";
    name = name.substr(0, name.find(','));
    if (name.empty()) {
        name = result->pw_name ? result->pw_name : "";
    }
    if (name.empty()) {
        return false;
    }
    *out = name;
    return true;
}

bool vesk_loginName(std::string* out) {
    for (const char* variable : {"LOGNAME", "USER"}) {
        std::string name = envValue(variable);
        if (!name.empty()) {
            *out = name;
            return true;
        }
    }
    struct passwd pwd;
    struct passwd* result = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &pwd, buffer, sizeof buffer, &result) != 0 || !result ||
        !result->pw_name || !result->pw_name[0]) {
        return false;
    }
    *out = result->pw_name;
    return true;
}

bool vesk_hostName(std::string* out) {
    char name[256];
    if (gethostname(name, sizeof name) != 0) {
        return false;
    }
    name[sizeof name - 1] = '\0';
    *out = name;
    return name[0] != '\0';
}

bool vesk_preferencesFolder(std::string* out, bool create) {
    std::string folder = envValue("XDG_CONFIG_HOME");
    if (folder.empty() || folder[0] != '/') {
        std::string home = envValue("HOME");
        if (home.empty()) {
            return false;
        }
        folder = stripTrailingSlashes(home) + "/.config";
    }
    folder = stripTrailingSlashes(folder);
    if (folder.empty() || (create && !makeFolders(folder))) {
        return false;
    }
    *out = folder;
    return true;
}

bool vesk_preferencesFolderOrFallback(std::string* out, bool create) {
    if (vesk_preferencesFolder(out, create)) {
        return true;
    }
    std::string home = envValue("HOME");
    *out = getenv("HOME") ? home + "/Library/Preferences" : vesk_temporaryFolder();
    return false;
}

bool vesk_desktopFolder(std::string* out) {
    std::string home;
    if (!vesk_homeFolder(&home)) {
        return false;
    }
    home = stripTrailingSlashes(home);
    std::string config = envValue("XDG_CONFIG_HOME");
    if (config.empty() || config[0] != '/') {
        config = home + "/.config";
    }
    std::string text;
    std::string value;
    if (readSystemFile(config + "/user-dirs.dirs", &text) &&
        readAssignment(text, "XDG_DESKTOP_DIR", &value)) {
        if (value.compare(0, 6, "$HOME/") == 0 && value.size() > 6) {
            *out = home + value.substr(5);
            return true;
        }
        if (!value.empty() && value[0] == '/') {
            *out = value;
            return true;
        }
    }
    *out = home + "/Desktop";
    return true;
}

std::string vesk_temporaryFolder() {
    std::string folder = stripTrailingSlashes(envValue("TMPDIR"));
    if (!folder.empty() && folder[0] == '/' && isDirectory(folder) &&
        access(folder.c_str(), W_OK | X_OK) == 0) {
        return folder;
    }
    return "/tmp";
}

// ---- product folders ------------------------------------------------------------------------

std::string vesk_productFolder(int generation) {
    return vesk_machinePath(generation == 1
                                ? "/Library/Application Support/Orvanta Software/CorvixPro/"
                                : "/Library/Application Support/Orvanta Software/CorvixPro2/");
}

// ---- system facts ---------------------------------------------------------------------------

const char* vesk_platformName() {
    return "Linux";
}

bool vesk_osVersionInfo(std::string* version, std::string* build) {
    std::string text;
    if (!readSystemFile(vesk_machinePath("/etc/os-release"), &text) &&
        !readSystemFile(vesk_machinePath("/usr/lib/os-release"), &text)) {
        return false;
    }
    std::string value;
    if (readAssignment(text, "VERSION_ID", &value)) {
        *version = value;
    }
    if (readAssignment(text, "BUILD_ID", &value)) {
        *build = value;
        return true;
    }
    std::string debian;
    if (readSystemFile(vesk_machinePath("/etc/debian_version"), &debian)) {
        std::string line = debian.substr(0, debian.find('\n'));
        if (!line.empty()) {
            *build = line;
            return true;
        }
    }
    struct utsname names;
    if (uname(&names) == 0) {
        *build = names.release;
    }
    return true;
}

bool vesk_localeIdentifier(std::string* out) {
    std::string value;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        value = envValue(name);
        if (!value.empty()) {
            break;
        }
    }
    value = value.substr(0, value.find_first_of(".@"));
    if (value.empty() || value == "C" || value == "POSIX") {
        return false;
    }
    *out = value;
    return true;
}

bool vesk_processorCount(int* out) {
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    if (n <= 0) {
        return false;
    }
    *out = static_cast<int>(n);
    return true;
}

bool vesk_memorySize(uint64_t* out) {
    long pages = sysconf(_SC_PHYS_PAGES);
    long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) {
        return false;
    }
    *out = static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageSize);
    return true;
}

int vesk_currentThreadNumber() {
    return static_cast<int>(gettid());
}

bool vesk_isTerminal(int fd) {
    return isatty(fd) == 1;
}

int vesk_terminalColumns(int fd) {
    struct winsize size;
    memset(&size, 0, sizeof size);
    if (ioctl(fd, TIOCGWINSZ, &size) != 0) {
        return 0;
    }
    return size.ws_col;
}

int64_t vesk_copyFileRange(int in, int64_t inOffset, int out, int64_t outOffset, size_t length) {
    loff_t from = inOffset, to = outOffset;
    for (;;) {
        ssize_t copied = copy_file_range(in, &from, out, &to, length, 0);
        if (copied >= 0 || errno != EINTR) {
            return copied;
        }
    }
}

bool vesk_nextDataRange(int fd, int64_t from, int64_t* start, int64_t* end) {
    off_t data = lseek(fd, static_cast<off_t>(from), SEEK_DATA);
    if (data < 0) {
        if (errno == ENXIO) {
            return false;  // only a hole, or nothing, after from
        }
        // The file system keeps no map of its holes: all of the rest is data.
        struct stat st;
        if (fstat(fd, &st) != 0 || st.st_size <= from) {
            return false;
        }
        *start = from;
        *end = st.st_size;
        return true;
    }
    off_t hole = lseek(fd, data, SEEK_HOLE);
    if (hole < 0) {
        struct stat st;
        hole = fstat(fd, &st) == 0 ? st.st_size : data;
    }
    if (hole <= data) {
        return false;
    }
    *start = data;
    *end = hole;
    return true;
}
