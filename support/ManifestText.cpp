#include "ManifestText.h"

#include <cstdint>

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// The length of the UTF-8 sequence at text[at] when it encodes a character XML allows, else 0.
size_t validSequence(const std::string& text, size_t at) {
    unsigned char lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        return lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r' ? 1 : 0;
    }
    size_t length;
    uint32_t code;
    uint32_t smallest;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, code = lead & 0x1F, smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, code = lead & 0x0F, smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, code = lead & 0x07, smallest = 0x10000;
    } else {
        return 0;
    }
    if (at + length > text.size()) {
        return 0;
    }
    for (size_t k = 1; k < length; ++k) {
        unsigned char next = static_cast<unsigned char>(text[at + k]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        code = (code << 6) | (next & 0x3F);
    }
    bool allowed = code >= smallest && code <= 0x10FFFF && !(code >= 0xD800 && code <= 0xDFFF) &&
                   code != 0xFFFE && code != 0xFFFF;
    return allowed ? length : 0;
}

}  // namespace

std::string ManifestText::validXml(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        size_t length = validSequence(text, at);
        if (length == 0) {
            out += kReplacement;
            ++at;
        } else {
            out.append(text, at, length);
            at += length;
        }
    }
    return out;
}

std::string ManifestText::element(const std::string& text) {
    std::string out;
    for (char c : validXml(text)) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '\r':
                out += "&#13;";
                break;
            default:
                out += c;
        }
    }
    return out;
}
