#include "AppBundle.h"

#include <sys/stat.h>
#include <tinyxml.h>

#include <cstring>

#include "XmlFile.h"

namespace {

bool isDirectory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
}

}  // namespace

AppBundle::AppBundle(const std::string& applicationPath) {
    if (applicationPath.empty()) {
        return;
    }
    std::string bundle = bundlePathOf(applicationPath);
    if (!bundle.empty() && isDirectory(bundle)) {
        _isBundle = true;
        _folder = bundle;
        std::string name;
        // A name with a slash would leave Contents/MacOS; such a bundle has no main executable.
        if (readInfoString(bundle, "CFBundleExecutable", &name) && !name.empty() &&
            name.find('/') == std::string::npos) {
            std::string executable = bundle + "/Contents/MacOS/" + name;
            if (isFile(executable)) {
                _executablePath = executable;
            }
        }
        return;
    }
    _executablePath = applicationPath;
    size_t slash = applicationPath.rfind('/');
    if (slash == std::string::npos) {
        _folder = ".";
    } else {
        _folder = slash == 0 ? "/" : applicationPath.substr(0, slash);
    }
}

std::string AppBundle::bundlePathOf(const std::string& path) {
    size_t marker = path.find(".app");
    if (marker == std::string::npos) {
        return std::string();
    }
    return path.substr(0, marker + 4);
}

bool AppBundle::readInfoString(const std::string& bundleFolder, const char* key,
                               std::string* value) {
    if (!key || !value) {
        return false;
    }
    std::string plistPath = bundleFolder + "/Contents/Info.plist";
    TiXmlDocument document;
    if (render_readXmlFile(document, plistPath.c_str()) != RenderXmlResult::kLoaded) {
        return false;
    }
    TiXmlElement* plist = document.FirstChildElement("plist");
    TiXmlElement* dict = plist ? plist->FirstChildElement("dict") : nullptr;
    if (!dict) {
        return false;
    }
    for (TiXmlElement* entry = dict->FirstChildElement(); entry;
         entry = entry->NextSiblingElement()) {
        if (entry->ValueStr() != "key") {
            continue;
        }
        const char* text = entry->GetText();
        if (!text || strcmp(text, key) != 0) {
            continue;
        }
        TiXmlElement* item = entry->NextSiblingElement();
        if (!item || item->ValueStr() != "string") {
            return false;
        }
        const char* string = item->GetText();
        *value = string ? string : "";
        return true;
    }
    return false;
}
