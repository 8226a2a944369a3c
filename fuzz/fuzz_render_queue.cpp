// The render queue "RQ.txt": any file loads without harm, and a queue that loaded whole (every job
// with an output module, as the product writes them) commits a file that loads back the same.
#include <string>

#include "FuzzSandbox.h"
#include "Quaden_PISSRenderQueue.h"

namespace {

std::string entryText(const sRenderQueueItemKVPEntry* entry) {
    return std::string(entry->_group) + '\1' + entry->_key + '\1' + std::to_string(entry->_type) +
           '\1' +
           (entry->_type != kPISSStringEntry ? std::to_string(entry->_intValue)
            : entry->_stringValue            ? std::string(entry->_stringValue)
                                             : std::string("\2")) +
           '\n';
}

// The queue as text; *outside is set when a job lies outside the round trip.
std::string jobsOf(QuadenPISSRenderQueue& queue, bool* outside) {
    std::string text;
    queue.PrepareRenderQueueList();
    while (QuadenPISSRenderQueueItem* item = queue.GetNextRenderQueueItemInList()) {
        text += "{\n";
        for (const sRenderQueueItemKVPEntry* entry = item->getHeadItem(); entry != nullptr;
             entry = entry->_next) {
            text += entryText(entry);
        }
        // A job without a module, or with a line too long to read back (which the queue refuses
        // to write), is outside the round trip.
        *outside =
            *outside || item->NumberOfOutputModulesInList() == 0 || !item->LinesReadBackWhole();
        item->PrepareOuputModuleList();
        while (QuadenPISSRenderQueueItemOutputModule* module = item->GetNextOutputModuleInList()) {
            module->PrepareOMKVPList();
            text += "[\n";
            while (sRenderQueueItemKVPEntry* entry = module->GetNextOMKVPInList()) {
                text += entryText(entry);
            }
            text += "]\n";
        }
    }
    return text;
}

std::string queueFile() {
    return fuzz_productFolder() + "RenderQueue/RQ.txt";
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    {
        QuadenPISSRenderQueue queue;
        queue.StartTransaction();
        for (int i = 1; i <= 2; ++i) {
            auto* item = new QuadenPISSRenderQueueItem();
            item->Add("job", "Name", ("Shot " + std::to_string(i)).c_str());
            item->Add("job", "Frames", 25 * i);
            auto* module = new QuadenPISSRenderQueueItemOutputModule();
            module->Add("om", "File", "/Volumes/Out/shot.mov");
            module->Add("om", "Template", "Lossless");
            item->AddNewOutputModule(module);
            queue.AddNewRenderQueueItem(item);
        }
        queue.Commit();
    }
    fuzz_seed(folder, "written", fuzz_readFile(queueFile()));
    fuzz_seed(folder, "no-modules", "{\n\tjob string\tName a\n\t{\n\t}\n}\n{\n\tj int\tF 2\n}\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_begin();
    fuzz_writeFile(queueFile(), data, size);
    std::string loaded;
    bool outside = false;
    {
        QuadenPISSRenderQueue queue;
        int whole = queue.StartTransaction();
        loaded = jobsOf(queue, &outside);
        queue.GetSpecificRenderQueueItemInList(1);
        if (!whole || outside) {
            // Damage and the reader's designed quirks: only what the rest does is checked.
            queue.MoveRenderQueueItem(2, 1);
            queue.MoveRenderQueueItemToHistory(1);
            queue.Commit();
            char name[256];
            queue.CreateBackupProjectName(name, sizeof name);
            return 0;
        }
        fuzz_check(queue.Commit() == 1, "a queue that loaded whole could not commit");
    }
    QuadenPISSRenderQueue again;
    fuzz_check(again.StartTransaction() == 1, "a committed queue does not load");
    bool ignored = false;
    fuzz_check(jobsOf(again, &ignored) == loaded, "a committed queue loads other jobs");
    return 0;
}
