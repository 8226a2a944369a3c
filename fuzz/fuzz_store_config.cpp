// The global settings store's "Config.txt": any file loads without harm, and a valid store that
// commits writes a file that loads back into the same entries.
#include <cstring>
#include <string>

#include "FuzzSandbox.h"
#include "Quaden_PISSConfig.h"

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

std::string entriesOf(QuadenPISSConfig& store) {
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

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    QuadenPISSConfig::initializePISSConfig();
    {
        QuadenPISSConfig store;
        store.StartTransaction();
        store.Add("default", "Empty", static_cast<const char*>(nullptr));
        store.ChangeItem("default", "SizeOfFrameCacheInMB", 5000);
        store.Commit();
    }
    fuzz_seed(folder, "defaults", fuzz_readFile(fuzz_productFolder() + "Config.txt"));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_begin();
    fuzz_writeFile(fuzz_productFolder() + "Config.txt", data, size);
    std::string loaded;
    {
        QuadenPISSConfig store;
        char* text = nullptr;
        int number = 0;
        store.GetItem(&text, "default", "DirectoryLocationOfRenderQueue");
        free(text);
        store.GetItem(&number, "default", "SizeOfFrameCacheInMB");
        if (!store.IsValid()) {
            return 0;
        }
        loaded = entriesOf(store);
        fuzz_check(store.StartTransaction() == 1, "no transaction on a valid store");
        bool fits = linesFit(store);
        fuzz_check(store.Commit() == (fits ? 1 : 0), "a valid store could not commit");
        if (!fits) {
            return 0;
        }
    }
    QuadenPISSConfig again;
    fuzz_check(again.IsValid() != 0, "a committed file loads as invalid");
    fuzz_check(entriesOf(again) == loaded, "a committed file loads other entries");
    return 0;
}
