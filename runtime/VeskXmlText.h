// The one place that makes a value safe for an XML file we write: element text or an attribute
// value, escaped so that the file stays well-formed whatever bytes a name, path or comment holds.
// Plain text - well-formed UTF-8 without '&', '<', '>' or control characters other than tab and
// line breaks (in an attribute also without '"'; for TinyXML, without white space it would trim
// or condense) - comes back byte for byte, so every designed value keeps its bytes.
//
// Pure functions; any thread. Nothing fails.
#ifndef CORVIX_RUNTIME_VESKXMLTEXT_H
#define CORVIX_RUNTIME_VESKXMLTEXT_H

#include <string>

// Who reads the file back, which decides what a byte that XML cannot carry becomes.
enum class VeskXmlReader {
    // Any conforming parser (the support system reads package.xml and system.xml): bytes that
    // are not well-formed UTF-8, U+FFFE, U+FFFF and control characters other than tab, line feed
    // and carriage return become U+FFFD, since XML has no way to carry them.
    kStrict,
    // TinyXML, which must give back every byte (overrides.xml holds the user's paths). Control
    // characters become character references, and so do blanks it would trim or condense in
    // element text. kTinyXmlUtf8 is for a file that is well-formed UTF-8 throughout, which
    // TinyXML reads as UTF-8 and where it drops U+FEFF, U+FFFE and U+FFFF from element text
    // (those become references too); kTinyXmlLegacy for any other, read byte for byte.
    kTinyXmlUtf8,
    kTinyXmlLegacy,
};

enum class VeskXmlPlace { kElement, kAttribute };

// value escaped for place and reader: '&', '<' and '>' as entities everywhere, '"' as "&quot;"
// in attribute values; and what reader needs besides (see VeskXmlReader).
std::string vesk_xmlText(const std::string& value, VeskXmlPlace place, VeskXmlReader reader);

// text with every byte a conforming XML parser refuses replaced by U+FFFD (as kStrict), and
// nothing escaped.
std::string vesk_xmlValid(const std::string& text);

#endif
