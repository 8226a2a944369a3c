// A project's settings file ".CorvixPro2ProjectConfig.cpr": any file loads without harm, and what
// the store commits loads back into the same entries.
#include <string>

#include "FuzzSandbox.h"
#include "FuzzStores.h"
#include "Quaden_PISSPerProjectConfig.h"

namespace {

std::string projectFolder() {
    return fuzz_begin() + "/work/project";
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    std::string project = projectFolder();
    {
        QuadenPISSPerProjectConfig store(project.c_str());
        store.Add("My Project.aep", "SpecPreviewAreaToPreview", 2);
        store.Add("Comp 1", "SpecRenderOutputPath", "/Volumes/Render Out/shot 1");
        store.Commit();
    }
    fuzz_seed(folder, "written", fuzz_readFile(project + "/.CorvixPro2ProjectConfig.cpr"));
    fuzz_seed(folder, "old-version", "cpr-version:0\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string project = projectFolder();
    fuzz_writeFile(project + "/.CorvixPro2ProjectConfig.cpr", data, size);
    std::string loaded;
    {
        QuadenPISSPerProjectConfig store(project.c_str());
        char* text = nullptr;
        store.GetItem(&text, "Comp 1", "SpecRenderOutputPath");
        free(text);
        loaded = fuzz_entriesOf(store);
        fuzz_check(store.StartTransaction() == 1, "no transaction");
        bool fits = fuzz_linesFit(store);
        fuzz_check(store.Commit() == (fits ? 1 : 0), "the store could not commit");
        if (!fits) {
            return 0;
        }
    }
    QuadenPISSPerProjectConfig again(project.c_str());
    fuzz_check(fuzz_entriesOf(again) == loaded, "a committed file loads other entries");
    return 0;
}
