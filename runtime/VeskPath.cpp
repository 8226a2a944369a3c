#include "VeskPath.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "VeskDiagnostics.h"

namespace {

// Formats the whole result, however long, so that a refusal can name it.
std::string formatWhole(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    char small[kVeskPathBufferSize];
    int length = vsnprintf(small, sizeof small, format, args);
    if (length < 0) {
        va_end(again);
        return std::string();
    }
    if (static_cast<size_t>(length) < sizeof small) {
        va_end(again);
        return std::string(small, static_cast<size_t>(length));
    }
    std::vector<char> large(static_cast<size_t>(length) + 1);
    vsnprintf(large.data(), large.size(), format, again);
    va_end(again);
    return std::string(large.data(), static_cast<size_t>(length));
}

bool formatInto(char* buffer, size_t size, bool report, const char* format, va_list args) {
    if (!buffer || size < 2) {
        return false;
    }
    memset(buffer, 0, size);
    std::string path = formatWhole(format, args);
    if (path.size() > size - 2) {
        if (report) {
            vesk_reportPathTooLong(path);
        }
        return false;
    }
    memcpy(buffer, path.data(), path.size());
    return true;
}

}  // namespace

bool vesk_pathFits(const char* path) {
    return path && strlen(path) <= kVeskPathMaxLength;
}

bool vesk_pathFits(const std::string& path) {
    return path.size() <= kVeskPathMaxLength;
}

bool vesk_formatPath(char* buffer, size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    bool fits = formatInto(buffer, size, true, format, args);
    va_end(args);
    return fits;
}

bool vesk_formatPathQuietly(char* buffer, size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    bool fits = formatInto(buffer, size, false, format, args);
    va_end(args);
    return fits;
}

bool vesk_formatPathString(std::string* out, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string path = formatWhole(format, args);
    va_end(args);
    if (!vesk_pathFits(path)) {
        vesk_reportPathTooLong(path);
        return false;
    }
    if (out) {
        *out = path;
    }
    return true;
}

void vesk_reportPathTooLong(const std::string& path) {
    vesk_diagnostic("\nPath too long (%zu bytes, at most %zu fit), not used: %s", path.size(),
                    kVeskPathMaxLength, vesk_printablePath(path).c_str());
}

std::string vesk_printablePath(const std::string& path) {
    std::string out;
    out.reserve(path.size());
    for (unsigned char c : path) {
        if (c >= 0x20 && c != 0x7f) {
            out += static_cast<char>(c);
            continue;
        }
        switch (c) {
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default: {
                char hex[5];
                snprintf(hex, sizeof hex, "\\x%02x", c);
                out += hex;
            }
        }
    }
    return out;
}
