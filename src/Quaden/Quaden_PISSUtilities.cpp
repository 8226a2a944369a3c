#include "Quaden_PISSUtilities.h"

#include <dirent.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "VeskFile.h"
#include "VeskLog.h"
#include "VeskPath.h"
#include "VeskPlatform.h"

namespace {

int assignProductPath(char* buffer, int size, const char* relative, const char* errorName) {
    if (buffer == nullptr || size < 1) {
        vesk_logError("%s invalid arguments", errorName);
        return 0;
    }
    memset(buffer, 0, static_cast<size_t>(size));
    std::string path = vesk_productFolder(2) + relative;
    if (!vesk_formatPathQuietly(buffer, static_cast<size_t>(size), "%s", path.c_str())) {
        PISSLogPathTooLong(errorName, path, size < 2 ? 0 : static_cast<size_t>(size) - 2);
        return 0;
    }
    return static_cast<int>(path.size());
}

// Folder entries are classified without following links; d_type saves a stat on most file
// systems.
bool isFolderEntry(const std::string& entryPath, const struct dirent* entry) {
    if (entry->d_type != DT_UNKNOWN) {
        return entry->d_type == DT_DIR;
    }
    struct stat status;
    return lstat(entryPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isDotOrDotDot(const char* name) {
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

std::string joinPath(const std::string& folder, const char* name) {
    return folder + (folder.empty() || folder.back() != '/' ? "/" : "") + name;
}

void logSkipped(const char* who, const char* folder, uint64_t skipped) {
    if (skipped > 0) {
        vesk_logWarning(
            "%s: %llu entries below '%s' skipped: their paths are longer than %zu bytes", who,
            static_cast<unsigned long long>(skipped), vesk_printablePath(folder).c_str(),
            kVeskPathMaxLength);
    }
}

// Shared walk of PISSGetSizeOfDirectoryContents and PISSGetFileCount: each entry that is not a
// folder adds its size, or 1 when counting. Folders still to read wait in a list of their own, so
// the depth of the tree never reaches the stack.
uint64_t walkFolder(const char* path, bool countOnly, uint64_t* skipped) {
    const char* who = countOnly ? "GetFileCount" : "GetSizeOfDirectoryContents";
    uint64_t sum = 0;
    uint64_t tooLong = path != nullptr && !vesk_pathFits(path) ? 1 : 0;
    std::vector<std::string> pending;
    if (tooLong > 0) {
        PISSLogPathTooLong(who, path, kVeskPathMaxLength);
    } else if (path != nullptr) {
        pending.emplace_back(path);
    }
    while (!pending.empty()) {
        std::string folder = std::move(pending.back());
        pending.pop_back();
        DIR* stream = opendir(folder.c_str());
        if (stream == nullptr) {
            continue;
        }
        while (struct dirent* entry = readdir(stream)) {
            if (isDotOrDotDot(entry->d_name)) {
                continue;
            }
            std::string entryPath = joinPath(folder, entry->d_name);
            struct stat status;
            if (!vesk_pathFits(entryPath)) {
                ++tooLong;
            } else if (isFolderEntry(entryPath, entry)) {
                pending.push_back(std::move(entryPath));
            } else if (countOnly) {
                sum += 1;
            } else if (lstat(entryPath.c_str(), &status) == 0) {
                sum += static_cast<uint64_t>(status.st_size);
            }
        }
        closedir(stream);
    }
    if (path != nullptr && vesk_pathFits(path)) {
        logSkipped(who, path, tooLong);
    }
    if (skipped != nullptr) {
        *skipped = tooLong;
    }
    return sum;
}

void writePrintable(const unsigned char digest[16], char* out) {
    static const char kDigits[] = "0123456789abcdef";
    for (int i = 0; i < 16; ++i) {
        out[2 * i] = kDigits[digest[i] >> 4];
        out[2 * i + 1] = kDigits[digest[i] & 0x0f];
    }
    out[32] = '\0';
}

}  // namespace

// ---- product paths ----------------------------------------------------------------------------

int assignCorvixProRootConfigDirectoryPath(char* buffer, int size) {
    return assignProductPath(buffer, size, "", "assignCorvixProRootConfigPath");
}

int assignCorvixProRenderQueueDefaultDirectoryPath(char* buffer, int size) {
    return assignProductPath(buffer, size, "RenderQueue/",
                             "assignCorvixProRenderQueueDefaultDirectoryPath");
}

int assignCorvixProFrameCacheDefaultDirectoryPath(char* buffer, int size) {
    return assignProductPath(buffer, size, "Cache/",
                             "assignCorvixProFrameCacheDefaultDirectoryPath");
}

int assignCorvixProFrameCacheRegistryFilePath(char* buffer, int size) {
    return assignProductPath(buffer, size, "FrameCache.cpr",
                             "assignCorvixProFrameCacheRegistryFilePath");
}

void PISSLogPathTooLong(const char* who, const std::string& path, size_t limit) {
    vesk_logError("%s: path too long (%zu bytes, at most %zu fit), not used: %s", who, path.size(),
                  limit, vesk_printablePath(path).c_str());
}

// ---- line tokenizing --------------------------------------------------------------------------

char* QuadenPISSstrtok_r(char* text, const char* separators, char** save) {
    if (save == nullptr || separators == nullptr) {
        return nullptr;
    }
    char* position = text != nullptr ? text : *save;
    if (position == nullptr) {
        return nullptr;
    }
    position += strspn(position, separators);
    if (*position == '\0') {
        *save = position;
        return nullptr;
    }
    char* token = position;
    position += strcspn(position, separators);
    if (*position == '\0') {
        *save = position;
    } else {
        *position = '\0';
        *save = position + 1;
    }
    return token;
}

char* QuadenPISSClipPrefixedWhiteSpace(char* text, const char* separators) {
    if (text == nullptr) {
        return nullptr;
    }
    if (separators == nullptr) {
        return text;
    }
    text += strspn(text, separators);
    return *text == '\0' ? nullptr : text;
}

int PISSReadStoreLine(FILE* file, char* buffer, int size) {
    if (file == nullptr || buffer == nullptr || size < 2) {
        return 0;
    }
    memset(buffer, 0, static_cast<size_t>(size));
    return fgets(buffer, size, file) != nullptr ? 1 : 0;
}

int PISSSplitStoreLine(char* line, sPISSStoreLine* out) {
    static const char kSeparators[] = " \t";
    out->_group = out->_type = out->_key = out->_value = nullptr;
    if (line == nullptr) {
        return 0;
    }
    size_t length = strlen(line);
    if (length > 0 && line[length - 1] == '\n') {
        line[length - 1] = '\0';
    }
    char* save = nullptr;
    out->_group = QuadenPISSstrtok_r(line, kSeparators, &save);
    if (out->_group == nullptr) {
        return 0;
    }
    out->_type = QuadenPISSstrtok_r(nullptr, kSeparators, &save);
    out->_key = QuadenPISSstrtok_r(nullptr, kSeparators, &save);
    if (out->_key != nullptr) {
        out->_value = QuadenPISSClipPrefixedWhiteSpace(save, kSeparators);
    }
    return 1;
}

int PISSReadStoreEntry(FILE* file, char* line, sPISSStoreLine* fields) {
    return PISSReadStoreLine(file, line, kPISSLineBufferSize) && PISSSplitStoreLine(line, fields);
}

int PISSParseInt(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    long value = strtol(text, nullptr, 10);
    if (value > INT_MAX) {
        return INT_MAX;
    }
    if (value < INT_MIN) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

// ---- folders and files ------------------------------------------------------------------------

int PISSGetDirectoryOrFileList(const char* path, int searchForType,
                               sDirectoryOrFileListEntry** head, sDirectoryOrFileListEntry** tail,
                               int* count) {
    if (count == nullptr) {
        vesk_logError("GetDirectoryOrFileList: pointer to count is invalid\n");
        return 0;
    }
    if (head == nullptr || tail == nullptr) {
        vesk_logError("GetDirectoryOrFileList: queueHead or queueTail pointer invalid\n");
        return 0;
    }
    *head = nullptr;
    *tail = nullptr;
    *count = 0;
    if (path == nullptr) {
        vesk_logError("GetDirectoryOrFileList: path invalid\n");
        return 0;
    }
    if (searchForType != 0 && searchForType != 1) {
        vesk_logError("GetDirectoryOrFileList: searchForType: %d invalid\n", searchForType);
        return 0;
    }
    DIR* folder = opendir(path);
    if (folder == nullptr) {
        return 0;
    }
    uint64_t tooLong = 0;
    while (struct dirent* entry = readdir(folder)) {
        std::string entryPath = joinPath(path, entry->d_name);
        if (!isDotOrDotDot(entry->d_name) && !vesk_pathFits(entryPath)) {
            ++tooLong;
            continue;
        }
        bool isFolder = isFolderEntry(entryPath, entry);
        bool wanted = searchForType == 0 ? !isFolder : isFolder && !isDotOrDotDot(entry->d_name);
        if (!wanted) {
            continue;
        }
        auto* item =
            static_cast<sDirectoryOrFileListEntry*>(malloc(sizeof(sDirectoryOrFileListEntry)));
        char* name = strdup(entry->d_name);
        if (item == nullptr || name == nullptr) {
            free(item);
            free(name);
            vesk_logError("GetDirectoryOrFileList: malloc failed\n");
            closedir(folder);
            return 0;
        }
        item->_name = name;
        item->_next = nullptr;
        (*tail != nullptr ? (*tail)->_next : *head) = item;
        *tail = item;
        ++*count;
    }
    closedir(folder);
    logSkipped("GetDirectoryOrFileList", path, tooLong);
    return 1;
}

void PISSFreeDirectoryOrFileList(sDirectoryOrFileListEntry* head) {
    while (head != nullptr) {
        sDirectoryOrFileListEntry* next = head->_next;
        free(head->_name);
        free(head);
        head = next;
    }
}

int PISSCreateDirectoryPath(const char* path) {
    if (path == nullptr) {
        return 1;
    }
    if (!vesk_pathFits(path)) {
        PISSLogPathTooLong("CreateDirectoryPath", path, kVeskPathMaxLength);
        return 1;
    }
    // Inside double quotes the shell still expands '$', '`' and '\', and '"' ends the quote: a
    // backslash before each of them hands the path to mkdir exactly as given. "--" keeps a path
    // that begins with '-' from being taken for an option. mkdir's complaints are discarded: the
    // store never writes to a terminal.
    std::string command = "mkdir -p -- \"";
    for (const char* c = path; *c != '\0'; ++c) {
        if (*c == '$' || *c == '`' || *c == '\\' || *c == '"') {
            command += '\\';
        }
        command += *c;
    }
    command += "\" >/dev/null 2>&1";
    int status = system(command.c_str());
    (void)status;
    return 1;
}

uint64_t PISSGetSizeOfDirectoryContents(const char* path, uint64_t* skipped) {
    return walkFolder(path, false, skipped);
}

uint64_t PISSGetSizeOfFileContents(const char* path) {
    struct stat status;
    if (path == nullptr || stat(path, &status) != 0) {
        vesk_logError("GetSizeOfFileContents: Could not stat on filepath: %s\n",
                      path != nullptr ? path : "(null)");
        return 0;
    }
    return static_cast<uint64_t>(status.st_size);
}

uint64_t PISSGetFileCount(const char* path, uint64_t* skipped) {
    return walkFolder(path, true, skipped);
}

int PISSDeleteFile(const char* path) {
    return path != nullptr && unlink(path) == 0 ? 1 : 0;
}

FILE* PISSOpenStoreFile(const char* path, long long maxBytes, bool* missing, std::string* why) {
    std::string reason;
    FILE* file = vesk_fopenRegular(path, "r", &reason);
    struct stat status;
    if (file != nullptr && fstat(fileno(file), &status) == 0 && status.st_size > maxBytes) {
        reason = "is " + std::to_string(status.st_size) + " bytes, more than the " +
                 std::to_string(maxBytes) + " read";
        fclose(file);
        file = nullptr;
        errno = EFBIG;
    }
    if (missing != nullptr) {
        *missing = file == nullptr && errno == ENOENT;
    }
    if (file == nullptr && why != nullptr) {
        *why = "'" + vesk_printablePath(path != nullptr ? path : "") + "' not read: " + reason;
    }
    return file;
}

int PISSReplaceString(char** slot, const char* value) {
    char* copy = value != nullptr ? strdup(value) : nullptr;
    if (value != nullptr && copy == nullptr) {
        return 0;
    }
    free(*slot);
    *slot = copy;
    return 1;
}

// ---- MD5 --------------------------------------------------------------------------------------

MD5::MD5() : _context(EVP_MD_CTX_new()), _failed(false) {
    Init();
}

MD5::MD5(const MD5& other) : _context(EVP_MD_CTX_new()), _failed(other._failed) {
    if (_context == nullptr || other._context == nullptr ||
        EVP_MD_CTX_copy_ex(_context, other._context) != 1) {
        _failed = true;
    }
}

MD5& MD5::operator=(const MD5& other) {
    if (this != &other) {
        _failed = other._failed;
        if (_context == nullptr || other._context == nullptr ||
            EVP_MD_CTX_copy_ex(_context, other._context) != 1) {
            _failed = true;
        }
    }
    return *this;
}

MD5::~MD5() {
    EVP_MD_CTX_free(_context);
}

void MD5::Init() {
    _failed = _context == nullptr || EVP_DigestInit_ex(_context, EVP_md5(), nullptr) != 1;
}

void MD5::Update(const void* data, size_t size) {
    if (IsValid() && size > 0 && EVP_DigestUpdate(_context, data, size) != 1) {
        _failed = true;
    }
}

int MD5::Final(unsigned char digest[16]) {
    unsigned int length = 0;
    if (!IsValid() || EVP_DigestFinal_ex(_context, digest, &length) != 1 || length != 16) {
        _failed = true;
        return 0;
    }
    return 1;
}

int _MD5FinalPrintableHash(char* out, MD5 context) {
    if (out == nullptr) {
        vesk_logError("_MD5FinalPrintableHash: no output buffer\n");
        return 0;
    }
    unsigned char digest[16];
    if (!context.Final(digest)) {
        out[0] = '\0';
        vesk_logError("_MD5FinalPrintableHash: the MD5 digest is unavailable\n");
        return 0;
    }
    writePrintable(digest, out);
    return 1;
}

int _MD5GetPrintableHash(const char* text, char* out) {
    if (text == nullptr || out == nullptr) {
        if (out != nullptr) {
            out[0] = '\0';
        }
        vesk_logError("_MD5GetPrintableHash: null argument\n");
        return 0;
    }
    MD5 context;
    context.Update(text, strlen(text));
    return _MD5FinalPrintableHash(out, context);
}

int _generateMD5ForFile(const char* path, char* out) {
    if (out == nullptr) {
        return 0;
    }
    out[0] = '\0';
    FILE* file = vesk_fopenRegular(path, "rb");
    if (file == nullptr) {
        return 0;
    }
    MD5 context;
    static const size_t kChunk = 16384;
    unsigned char* chunk = static_cast<unsigned char*>(malloc(kChunk));
    if (chunk == nullptr) {
        fclose(file);
        vesk_logError("_generateMD5ForFile: malloc failed\n");
        return 0;
    }
    size_t read = 0;
    while ((read = fread(chunk, 1, kChunk, file)) > 0) {
        context.Update(chunk, read);
    }
    bool failed = ferror(file) != 0;
    free(chunk);
    fclose(file);
    if (failed) {
        vesk_logError("_generateMD5ForFile: could not read %s\n", path);
        return 0;
    }
    return _MD5FinalPrintableHash(out, context);
}
