// The overrides file "overrides.xml" of the renderers folder on disk: reading it with damage
// reported, its written form, and writing it whole.
//
// The written form is fixed byte for byte: the header lines, one
// "\n<renderer name=\"NAME\">PATH</renderer>" line per pin, the closing line. A plain name or path
// (no '&', '<', '>', '"', control character or space that TinyXML would condense or trim) stands
// as it is; any other is escaped so that TinyXML reads back exactly the bytes that were written
// (vesk_xmlText). A file that is not well-formed UTF-8 is read byte for byte (XmlFile.h), so any
// byte of a name or path survives. A path made only of white space reads back as no pin, as an
// empty one does: TinyXML drops blank element text.
//
// Static functions; any thread, but writers of one file must hold its VeskFileLock. Nothing
// throws.
#ifndef CORVIX_RENDERERS_OVERRIDESFILE_H
#define CORVIX_RENDERERS_OVERRIDESFILE_H

#include <string>
#include <vector>

class TiXmlDocument;
class TiXmlElement;

class OverridesFile {
  public:
    struct Pin {
        std::string name;
        std::string path;
    };

    enum class Read {
        kNothing,      // nothing readable there: missing, empty, or not a regular file (reported)
        kRead,         // parsed, with an "overrides" element
        kNoOverrides,  // parsed, without an "overrides" element: damaged (reported)
        kDamaged,      // too large, nested too deep, or does not parse (reported)
    };

    // Reads the file at path into document; *overrides (when given) is its "overrides" element
    // for kRead, null otherwise. Damage is reported through the diagnostics sink, naming the file.
    static Read read(const char* path, TiXmlDocument& document, TiXmlElement** overrides);

    // The file's text for pins, in order.
    static std::string format(const std::vector<Pin>& pins);

    // Replaces the file at path with format(pins), all or nothing (VeskAtomicFile). A damaged file
    // in its place is first kept aside as "<path>.damaged-<YYYYMMDD-HHMMSS>" and reported, never
    // replaced. False, with the cause in *error, when anything fails; the file on disk is then as
    // it was. The caller holds the file's lock.
    static bool write(const std::string& path, const std::vector<Pin>& pins, std::string* error);
};

#endif
