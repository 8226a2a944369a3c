// The manifest of a support package, "package.xml": who sent it, which product, the comment, and
// the files by category. It is read by the support system, so it is written line by line with
// fixed texts rather than through an XML library, and its bytes must not change.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "SupportPackage.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"

namespace {

// What the platform's formatted output writes for a null text.
const char* text(const char* value) {
    return value ? value : "(null)";
}

// The escape of one character, or nullptr when it is copied as it stands. Dropped characters
// map to the empty text.
const char* escapeOf(char c, char* numeric, size_t numericSize) {
    switch (c) {
        case '\t':
        case '\r':
            return "";
        case '\n':
            return "<br />";
        case '"':
            return "&quot;";
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '!':
        case '#':
        case '$':
        case '%':
        case '*':
        case '+':
        case ',':
        case '-':
        case '/':
        case ':':
        case ';':
        case '=':
        case '?':
        case '@':
        case '{':
        case '|':
        case '}':
        case '~':
            snprintf(numeric, numericSize, "&#%d;", c);
            return numeric;
        default:
            return nullptr;
    }
}

}  // namespace

void SupportPackage::urlEncodeString(char* input, char* output, unsigned long limit) {
    encodeInto(input, output, limit, limit);
}

std::string SupportPackage::escapedWhole(const char* input) {
    if (!input) {
        return std::string();
    }
    // Sized from the escapes themselves, so nothing is ever cut; a comment whose escape fits the
    // 5000 bytes the support system was built around comes out the same.
    unsigned long size = 1;
    for (const char* p = input; *p; ++p) {
        char numeric[8];
        const char* escape = escapeOf(*p, numeric, sizeof numeric);
        size += escape ? strlen(escape) : 1;
    }
    std::string output(size, '\0');
    encodeInto(input, &output[0], strlen(input), size);
    output.resize(size - 1);
    return output;
}

void SupportPackage::encodeInto(const char* input, char* output, unsigned long limit,
                                unsigned long capacity) {
    if (!output || capacity == 0) {
        return;
    }
    memset(output, 0, capacity);
    if (!input) {
        return;
    }
    // An escape can be six bytes for one character; the text is cut before an escape that
    // would not leave room for the terminating NUL.
    unsigned long written = 0;
    for (unsigned long consumed = 0; input[consumed] != '\0' && consumed < limit; ++consumed) {
        char c = input[consumed];
        char numeric[8];
        const char* escape = escapeOf(c, numeric, sizeof numeric);
        size_t length = escape ? strlen(escape) : 1;
        if (written + length >= capacity) {
            break;
        }
        if (escape) {
            memcpy(output + written, escape, length);
        } else {
            output[written] = c;
        }
        written += length;
    }
    output[written] = '\0';
}

int SupportPackage::writePackageInfo(_sp_package_info_struct* info, const char* path) {
    if (!info || !path) {
        vesk_diagnostic("\nPackage info missing or invalid output file.");
        return 0;
    }
    FILE* out = vesk_fopenRegular(path, "w");
    if (!out) {
        vesk_diagnostic("\nCould not open \"%s\" for output.", path);
        return 0;
    }
    if (info->_version < 1) {
        info->_version = 1;
    }
    fprintf(out, "<?xml version=\"1.0\" ?>\n");
    fprintf(out, "<?xml-stylesheet type=\"text/xsl\" href=\"package.xsl\"?>\n");
    fprintf(out, "<SupportInfo version=\"%d.0\">\n", info->_version);
    fprintf(out, "\t<!-- Information for Orvanta Support System -->\n");
    fprintf(out, "\t<application>%s</application>\n", text(info->_productName));
    fprintf(out, "\t<appversion>%s</appversion>\n", text(info->_productVersion));
    fprintf(out, "\t<build>%d</build>\n", info->_build);
    fprintf(out, "\t<user>%s</user>\n", text(info->_userName));
    fprintf(out, "\t<company>%s</company>\n", text(info->_company));
    fprintf(out, "\t<email>%s</email>\n", text(info->_email));
    fprintf(out, "\t<license>%s</license>\n", text(info->_license));
    fprintf(out, "\t<timestamp>%d</timestamp>\n", info->_timestamp);
    // The package job escapes the comment before it fills the record, so the support system
    // receives it escaped twice; that is what it decodes.
    fprintf(out, "\t<comment>%s</comment>\n", escapedWhole(info->_comment).c_str());

    if (!_systemEntries.empty()) {
        fprintf(out, "\t<!-- System information files -->\n");
        addAttachments(out, "system_info", &_systemEntries);
    }
    if (!_applicationEntries.empty()) {
        fprintf(out, "\t<!-- Application related -->\n");
        addAttachments(out, "app_info", &_applicationEntries);
    }
    if (!_userEntries.empty()) {
        fprintf(out, "\t<!-- User related -->\n");
        addAttachments(out, "user_info", &_userEntries);
    }
    // The attachments section is keyed on its own list but lists the user entries; the pairing
    // is deliberate and kept. Nothing fills the attachment list, so it does not appear today.
    if (!_attachmentEntries.empty()) {
        fprintf(out, "\t<!-- Misc. Attachments -->\n");
        addAttachments(out, "attachments", &_userEntries);
    }
    fprintf(out, "</SupportInfo>\n");
    // A manifest cut short by a full disk must not be zipped as if it were whole.
    bool failed = ferror(out) != 0;
    int error = errno;
    if (fclose(out) != 0 && !failed) {
        failed = true;
        error = errno;
    }
    if (failed) {
        vesk_diagnostic("\nCould not write \"%s\": %s", path, strerror(error ? error : EIO));
        return 0;
    }
    return 1;
}

void SupportPackage::addAttachments(FILE* stream, const char* element,
                                    std::vector<std::string>* entries) {
    if (!stream || !element || !entries) {
        return;
    }
    fprintf(stream, "\t<%s>\n", element);
    for (const std::string& entry : *entries) {
        char* copy = strdup(entry.c_str());
        if (!copy) {
            fprintf(stream, "\t\t</infofile>\n");
            continue;
        }
        char* lastSlash = strrchr(copy, '/');
        if (!lastSlash) {
            fprintf(stream, "\t\t<infofile>\n");
            fprintf(stream, "\t\t\t<name>?\?</name>\n");
        } else {
            // The first component is the category, the last the file name, and whatever lies
            // between them the feature.
            const char* name = lastSlash + 1;
            *lastSlash = '\0';
            char* firstSlash = strchr(copy, '/');
            if (firstSlash && firstSlash[1] != '\0') {
                fprintf(stream, "\t\t<infofile feature=\"%s\">\n", firstSlash + 1);
            } else {
                fprintf(stream, "\t\t<infofile>\n");
            }
            fprintf(stream, "\t\t\t<name>%s</name>\n", name);
        }
        fprintf(stream, "\t\t\t<path>%s</path>\n", entry.c_str());
        fprintf(stream, "\t\t</infofile>\n");
        free(copy);
    }
    fprintf(stream, "\t</%s>\n", element);
}

void SupportPackage::addFileToSysManifest(const char* fileName) {
    if (fileName) {
        _systemEntries.push_back(std::string("system/") + fileName);
    }
}
