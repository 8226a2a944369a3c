#include "TestEnvironment.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "FixtureFiles.h"
#include "VeskLog.h"
#include "VeskPlatform.h"

namespace corvix_test {

namespace {

void setOrUnset(const std::string& name, const std::optional<std::string>& value) {
    value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
}

}  // namespace

ScopedEnv::~ScopedEnv() {
    for (const auto& [name, value] : _saved) {
        setOrUnset(name, value);
    }
}

void ScopedEnv::set(const std::string& name, const std::optional<std::string>& value) {
    if (_saved.find(name) == _saved.end()) {
        const char* old = getenv(name.c_str());
        _saved[name] = old ? std::optional<std::string>(old) : std::nullopt;
    }
    setOrUnset(name, value);
}

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    _path = std::string(base && *base ? base : "/tmp") + "/corvix-test-XXXXXX";
    if (!mkdtemp(_path.data())) {
        ADD_FAILURE() << "mkdtemp failed: " << strerror(errno);
        _path.clear();
    }
}

TempDir::~TempDir() {
    // Folders are made writable first, so that tests of unwritable folders clean up too; rm
    // takes trees deeper than any path buffer.
    if (!_path.empty()) {
        runCommand("chmod -R u+rwx '" + _path + "' 2>/dev/null; rm -rf '" + _path + "'");
    }
}

void SandboxTest::SetUp() {
    vesk_setMachineRoot("");
    makeDirs(root());
    makeDirs(home());
    _env.set("CORVIX_ROOT", root());
    _env.set("HOME", home());
    _env.set("XDG_CONFIG_HOME", home() + "/.config");
    // Staging folders and probe files of the tool go here too, not into the shared /tmp.
    makeDirs(tmp("tmp"));
    _env.set("TMPDIR", tmp("tmp"));
}

void SandboxTest::TearDown() {
    vesk_setMachineRoot("");
}

ProductLog::ProductLog(std::string path, bool developerLines) : _path(std::move(path)) {
    VeskLoggingEnabled = 1;
    VeskDevLoggingEnabled = developerLines;
    VeskThreadLoggingEnabled = 0;
    initializeVeskLogging(const_cast<char*>(_path.c_str()));
}

ProductLog::~ProductLog() {
    VeskLoggingInitialized = 0;
    cleanupVeskLogging();
    VeskDevLoggingEnabled = 0;
    VeskThreadLoggingEnabled = 1;
}

std::string ProductLog::text() const {
    return exists(_path) ? readFile(_path) : std::string();
}

void makeDirs(const std::string& path) {
    if (!fixture_files::makeDirs(path)) {
        ADD_FAILURE() << "mkdir " << path << ": " << strerror(errno);
    }
}

void writeFile(const std::string& path, const std::string& contents) {
    if (!fixture_files::writeFile(path, contents)) {
        ADD_FAILURE() << "cannot write " << path;
    }
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        ADD_FAILURE() << "cannot read " << path;
        return std::string();
    }
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

bool exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(line);
    }
    return lines;
}

void makeDeepTree(const std::string& top, int depth) {
    // Built relative to each folder: the whole path would not fit any path buffer.
    makeDirs(top);
    int fd = open(top.c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < depth && fd >= 0; ++i) {
        mkdirat(fd, "d", 0777);
        int next = openat(fd, "d", O_RDONLY | O_DIRECTORY);
        close(fd);
        fd = next;
    }
    if (fd < 0) {
        ADD_FAILURE() << "cannot make a tree " << depth << " folders deep below " << top;
        return;
    }
    close(openat(fd, "frame", O_WRONLY | O_CREAT, 0666));
    close(fd);
}

int runCommand(const std::string& command, std::string* output) {
    FILE* p = popen(command.c_str(), "r");
    if (!p) {
        return -1;
    }
    std::string text;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) {
        text.append(buffer, n);
    }
    int status = pclose(p);
    if (output) {
        *output = text;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::set<std::string> zipEntries(const std::string& archive) {
    std::string listing;
    EXPECT_EQ(runCommand("unzip -Z1 '" + archive + "'", &listing), 0) << archive;
    std::set<std::string> names;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        names.insert(line);
    }
    return names;
}

std::string zipMember(const std::string& archive, const std::string& name) {
    std::string bytes;
    runCommand("unzip -p '" + archive + "' '" + name + "'", &bytes);
    return bytes;
}

int procEntries(const char* folder) {
    int count = 0;
    DIR* dir = opendir(folder);
    while (struct dirent* e = dir ? readdir(dir) : nullptr) {
        count += e->d_name[0] != '.';
    }
    if (dir) {
        closedir(dir);
    }
    return count;
}

ScopedMount::ScopedMount(const std::string& source, const std::string& target, bool readOnly)
    : _target(target) {
    bool tmpfs = source.empty();
    if (geteuid() != 0 || mount(tmpfs ? "tmpfs" : source.c_str(), target.c_str(),
                                tmpfs ? "tmpfs" : nullptr, tmpfs ? 0 : MS_BIND, nullptr) != 0) {
        return;
    }
    _mounted = true;
    if (readOnly &&
        mount(nullptr, target.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
        umount2(target.c_str(), MNT_DETACH);
        _mounted = false;
    }
}

ScopedMount::~ScopedMount() {
    if (_mounted) {
        umount2(_target.c_str(), MNT_DETACH);
    }
}

}  // namespace corvix_test
