#include "ManifestText.h"

#include "VeskXmlText.h"

// The manifest is read by the support system's conforming parser: the strict rules apply.
std::string ManifestText::validXml(const std::string& text) {
    return vesk_xmlValid(text);
}

std::string ManifestText::element(const std::string& text) {
    return vesk_xmlText(text, VeskXmlPlace::kElement, VeskXmlReader::kStrict);
}
