// The renderer overrides file "overrides.xml": any file loads into the override map without harm,
// and the pins read from it, written back in the file's form, read back exactly (the escaping of
// names and paths), a damaged file being kept aside instead of replaced.
#include <tinyxml.h>

#include <map>
#include <string>
#include <vector>

#include "ExternalRenderManager.h"
#include "FuzzSandbox.h"
#include "OverridesFile.h"
#include "RendererOverrideMap.h"

namespace {

// The pins of the file at path by the override map's rule: later lines win, blank paths are none.
std::map<std::string, std::string> pinsOf(const std::string& path) {
    std::map<std::string, std::string> pins;
    TiXmlDocument document;
    TiXmlElement* overrides = nullptr;
    OverridesFile::read(path.c_str(), document, &overrides);
    for (TiXmlElement* renderer = overrides ? overrides->FirstChildElement("renderer") : nullptr;
         renderer; renderer = renderer->NextSiblingElement("renderer")) {
        const char* text = renderer->GetText();
        const char* name = renderer->Attribute("name");
        if (text && *text && name) {
            pins[name] = text;
        }
    }
    return pins;
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    std::string error;
    OverridesFile::write(ExternalRenderManager::overridesFile(),
                         {{"Prism 3D", "/opt/prism/bin/prism"},
                          {"Say \"hi\" & <bye>", "  /opt/a  b\t"},
                          {"caf\xc3\xa9", "/opt/caf\xe9"}},
                         &error);
    fuzz_seed(folder, "written", fuzz_readFile(ExternalRenderManager::overridesFile()));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_begin();
    std::string path = ExternalRenderManager::overridesFile();
    fuzz_writeFile(path, data, size);
    RendererOverrideMap* map = RendererOverrideMap::getInstance();
    map->load(path.c_str());
    std::map<std::string, std::string> pins = pinsOf(path);
    std::vector<OverridesFile::Pin> list;
    for (const auto& [name, pinned] : pins) {
        const char* mapped = map->getPathForRenderer(name.c_str());
        fuzz_check(mapped != nullptr && pinned == mapped, "the map holds another pin");
        list.push_back({name, pinned});
    }
    std::string error;
    fuzz_check(OverridesFile::write(path, list, &error), "the pins could not be written");
    fuzz_check(pinsOf(path) == pins, "written pins read back otherwise");
    return 0;
}
