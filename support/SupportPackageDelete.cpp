// Recursive deletion of SupportPackage: killDirectory, which the maintenance cleaner uses on the
// product's folders as well as on staging folders.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "SupportPackage.h"
#include "VeskPath.h"

int SupportPackage::killDirectory(const char* path) {
    if (!path || !*path) {
        return 0;
    }
    std::vector<std::string> files;
    std::vector<std::string> folders;
    if (DIR* dir = opendir(path)) {
        size_t len = strlen(path);
        const char* format = path[len - 1] == '/' ? "%s%s" : "%s/%s";
        while (struct dirent* entry = readdir(dir)) {
            char full[kVeskPathBufferSize] = {0};
            snprintf(full, kVeskPathBufferSize - 1, format, path, entry->d_name);
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                // Some file systems do not fill the type; ask without following links.
                struct stat info;
                isFolder = lstat(full, &info) == 0 && S_ISDIR(info.st_mode);
            }
            if (isFolder) {
                if (entry->d_name[0] != '.') {
                    folders.push_back(full);
                }
            } else {
                files.push_back(full);
            }
        }
        closedir(dir);
    }
    int count = 0;
    for (const std::string& file : files) {
        remove(file.c_str());
        ++count;
    }
    for (const std::string& folder : folders) {
        count += killDirectory(folder.c_str());
    }
    remove(path);
    return count;
}
