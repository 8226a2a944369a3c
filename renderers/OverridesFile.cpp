#include "OverridesFile.h"

#include <sys/stat.h>
#include <tinyxml.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "RenderStrings.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "XmlFile.h"

namespace {

// Read as UTF-8, TinyXML drops these three characters where element text begins, as if they
// were byte-order marks.
bool isSkippedMark(const std::string& value, size_t i) {
    return value.compare(i, 3, "\xef\xbb\xbf") == 0 || value.compare(i, 3, "\xef\xbf\xbe") == 0 ||
           value.compare(i, 3, "\xef\xbf\xbf") == 0;
}

std::string characterReference(unsigned long code) {
    char text[16];
    snprintf(text, sizeof text, code < 0x100 ? "&#%lu;" : "&#x%lX;", code);
    return text;
}

// "<path>.damaged-<time>", or with "-2", "-3", ... when that name is taken.
std::string damagedName(const std::string& path) {
    char stamp[32] = {0};
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
    std::string base = path + ".damaged-" + stamp;
    std::string name = base;
    struct stat st;
    for (int n = 2; lstat(name.c_str(), &st) == 0; ++n) {
        name = base + "-" + std::to_string(n);
    }
    return name;
}

// A damaged file is the user's pins in a form we cannot read: it is moved aside, never lost.
bool keepAsideIfDamaged(const std::string& path, std::string* error) {
    struct stat st;
    // Anything but a regular file is left where it is; the write refuses it.
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return true;
    }
    TiXmlDocument document;
    OverridesFile::Read read = OverridesFile::read(path.c_str(), document, nullptr);
    if (read != OverridesFile::Read::kNoOverrides && read != OverridesFile::Read::kDamaged) {
        return true;
    }
    std::string aside = damagedName(path);
    if (rename(path.c_str(), aside.c_str()) != 0) {
        *error =
            "could not keep the damaged " + vesk_printablePath(path) + " aside: " + strerror(errno);
        return false;
    }
    vesk_diagnostic("\nThe damaged renderer overrides file was kept as %s.",
                    vesk_printablePath(aside).c_str());
    return true;
}

}  // namespace

OverridesFile::Read OverridesFile::read(const char* path, TiXmlDocument& document,
                                        TiXmlElement** overrides) {
    if (overrides) {
        *overrides = nullptr;
    }
    std::string shown = vesk_printablePath(path ? path : "");
    switch (render_readXmlFile(document, path)) {
        case RenderXmlResult::kAbsent:
            return Read::kNothing;
        case RenderXmlResult::kRefused: {
            struct stat st;
            bool regular = stat(path, &st) == 0 && S_ISREG(st.st_mode);
            return regular ? Read::kDamaged : Read::kNothing;
        }
        case RenderXmlResult::kMalformed:
            // An empty file holds no pins to lose.
            if (document.ErrorId() == TiXmlBase::TIXML_ERROR_DOCUMENT_EMPTY) {
                return Read::kNothing;
            }
            vesk_diagnostic("\nRenderer overrides not read: %s does not parse (%s, line %d).",
                            shown.c_str(), document.ErrorDesc(), document.ErrorRow());
            return Read::kDamaged;
        case RenderXmlResult::kLoaded:
            break;
    }
    TiXmlElement* element = document.FirstChildElement("overrides");
    if (!element) {
        vesk_diagnostic("\nRenderer overrides not read: %s has no \"overrides\" element.",
                        shown.c_str());
        return Read::kNoOverrides;
    }
    if (overrides) {
        *overrides = element;
    }
    return Read::kRead;
}

std::string OverridesFile::escape(const std::string& value, bool attribute, bool utf8File) {
    std::string out;
    for (size_t i = 0; i < value.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(value[i]);
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"') {
            out += "&quot;";
        } else if (c < 0x20) {
            // Line ends would be normalised and other white space condensed or trimmed.
            out += characterReference(c);
        } else if (c == ' ' && !attribute &&
                   (i == 0 || i + 1 == value.size() || value[i - 1] == ' ' ||
                    value[i + 1] == ' ')) {
            // TinyXML trims element text and condenses runs of white space; a lone space
            // between two other characters is the only one it keeps.
            out += characterReference(c);
        } else if (!attribute && utf8File && isSkippedMark(value, i)) {
            unsigned long code =
                ((c & 0x0fUL) << 12) | ((value[i + 1] & 0x3fUL) << 6) | (value[i + 2] & 0x3fUL);
            out += characterReference(code);
            i += 2;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

std::string OverridesFile::format(const std::vector<Pin>& pins) {
    bool utf8File = true;
    for (const Pin& pin : pins) {
        utf8File = utf8File && render_isUtf8(pin.name) && render_isUtf8(pin.path);
    }
    std::string text = "<?xml version=\"1.0\" ?>";
    text += "\n<overrides version=\"1.0\">";
    text += "\n<!-- Overrides.xml generated by Corvix Support Tool -->";
    for (const Pin& pin : pins) {
        text += "\n<renderer name=\"" + escape(pin.name, true, utf8File) + "\">" +
                escape(pin.path, false, utf8File) + "</renderer>";
    }
    text += "\n</overrides>\n";
    return text;
}

bool OverridesFile::write(const std::string& path, const std::vector<Pin>& pins,
                          std::string* error) {
    std::string ignored;
    std::string& cause = error ? *error : ignored;
    cause.clear();
    if (!keepAsideIfDamaged(path, &cause)) {
        return false;
    }
    VeskAtomicFile file(path);
    if (!file.open()) {
        cause = file.error();
        return false;
    }
    std::string text = format(pins);
    // A short write leaves the stream's error set, which commit() counts.
    fwrite(text.data(), 1, text.size(), file.stream());
    if (!file.commit()) {
        cause = file.error();
        return false;
    }
    return true;
}
