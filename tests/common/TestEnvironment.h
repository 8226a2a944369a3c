// Shared test fixtures: every test that touches the file system runs inside a fresh temporary
// folder that serves as machine root, HOME and XDG_CONFIG_HOME, so nothing outside it is touched
// and test binaries may run side by side.
#ifndef CORVIX_TESTS_TESTENVIRONMENT_H
#define CORVIX_TESTS_TESTENVIRONMENT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace corvix_test {

// Sets (or, with nullopt, unsets) environment variables and restores them on destruction.
class ScopedEnv {
  public:
    ScopedEnv() = default;
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

    void set(const std::string& name, const std::optional<std::string>& value);

  private:
    std::map<std::string, std::optional<std::string>> _saved;
};

// A temporary folder removed (recursively, without following links) on destruction.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return _path; }
    std::string operator/(const std::string& relative) const { return _path + "/" + relative; }

  private:
    std::string _path;
};

// Fixture: <tmp>/root is the machine root (CORVIX_ROOT), <tmp>/home is HOME,
// <tmp>/home/.config is XDG_CONFIG_HOME and <tmp>/tmp is TMPDIR. Any explicit machine root is
// cleared.
class SandboxTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    std::string root() const { return _tmp / "root"; }
    std::string home() const { return _tmp / "home"; }
    std::string tmp(const std::string& relative = "") const {
        return relative.empty() ? _tmp.path() : _tmp / relative;
    }
    // A product generation's machine-wide folder ("CorvixPro" or "CorvixPro2") below the root,
    // and the user's folder of logs and configuration files; both end in "/".
    std::string productFolder(const std::string& generation = "CorvixPro2") const {
        return root() + "/Library/Application Support/Orvanta Software/" + generation + "/";
    }
    std::string userFolder() const { return home() + "/.config/Orvanta/Corvix/"; }

    TempDir _tmp;
    ScopedEnv _env;
};

// The product log written to path while the object lives, its lines without the thread field;
// developer lines only with developerLines.
class ProductLog {
  public:
    explicit ProductLog(std::string path, bool developerLines = false);
    ~ProductLog();
    ProductLog(const ProductLog&) = delete;
    ProductLog& operator=(const ProductLog&) = delete;

    // Everything written so far ("" before the first line).
    std::string text() const;
    bool has(const std::string& piece) const { return text().find(piece) != std::string::npos; }

  private:
    std::string _path;
};

// File helpers for fixtures. All abort the test (via ADD_FAILURE) on I/O errors.
void makeDirs(const std::string& path);
void writeFile(const std::string& path, const std::string& contents);
std::string readFile(const std::string& path);
bool exists(const std::string& path);
std::vector<std::string> readLines(const std::string& path);
// A chain of depth folders named "d" below top, with an empty file "frame" at the bottom: a tree
// whose full paths no path buffer holds.
void makeDeepTree(const std::string& top, int depth);
// Runs a shell command line; returns its exit status and fills output with standard output.
int runCommand(const std::string& command, std::string* output = nullptr);

// The names of an archive's entries (unzip -Z1), and one entry's bytes (unzip -p); a listing
// that fails fails the test.
std::set<std::string> zipEntries(const std::string& archive);
std::string zipMember(const std::string& archive, const std::string& name);
// How many entries a folder of /proc holds: this process's descriptors, or its threads.
int procEntries(const char* folder);

// A mount undone on destruction: a bind mount of source on target (read-only with readOnly), or,
// with an empty source, a fresh tmpfs on target. Mounting needs root: mounted() is false
// otherwise, and the test skips (or does without) what needs it.
class ScopedMount {
  public:
    ScopedMount(const std::string& source, const std::string& target, bool readOnly = false);
    ~ScopedMount();
    ScopedMount(const ScopedMount&) = delete;
    ScopedMount& operator=(const ScopedMount&) = delete;

    bool mounted() const { return _mounted; }

  private:
    std::string _target;
    bool _mounted = false;
};

}  // namespace corvix_test

#endif
