#include "ManifestText.h"

#include "VeskXmlText.h"

// The manifest is read by the support system's conforming parser: the strict rules apply.
std::string ManifestText::validXml(const std::string& text) {
    return vesk_xmlValid(text);
}

std::string ManifestText::element(const std::string& text) {
    // A carriage return goes in as a reference: an XML reader turns a raw one into a line feed.
    std::string out;
    for (char c : vesk_xmlText(text, VeskXmlPlace::kElement, VeskXmlReader::kStrict)) {
        if (c == '\r') {
            out += "&#13;";
        } else {
            out += c;
        }
    }
    return out;
}
