#include "XmlFile.h"

#include <sys/stat.h>
#include <tinyxml.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "RenderStrings.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"

namespace {

RenderXmlResult refuse(const char* path, const std::string& reason) {
    render_reportSkipped(path, reason);
    return RenderXmlResult::kRefused;
}

// TinyXML's white space: isspace in the C locale.
bool isXmlSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// TinyXML starts an element at '<' followed by a letter, '_' or any byte from 127 up.
bool startsElement(char c) {
    unsigned char byte = static_cast<unsigned char>(c);
    return byte >= 127 || c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The position just past the first end after from, or the text's size.
size_t skipPast(const std::string& text, size_t from, const char* end) {
    size_t found = text.find(end, from);
    return found == std::string::npos ? text.size() : found + strlen(end);
}

// The position of the '>' that ends the start tag whose name begins at from: the first one
// outside a quoted attribute value. The text's size when there is none.
size_t endOfStartTag(const std::string& text, size_t from) {
    bool afterEquals = false;
    for (size_t i = from; i < text.size(); ++i) {
        char c = text[i];
        if (c == '>') {
            return i;
        }
        if (afterEquals && (c == '"' || c == '\'')) {
            size_t close = text.find(c, i + 1);
            if (close == std::string::npos) {
                return text.size();
            }
            i = close;
            afterEquals = false;
        } else if (c == '=') {
            afterEquals = true;
        } else if (!isXmlSpace(c)) {
            afterEquals = false;
        }
    }
    return text.size();
}

}  // namespace

void render_reportSkipped(const char* path, const std::string& reason) {
    vesk_diagnostic("\nSkipped %s: it %s.", vesk_printablePath(path ? path : "").c_str(),
                    reason.c_str());
}

bool render_xmlDepthWithin(const std::string& text, int limit) {
    int depth = 0;
    size_t i = 0;
    while ((i = text.find('<', i)) != std::string::npos && i + 1 < text.size()) {
        size_t open = i++;
        if (text.compare(open, 4, "<!--") == 0) {
            i = skipPast(text, open + 4, "-->");
        } else if (text.compare(open, 9, "<![CDATA[") == 0) {
            i = skipPast(text, open + 9, "]]>");
        } else if (text[i] == '/') {
            // A stray end tag at the top is no element to TinyXML: the count never goes below 0.
            depth = depth > 0 ? depth - 1 : 0;
            i = skipPast(text, i, ">");
        } else if (!startsElement(text[i])) {
            // Declarations, document types and anything else TinyXML keeps as an unknown node.
            i = skipPast(text, i, ">");
        } else {
            i = endOfStartTag(text, i);
            if (i >= text.size()) {
                break;
            }
            if (text[i - 1] != '/' && ++depth > limit) {
                return false;
            }
            ++i;
        }
    }
    return true;
}

RenderXmlResult render_readXmlFile(TiXmlDocument& document, const char* path) {
    if (!path) {
        return RenderXmlResult::kAbsent;
    }
    std::string text;
    std::string why;
    if (!vesk_readRegularFile(path, kRenderXmlSizeLimit, &text, &why)) {
        struct stat st;
        // What is not there, or not ours to read, goes unmentioned, as it always did.
        if (errno == EFBIG || (stat(path, &st) == 0 && !S_ISREG(st.st_mode))) {
            return refuse(path, why);
        }
        return RenderXmlResult::kAbsent;
    }
    if (!render_xmlDepthWithin(text, kRenderXmlDepthLimit)) {
        return refuse(path,
                      "is nested deeper than " + std::to_string(kRenderXmlDepthLimit) + " levels");
    }
    TiXmlEncoding encoding = render_isUtf8(text) ? TIXML_DEFAULT_ENCODING : TIXML_ENCODING_LEGACY;
    if (text.empty()) {
        document.Parse("", nullptr, encoding);
        return RenderXmlResult::kMalformed;
    }
    // Parsed through a stream, as from the file itself, so that TinyXML normalises line ends.
    FILE* stream = fmemopen(&text[0], text.size(), "rb");
    if (!stream) {
        return RenderXmlResult::kAbsent;
    }
    bool loaded = document.LoadFile(stream, encoding);
    fclose(stream);
    return loaded ? RenderXmlResult::kLoaded : RenderXmlResult::kMalformed;
}
