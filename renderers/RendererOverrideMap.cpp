#include "RendererOverrideMap.h"

#include <tinyxml.h>

#include "OverridesFile.h"
#include "VeskDiagnostics.h"

RendererOverrideMap* RendererOverrideMap::getInstance() {
    static RendererOverrideMap* instance = new RendererOverrideMap();
    return instance;
}

RendererOverrideMap::~RendererOverrideMap() = default;

bool RendererOverrideMap::load(const char* path) {
    _filePath = path ? path : "";
    if (!path) {
        return true;
    }
    TiXmlDocument document;
    TiXmlElement* overrides = nullptr;
    OverridesFile::Read read = OverridesFile::read(path, document, &overrides);
    if (read == OverridesFile::Read::kNoOverrides) {
        return false;
    }
    if (!overrides) {
        return true;
    }
    for (TiXmlElement* renderer = overrides->FirstChildElement("renderer"); renderer;
         renderer = renderer->NextSiblingElement("renderer")) {
        const char* text = renderer->GetText();
        const char* name = renderer->Attribute("name");
        if (text && *text && name) {
            _overrides[name] = text;
        }
    }
    return true;
}

const char* RendererOverrideMap::getPathForRenderer(const char* name) const {
    if (!name) {
        return nullptr;
    }
    auto found = _overrides.find(name);
    return found == _overrides.end() ? nullptr : found->second.c_str();
}

void RendererOverrideMap::printOverrides() const {
    vesk_diagnostic("\n\n*** OVERRIDE MAP\n");
    for (const auto& [name, path] : _overrides) {
        vesk_diagnostic("\n%s - %s", name.c_str(), path.c_str());
    }
    vesk_diagnostic("\n");
}

void RendererOverrideMap::clear() {
    _overrides.clear();
    _filePath.clear();
}
