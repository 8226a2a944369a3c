// The manifest's XML escaping, as a round trip: the package job's texts (name, company, e-mail
// address: ManifestText::element; the comment: escaped once by the job and again by the manifest
// writer) are written into "package.xml" by writePackageInfo, read back by an XML parser as a
// file is read (line ends normalised), and must come back as the input made valid for XML: the
// comment less its tabs and carriage returns, once its own escape is undone.
#include <tinyxml.h>

#include <cstring>
#include <string>
#include <vector>

#include "FuzzSandbox.h"
#include "ManifestText.h"
#include "SupportPackage.h"

using namespace std::string_literals;

namespace {

// The text of element name under the document's root, or "" when it has none.
std::string textOf(TiXmlDocument& document, const char* name) {
    TiXmlElement* element = document.RootElement()->FirstChildElement(name);
    fuzz_check(element != nullptr, "an element is missing");
    const char* text = element->GetText();
    return text ? text : "";
}

// What TinyXML gives back for an element whose text stands in the file as written and means
// value: blank text is no text, and so is a text that stands in the file as blanks and byte order
// marks (U+FEFF) alone, since TinyXML skips those before a text. (A conforming reader keeps the
// latter; the manifest's bytes are right for it.)
std::string asRead(const std::string& written, const std::string& value) {
    if (value.find_first_not_of(" \t\r\n") == std::string::npos) {
        return "";
    }
    for (size_t i = 0; i < written.size();) {
        if (written[i] == ' ' || written[i] == '\t' || written[i] == '\r' || written[i] == '\n') {
            ++i;
        } else if (written.compare(i, 3, "\xEF\xBB\xBF") == 0) {
            i += 3;
        } else {
            return value;
        }
    }
    return "";
}

std::string decodedComment(const std::string& text) {
    static const char* const kNamed[][2] = {
        {"<br />", "\n"}, {"&quot;", "\""}, {"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}};
    std::string out;
    for (size_t i = 0; i < text.size();) {
        size_t length = 0;
        for (const auto& entity : kNamed) {
            if (text.compare(i, strlen(entity[0]), entity[0]) == 0) {
                out += entity[1];
                length = strlen(entity[0]);
                break;
            }
        }
        if (length == 0 && text.compare(i, 2, "&#") == 0) {
            size_t end = text.find(';', i);
            out += static_cast<char>(atoi(text.substr(i + 2, end - i - 2).c_str()));
            length = end + 1 - i;
        }
        if (length == 0) {
            out += text[i];
            length = 1;
        }
        i += length;
    }
    return out;
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "texts",
              "Ann Lee\0Orvanta & Sons <x>\0ann@example.com\0Line one\r\nLine two & more\t(x.y) "
              "a-b/c \xc3\xa9 \xff\x01"s);
    // A company of a byte order mark alone and a comment of one and a blank, which TinyXML reads
    // as no text; a name of one and a carriage return, which it reads whole.
    fuzz_seed(folder, "byte-order-marks",
              "\xEF\xBB\xBF\r\0\xEF\xBB\xBF\0a@b.c\0\xEF\xBB\xBF \xEF\xBB\xBF"s);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string folder = fuzz_begin() + "/work";
    std::vector<std::string> parts =
        fuzz_split(std::string(reinterpret_cast<const char*>(data), size), '\0', 4);
    std::string user = ManifestText::element(parts[0]);
    std::string company = ManifestText::element(parts[1]);
    std::string email = ManifestText::element(parts[2]);
    std::string comment = SupportPackage::escapedWhole(ManifestText::validXml(parts[3]).c_str());
    std::string product = "Corvix", version = "-";
    _sp_package_info_struct info;
    memset(&info, 0, sizeof info);
    info._productName = &product[0];
    info._productVersion = &version[0];
    info._userName = &user[0];
    info._company = &company[0];
    info._email = &email[0];
    info._comment = &comment[0];

    SupportPackage package(folder.c_str(), false);
    std::string manifest = folder + "/package.xml";
    fuzz_check(package.writePackageInfo(&info, manifest.c_str()) == 1, "no manifest");
    TiXmlBase::SetCondenseWhiteSpace(false);
    TiXmlDocument document;
    FILE* file = fopen(manifest.c_str(), "rb");
    bool loaded = document.LoadFile(file, TIXML_ENCODING_UTF8);
    fclose(file);
    fuzz_check(loaded && document.RootElement() != nullptr, "the manifest is not well-formed");
    const std::string* plain[] = {&parts[0], &parts[1], &parts[2]};
    const std::string* written[] = {&user, &company, &email};
    const char* names[] = {"user", "company", "email"};
    for (int i = 0; i < 3; ++i) {
        fuzz_check(
            textOf(document, names[i]) == asRead(*written[i], ManifestText::validXml(*plain[i])),
            "a text does not read back");
    }
    std::string expected;
    for (char c : ManifestText::validXml(parts[3])) {
        if (c != '\t' && c != '\r') {
            expected += c;
        }
    }
    std::string read = textOf(document, "comment");
    fuzz_check(read == asRead(comment, comment), "the comment does not read back as written");
    fuzz_check(
        decodedComment(read) == expected || (read.empty() && asRead(comment, comment).empty()),
        "the comment does not decode to the input");
    return 0;
}
