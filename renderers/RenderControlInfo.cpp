#include "RenderControlInfo.h"

#include <strings.h>
#include <tinyxml.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "AppBundle.h"
#include "RenderExecutable.h"
#include "RendererOverrideMap.h"
#include "VersionCompare.h"
#include "VeskDiagnostics.h"

namespace {

const char kUnknownVersion[] = "1.0";

bool SDescendingProductSort(const RenderControlInfo::Product& p,
                            const RenderControlInfo::Product& q) {
    return corvix::strverscmp(p.first.c_str(), q.first.c_str()) > 0;
}

// Two empty versions compare as less both ways, which the sort's strict ordering cannot take;
// here they count as equal.
bool SAscendingRenderExecutableSort(const RenderExecutable* e, const RenderExecutable* f) {
    const char* a = e->getVersionString();
    const char* b = f->getVersionString();
    if (*a == 0 && *b == 0) {
        return false;
    }
    return corvix::strverscmp(a, b) < 0;
}

void readExecutable(TiXmlElement* element, const char* name, bool ignoreOverride,
                    RenderControlInfo* info, std::string* overridePath) {
    const char* pattern = element->GetText();
    RenderExecutable* executable = new RenderExecutable(pattern);
    executable->setDiscoverKey(pattern);

    const char* stream = element->Attribute("stream");
    if (stream && strcmp(stream, "stdout") == 0) {
        executable->setStream(0);
    } else if (stream && strcmp(stream, "stderr") == 0) {
        executable->setStream(1);
    }
    if (const char* adapter = element->Attribute("adapter")) {
        executable->setAdapter(adapter);
    }

    const char* pinned = RendererOverrideMap::getInstance()->getPathForRenderer(name);
    if (pinned) {
        *overridePath = pinned;
        if (!ignoreOverride) {
            executable->setPathToExecutable(pinned);
            executable->setOverridden(true);
        }
    }
    if (!pinned || ignoreOverride) {
        if (const char* discover = element->Attribute("discover")) {
            executable->setDiscoverKey(discover);
            executable->discoverApplication();
        }
    }

    if (const char* version = element->Attribute("version")) {
        executable->setVersionString(version);
    }
    int value = 0;
    if (element->QueryIntAttribute("consoleReader", &value) == TIXML_SUCCESS) {
        executable->setConsoleReader(value != 0);
    }
    if (element->QueryIntAttribute("hfs", &value) == TIXML_SUCCESS) {
        executable->setUsesHFS(value != 0);
    }

    if (executable->exists()) {
        info->addExecutable(executable);
        info->addProduct(executable->getLaunchPath());
    } else {
        delete executable;
    }
}

}  // namespace

RenderControlInfo::~RenderControlInfo() {
    for (RenderExecutable* executable : _executables) {
        delete executable;
    }
}

RenderControlInfo* RenderControlInfo::controlInfoFromElement(TiXmlElement* renderer,
                                                             bool ignoreOverride) {
    if (!renderer) {
        return nullptr;
    }
    RenderControlInfo* info = new RenderControlInfo();
    const char* name = renderer->Attribute("name");
    if (name) {
        info->setName(name);
    }
    if (const char* icon = renderer->Attribute("icon")) {
        info->setIconFile(icon);
    }
    for (TiXmlElement* e = renderer->FirstChildElement("extension"); e;
         e = e->NextSiblingElement("extension")) {
        info->addExtension(e->GetText());
    }
    for (TiXmlElement* e = renderer->FirstChildElement("uti"); e;
         e = e->NextSiblingElement("uti")) {
        info->addUTI(e->GetText());
    }

    int counted = 0;
    for (TiXmlElement* e = renderer->FirstChildElement("executable"); e;
         e = e->NextSiblingElement("executable")) {
        const char* platform = e->Attribute("platform");
        if (platform && strcmp(platform, "win") == 0) {
            continue;
        }
        ++counted;
        readExecutable(e, name, ignoreOverride, info, &info->_overridePath);
    }
    if (counted == 0) {
        delete info;
        return nullptr;
    }
    info->determineCorrectExecutable();
    return info;
}

void RenderControlInfo::addExtension(const char* extension) {
    if (extension) {
        _extensions.push_back(extension);
    }
}

void RenderControlInfo::addUTI(const char* uti) {
    if (uti) {
        _utis.push_back(uti);
    }
}

void RenderControlInfo::addExecutable(RenderExecutable* executable) {
    if (executable) {
        _executables.push_back(executable);
    }
}

void RenderControlInfo::addProduct(const char* path) {
    std::string version = kUnknownVersion;
    getVersionStringForPath(path, version);
    _products.emplace_back(version, path ? path : "");
}

void RenderControlInfo::determineCorrectExecutable() {
    if (_products.empty()) {
        return;
    }
    // Stable sorts: entries of equal versions keep their order in the file, so the choice
    // below never depends on how a sort happens to order equals.
    std::stable_sort(_products.begin(), _products.end(), SDescendingProductSort);
    std::stable_sort(_executables.begin(), _executables.end(), SAscendingRenderExecutableSort);

    const Product& top = _products.front();
    RenderExecutable* candidate = nullptr;
    for (RenderExecutable* executable : _executables) {
        bool considered =
            corvix::strverscmp(top.first.c_str(), executable->getVersionString()) >= 0 ||
            candidate == nullptr;
        // A later executable replaces the candidate only with a higher declared version: among
        // equals (two without a "version" attribute, say) the first in the file wins.
        if (considered && strcasecmp(executable->getLaunchPath(), top.second.c_str()) == 0 &&
            (!candidate || SAscendingRenderExecutableSort(candidate, executable))) {
            candidate = executable;
        }
    }
    _chosenExecutable = candidate;
}

bool RenderControlInfo::getVersionStringForPath(const char* path, std::string& version) {
    if (!path) {
        return false;
    }
    std::string bundle = AppBundle::bundlePathOf(path);
    if (bundle.empty()) {
        return false;
    }
    return AppBundle::readInfoString(bundle, "CFBundleShortVersionString", &version);
}

RenderExecutable* RenderControlInfo::getExecutable() {
    if (!_chosenExecutable && !_executables.empty()) {
        _chosenExecutable = _executables.front();
    }
    return _chosenExecutable;
}

bool RenderControlInfo::handlesExtension(const char* ext) const {
    if (!ext) {
        return false;
    }
    return std::find(_extensions.begin(), _extensions.end(), ext) != _extensions.end();
}

void RenderControlInfo::setName(const char* name) {
    _name = name ? name : "";
}

void RenderControlInfo::setIconFile(const char* iconFile) {
    _iconFile = iconFile ? iconFile : "";
}

void RenderControlInfo::dumpInfo() const {
    vesk_diagnostic("\n\nExtensions\n---");
    for (const std::string& extension : _extensions) {
        vesk_diagnostic("\n%s", extension.c_str());
    }
    vesk_diagnostic("\n\nUTI\n---");
    for (const std::string& uti : _utis) {
        vesk_diagnostic("\n%s", uti.c_str());
    }
}
