// The frame cache registry "FrameCache.cpr": any file loads without harm, and what the registry
// commits loads back into the same entries.
#include <cstring>
#include <string>

#include "FuzzSandbox.h"
#include "Quaden_PISSFrameCacheRegistry.h"

namespace {

// Whether every entry's line fits what the registry's reader takes whole.
bool linesFit(QuadenPISSFrameCacheRegistry& registry) {
    registry.PrepareKeyValuePairList();
    while (tFrameCacheRegistryKVPEntry* entry = registry.GetNextKeyValuePairInList()) {
        size_t length = strlen(entry->_group) + strlen(entry->_key) +
                        (entry->_value ? strlen(entry->_value) : 0) + 9;
        if (length > kPISSLongestLine) {
            return false;
        }
    }
    return true;
}

std::string entriesOf(QuadenPISSFrameCacheRegistry& registry) {
    std::string text;
    registry.PrepareKeyValuePairList();
    while (tFrameCacheRegistryKVPEntry* entry = registry.GetNextKeyValuePairInList()) {
        text += std::string(entry->_group) + '\1' + entry->_key + '\1' +
                std::to_string(entry->_type) + '\1' + (entry->_value ? entry->_value : "\2") + '\n';
    }
    return text;
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    {
        QuadenPISSFrameCacheRegistry registry;
        registry.Add("My Project.aep", "PathToCache", "/Volumes/Cache/My Project");
        registry.Add("Other.aep", "PathToCache", "/tmp/c");
        registry.Commit();
    }
    fuzz_seed(folder, "written", fuzz_readFile(fuzz_productFolder() + "FrameCache.cpr"));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_begin();
    fuzz_writeFile(fuzz_productFolder() + "FrameCache.cpr", data, size);
    std::string loaded;
    {
        QuadenPISSFrameCacheRegistry registry;
        char* text = nullptr;
        registry.GetItem(&text, "My Project.aep", "PathToCache");
        free(text);
        loaded = entriesOf(registry);
        fuzz_check(registry.StartTransaction() == 1, "no transaction");
        bool fits = linesFit(registry);
        fuzz_check(registry.Commit() == (fits ? 1 : 0), "the registry could not commit");
        if (!fits) {
            return 0;
        }
    }
    QuadenPISSFrameCacheRegistry again;
    fuzz_check(entriesOf(again) == loaded, "a committed file loads other entries");
    return 0;
}
