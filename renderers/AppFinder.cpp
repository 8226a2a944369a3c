#include "AppFinder.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "AppBundle.h"
#include "RegexBudget.h"
#include "VeskDiagnostics.h"
#include "VeskPath.h"
#include "VeskPlatform.h"

namespace {

// Byte-wise comparison of at most n bytes returning the difference of the first differing
// bytes, which the hidden-entry test below relies on (the C library only promises the sign).
int byteDifference(const char* a, const char* b, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        unsigned char x = static_cast<unsigned char>(a[i]);
        unsigned char y = static_cast<unsigned char>(b[i]);
        if (x != y) {
            return static_cast<int>(x) - static_cast<int>(y);
        }
        if (x == 0) {
            break;
        }
    }
    return 0;
}

// "." and ".." and every name beginning with one or two full stops give different differences;
// names not beginning with a full stop, and those beginning with three, give equal ones.
bool isExamined(const char* name) {
    return byteDifference(name, ".", 2) == byteDifference(name, "..", 3);
}

// A found path that does not fit the result buffer is refused (and reported), never cut: the
// search goes on.
bool copyResult(const char* path, char* result, unsigned long resultSize) {
    size_t size = resultSize < kVeskPathBufferSize - 1 ? resultSize + 1 : kVeskPathBufferSize;
    return vesk_formatPath(result, size, "%s", path);
}

}  // namespace

bool AppFinder::isAnExecutable(const char* path) {
    struct stat st;
    if (!path || stat(path, &st) != 0) {
        return false;
    }
    return (st.st_mode & S_IXUSR) != 0;
}

bool AppFinder::scanDir(const char* dir, regex_t* signature, char* result,
                        unsigned long resultSize) {
    if (!dir || !signature || !result) {
        return false;
    }
    DIR* folder = opendir(dir);
    if (!folder) {
        return false;
    }
    bool found = false;
    while (!found) {
        struct dirent* entry = readdir(folder);
        if (!entry) {
            break;
        }
        if (!isExamined(entry->d_name)) {
            continue;
        }
        char path[kVeskPathBufferSize];
        if (!vesk_formatPath(path, sizeof path, "%s/%s", dir, entry->d_name)) {
            continue;
        }
        unsigned char type = entry->d_type;
        struct stat st;
        // Some file systems leave the listing type open; the entry itself then tells it.
        if (type == DT_UNKNOWN && lstat(path, &st) == 0 && S_ISDIR(st.st_mode)) {
            type = DT_DIR;
        }
        if (type == DT_DIR) {
            found = scanDir(path, signature, result, resultSize);
        } else if (isAnExecutable(path) && regexec(signature, entry->d_name, 0, nullptr, 0) == 0) {
            found = copyResult(path, result, resultSize);
        }
    }
    closedir(folder);
    return found;
}

bool AppFinder::scanBundleContents(const AppBundle& bundle, regex_t* signature, char* result,
                                   unsigned long resultSize) {
    if (!signature || !result) {
        return false;
    }
    const std::string& executable = bundle.getExecutablePath();
    if (!executable.empty()) {
        size_t slash = executable.rfind('/');
        std::string name = executable.substr(slash == std::string::npos ? 0 : slash + 1);
        if (regexec(signature, name.c_str(), 0, nullptr, 0) == 0 &&
            copyResult(executable.c_str(), result, resultSize)) {
            return true;
        }
    }
    if (bundle.getFolder().empty()) {
        return false;
    }
    return scanDir(bundle.getFolder().c_str(), signature, result, resultSize);
}

bool AppFinder::findApplicationForExtension(const char* extension, const char* signature,
                                            char* result, unsigned long resultSize) {
    if (!result || !signature || !extension) {
        return false;
    }
    regex_t expression;
    // The signature comes from a control file: measured before it is compiled (see RegexBudget).
    if (!regexFitsBudget(signature) || regcomp(&expression, signature, REG_EXTENDED) != 0) {
        vesk_diagnostic("\nOV::AppFinder: could not compile exe signature expression.");
        return false;
    }

    bool found = false;
    char probe[kVeskPathBufferSize];
    if (!vesk_formatPath(probe, sizeof probe, "%s/tmpXXXXXXX.%s", vesk_temporaryFolder().c_str(),
                         extension)) {
        regfree(&expression);
        return false;
    }
    int descriptor = mkstemps(probe, static_cast<int>(strlen(extension)) + 1);
    // Only the document's name matters to the type lookup, so a probe that could not be made
    // (-1) still serves; descriptor 0 is the one result treated as failure.
    if (descriptor == 0) {
        vesk_diagnostic("\bFailed to create temp file %s", probe);
    } else {
        std::string application;
        if (defaultApplicationFor(probe, &application)) {
            found = scanBundleContents(AppBundle(application), &expression, result, resultSize);
        }
        if (!found) {
            for (const std::string& candidate : applicationsFor(probe)) {
                if (scanBundleContents(AppBundle(candidate), &expression, result, resultSize)) {
                    found = true;
                    break;
                }
            }
        }
    }
    if (descriptor >= 0) {
        close(descriptor);
        unlink(probe);
    }
    regfree(&expression);
    return found;
}
