// ZipBuilder over minizip: see ZipBuilder.h.
#include "ZipBuilder.h"

#include <dirent.h>
#include <sys/stat.h>

#include <minizip/zip.h>

#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

const size_t kPathBufferSize = 1025;  // the shared path buffers: cleared, filled to 1024 bytes
const size_t kReadBlockSize = 1024;   // files are read in 1 KiB blocks

zipFile handle(void* p) {
    return static_cast<zipFile>(p);
}

// True when the directory entry is a folder. readdir's type decides; file systems that do not
// fill it in (DT_UNKNOWN) are asked with lstat, so that no link is followed.
bool isFolder(const struct dirent* entry, const char* fullPath) {
    if (entry->d_type == DT_DIR) {
        return true;
    }
    if (entry->d_type != DT_UNKNOWN) {
        return false;
    }
    struct stat st;
    return lstat(fullPath, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

ZipBuilder::ZipBuilder(const char* path, bool append) : _zipFile(nullptr) {
    if (path != nullptr) {
        // zipOpen64: the archive may need ZIP64 records.
        _zipFile = zipOpen64(path, append ? APPEND_STATUS_CREATEAFTER : APPEND_STATUS_CREATE);
    }
}

ZipBuilder::~ZipBuilder() {
    closeFile();
}

void ZipBuilder::closeFile() {
    if (_zipFile != nullptr) {
        zipClose(handle(_zipFile), nullptr);
        _zipFile = nullptr;
    }
}

void ZipBuilder::swapInUnixPathSeparators(char* path) {
    if (path == nullptr) {
        return;
    }
    for (char* p = path; *p != '\0'; ++p) {
        if (*p == '\\') {
            *p = '/';
        }
    }
}

int ZipBuilder::getFileTime(const char* path, tm_zip_s* date, unsigned long* dosDate) {
    (void)dosDate;  // minizip derives the DOS date from the fields itself
    char name[1024];
    memset(name, 0, sizeof(name));
    if (path != nullptr) {
        strncpy(name, path, sizeof(name) - 1);
    }
    size_t length = strlen(name);
    if (length > 0 && name[length - 1] == '/') {
        name[length - 1] = '\0';
    }

    int result = 0;
    time_t modified = 0;
    struct stat st;
    if (path != nullptr && stat(name, &st) == 0) {
        modified = st.st_mtime;
        result = 1;
    }
    struct tm local;
    memset(&local, 0, sizeof(local));
    localtime_r(&modified, &local);
    if (date != nullptr) {
        date->tm_sec = local.tm_sec;
        date->tm_min = local.tm_min;
        date->tm_hour = local.tm_hour;
        date->tm_mday = local.tm_mday;
        date->tm_mon = local.tm_mon;
        date->tm_year = local.tm_year;
    }
    return result;
}

int ZipBuilder::addFolderToZip(const char* folder, bool recursive, const char* base) {
    if (folder == nullptr || folder[0] == '\0') {
        return 0;
    }
    DIR* dir = opendir(folder);
    if (dir == nullptr) {
        return 1;
    }
    size_t folderLength = strlen(folder);
    bool endsInSlash = folder[folderLength - 1] == '/';
    while (struct dirent* entry = readdir(dir)) {
        char fullPath[kPathBufferSize];
        memset(fullPath, 0, sizeof(fullPath));
        snprintf(fullPath, kPathBufferSize - 1, endsInSlash ? "%s%s" : "%s/%s", folder,
                 entry->d_name);
        if (recursive && isFolder(entry, fullPath)) {
            // Skips ".", ".." and every hidden folder.
            if (entry->d_name[0] != '.') {
                addFolderToZip(fullPath, recursive, base);
            }
        } else {
            addFileToZip(fullPath, base);
        }
    }
    closedir(dir);
    return 1;
}

int ZipBuilder::addFileToZip(const char* path, const char* base) {
    if (path == nullptr) {
        return 0;
    }

    // The modification time is computed and deliberately not kept: the whole record is cleared,
    // so every entry carries the all-zero date.
    zip_fileinfo info;
    getFileTime(path, &info.tmz_date, &info.dosDate);
    memset(&info, 0, sizeof(info));

    FILE* file = fopen(path, "rb");
    if (file == nullptr) {
        return 0;
    }

    const char* point = nullptr;
    if (base != nullptr) {
        point = strstr(path, base);
        if (point != nullptr) {
            point += strlen(base);
        }
    } else {
        point = strchr(path, '/');
    }
    if (point == nullptr) {
        fclose(file);  // no entry name: the file is not added
        return 0;
    }
    if (*point != '\0') {
        ++point;  // skip the separator
    }
    char entryName[kPathBufferSize];
    memset(entryName, 0, sizeof(entryName));
    strncpy(entryName, point, kPathBufferSize - 1);
    swapInUnixPathSeparators(entryName);

    // zip64 = 1: every entry carries ZIP64 sizes, so files of 4 GiB and more stay valid.
    int err = zipOpenNewFileInZip64(handle(_zipFile), entryName, &info, nullptr, 0, nullptr, 0,
                                    nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION, 1);
    if (err == ZIP_OK) {
        char block[kReadBlockSize];
        for (;;) {
            size_t count = fread(block, 1, sizeof(block), file);
            if (count == 0) {
                break;
            }
            if (zipWriteInFileInZip(handle(_zipFile), block, static_cast<unsigned>(count)) < 0) {
                break;
            }
        }
    }
    fclose(file);
    zipCloseFileInZip(handle(_zipFile));
    return 1;
}
