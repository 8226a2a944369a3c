#include "VeskXmlText.h"

#include <cstdint>
#include <cstdio>

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// The length of the well-formed UTF-8 sequence at text[at] and its code point, else 0.
size_t utf8Sequence(const std::string& text, size_t at, uint32_t* code) {
    unsigned char lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        *code = lead;
        return 1;
    }
    size_t length;
    uint32_t smallest;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, *code = lead & 0x1F, smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, *code = lead & 0x0F, smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, *code = lead & 0x07, smallest = 0x10000;
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
        *code = (*code << 6) | (next & 0x3F);
    }
    bool wellFormed =
        *code >= smallest && *code <= 0x10FFFF && !(*code >= 0xD800 && *code <= 0xDFFF);
    return wellFormed ? length : 0;
}

// Whether a strict parser takes the character: tab and line breaks, no other control character,
// nor U+FFFE or U+FFFF.
bool allowed(uint32_t code) {
    return (code >= 0x20 || code == '\t' || code == '\n' || code == '\r') && code != 0xFFFE &&
           code != 0xFFFF;
}

std::string reference(uint32_t code) {
    char text[16];
    snprintf(text, sizeof text, code < 0x100 ? "&#%u;" : "&#x%X;", static_cast<unsigned>(code));
    return text;
}

// A blank TinyXML would drop from element text: at either end, or beside another blank.
bool condensedBlank(const std::string& value, size_t i) {
    return i == 0 || i + 1 == value.size() || value[i - 1] == ' ' || value[i + 1] == ' ';
}

}  // namespace

std::string vesk_xmlValid(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        uint32_t code = 0;
        size_t length = utf8Sequence(text, at, &code);
        if (length == 0 || !allowed(code)) {
            // One replacement per byte: what a reader sees stays as long as what was there.
            out += kReplacement;
            ++at;
        } else {
            out.append(text, at, length);
            at += length;
        }
    }
    return out;
}

std::string vesk_xmlText(const std::string& value, VeskXmlPlace place, VeskXmlReader reader) {
    const bool attribute = place == VeskXmlPlace::kAttribute;
    const std::string text = reader == VeskXmlReader::kStrict ? vesk_xmlValid(value) : value;
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        uint32_t code = 0;
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"' && attribute) {
            out += "&quot;";
        } else if (reader == VeskXmlReader::kStrict) {
            out += static_cast<char>(c);
        } else if (c < 0x20 || (c == ' ' && !attribute && condensedBlank(text, i))) {
            // Line ends would be normalised, other white space condensed or trimmed.
            out += reference(c);
        } else if (c == 0xEF && !attribute && reader == VeskXmlReader::kTinyXmlUtf8 &&
                   utf8Sequence(text, i, &code) == 3 &&
                   (code == 0xFEFF || code == 0xFFFE || code == 0xFFFF)) {
            out += reference(code);
            i += 2;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}
