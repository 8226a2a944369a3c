// ManifestText: what the package job does to the user's texts before they go into the manifest
// record, so that "package.xml" stays well-formed XML whatever a user typed or a file held.
//
// The manifest writer puts the name, company, e-mail address and licence text between their tags
// as they stand, and escapes only the comment; these functions make every text safe for that.
// Plain text (valid UTF-8 without '&', '<', '>' or control characters) comes back byte for byte.
//
// Threads: any; no state. Nothing fails.
#ifndef CORVIX_SUPPORT_MANIFESTTEXT_H
#define CORVIX_SUPPORT_MANIFESTTEXT_H

#include <string>

class ManifestText {
  public:
    // text with every byte that cannot stand in an XML document replaced by U+FFFD: bytes that
    // are not valid UTF-8 (including overlong forms and surrogates), U+FFFE and U+FFFF, and the
    // control characters below 0x20 other than tab, line feed and carriage return.
    static std::string validXml(const std::string& text);

    // validXml(text) with '&', '<' and '>' written as entities, and a carriage return as "&#13;"
    // (an XML reader turns a raw one into a line feed): ready for element content, and read back
    // as validXml(text) exactly.
    static std::string element(const std::string& text);
};

#endif
