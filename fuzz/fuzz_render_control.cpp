// Render control files, the renderer part: any file in the renderers folder loads into a row (or
// none) without harm, through discovery and the row edits of the 3D Renderers view, and the pins
// the view then saves read back as the rows hold them.
#include <map>
#include <string>

#include "ExternalRenderManager.h"
#include "ExternalRenderer.h"
#include "FuzzSandbox.h"
#include "RendererOverrideMap.h"

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "plain",
              "<?xml version=\"1.0\" ?>\n<renderer name=\"Prism 3D\" icon=\"prism.png\">\n"
              "<extension>c4d</extension><uti>com.example.c4d</uti>\n"
              "<executable stream=\"stderr\" consoleReader=\"1\" hfs=\"0\" version=\"10\">"
              "($APPDIR)/Prism.app/Contents/MacOS/Prism</executable>\n"
              "<executable platform=\"win\">C:\\Prism\\prism.exe</executable>\n"
              "<executable discover=\"c4d\" version=\"9\" adapter=\"c4d\">^Prism.*$</executable>\n"
              "<executable>($USERDIR)/bin/prism ($USERDIR)</executable>\n</renderer>\n");
    fuzz_seed(folder, "states",
              "<renderer name=\"Cinema\"><executable>/bin/sh</executable>"
              "<state name=\"idle\" default=\"1\"><transition to=\"run\"><stringmatch>^Go"
              "</stringmatch></transition></state></renderer>");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_begin();
    fuzz_writeFile(ExternalRenderManager::rendererFolder() + "/r.xml", data, size);
    ExternalRenderManager manager(ExternalRenderManager::kLockForLifetime);
    std::map<std::string, std::string> pinned;
    for (size_t row = 0; row < manager.getRenderers().size(); ++row) {
        manager.setMode(row, ExternalRenderManager::kModeDiscover);
        manager.setMode(row, ExternalRenderManager::kModeSpecify);
        manager.setPath(row, "/opt/pinned");
        const ExternalRenderer* renderer = manager.getRenderers()[row];
        pinned[renderer->getName()] = renderer->getPath();
    }
    manager.setMode(manager.getRenderers().size(), ExternalRenderManager::kModeSpecify);
    fuzz_check(manager.commitChanges(), "the pins could not be saved");
    RendererOverrideMap* map = RendererOverrideMap::getInstance();
    map->clear();
    map->load(ExternalRenderManager::overridesFile().c_str());
    for (const auto& [name, path] : pinned) {
        const char* read = map->getPathForRenderer(name.c_str());
        fuzz_check(read != nullptr && path == read, "a saved pin reads back otherwise");
    }
    return 0;
}
