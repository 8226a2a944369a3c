// The global settings store's "Config.txt": any file loads without harm, and a valid store that
// commits writes a file that loads back into the same entries.
#include <string>

#include "FuzzSandbox.h"
#include "FuzzStores.h"
#include "Quaden_PISSConfig.h"

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
        loaded = fuzz_entriesOf(store);
        fuzz_check(store.StartTransaction() == 1, "no transaction on a valid store");
        bool fits = fuzz_linesFit(store);
        fuzz_check(store.Commit() == (fits ? 1 : 0), "a valid store could not commit");
        if (!fits) {
            return 0;
        }
    }
    QuadenPISSConfig again;
    fuzz_check(again.IsValid() != 0, "a committed file loads as invalid");
    fuzz_check(fuzz_entriesOf(again) == loaded, "a committed file loads other entries");
    return 0;
}
