// Plain file helpers for fixtures, shared by the GoogleTest suites (TestEnvironment.h wraps them
// with test failures) and the window's QTest suites: no test framework here. Each returns false,
// with errno set, when the file system refused.
#ifndef CORVIX_TESTS_FIXTUREFILES_H
#define CORVIX_TESTS_FIXTUREFILES_H

#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <string>

namespace fixture_files {

// Makes path and every missing folder above it (mode 0777).
inline bool makeDirs(const std::string& path) {
    for (size_t pos = 1; pos <= path.size(); ++pos) {
        if (pos == path.size() || path[pos] == '/') {
            if (mkdir(path.substr(0, pos).c_str(), 0777) != 0 && errno != EEXIST) {
                return false;
            }
        }
    }
    return true;
}

// Replaces path with contents, making its folders.
inline bool writeFile(const std::string& path, const std::string& contents) {
    const size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0 && !makeDirs(path.substr(0, slash))) {
        return false;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    return static_cast<bool>(out << contents);
}

}  // namespace fixture_files

#endif
