// A project's settings file ".CorvixPro2ProjectConfig.cpr": any file loads without harm, and what
// the store commits loads back into the same entries.
#include <cstring>
#include <string>

#include "FuzzSandbox.h"
#include "Quaden_PISSPerProjectConfig.h"

namespace {

// Whether every entry's line fits what the store's reader takes whole; a store holding a longer
// one refuses to commit.
template <typename Store>
bool linesFit(Store& store) {
    store.PrepareKeyValuePairList();
    while (tConfigKVPEntry* entry = store.GetNextKeyValuePairInList()) {
        std::string value = entry->_type == kPISSIntEntry ? std::to_string(entry->_intValue)
                            : entry->_stringValue         ? entry->_stringValue
                                                          : "";
        size_t length = strlen(entry->_group) + strlen(entry->_key) + value.size() +
                        (entry->_type == kPISSIntEntry ? 6 : 9);
        if (length > kPISSLongestLine) {
            return false;
        }
    }
    return true;
}

std::string entriesOf(QuadenPISSPerProjectConfig& store) {
    std::string text;
    store.PrepareKeyValuePairList();
    while (tConfigKVPEntry* entry = store.GetNextKeyValuePairInList()) {
        text += std::string(entry->_group) + '\1' + entry->_key + '\1' +
                std::to_string(entry->_type) + '\1' +
                (entry->_type == kPISSIntEntry    ? std::to_string(entry->_intValue)
                 : entry->_stringValue != nullptr ? std::string(entry->_stringValue)
                                                  : std::string("\2")) +
                '\n';
    }
    return text;
}

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
        loaded = entriesOf(store);
        fuzz_check(store.StartTransaction() == 1, "no transaction");
        bool fits = linesFit(store);
        fuzz_check(store.Commit() == (fits ? 1 : 0), "the store could not commit");
        if (!fits) {
            return 0;
        }
    }
    QuadenPISSPerProjectConfig again(project.c_str());
    fuzz_check(entriesOf(again) == loaded, "a committed file loads other entries");
    return 0;
}
