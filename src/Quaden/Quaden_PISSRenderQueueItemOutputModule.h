// QuadenPISSRenderQueueItemOutputModule: one output module of a render queue item, a list of
// string key/value entries in the order they were added.
//
// Ownership: the module owns its entries; an item that takes the module (AddNewOutputModule)
// owns and frees it. GetItem's strings are malloc'ed copies the caller frees with free(); entries
// handed out by GetNextOMKVPInList stay owned by the module.
//
// Threads: none of its own; a module is used by one thread at a time, like its queue.
#ifndef QUADEN_PISSRENDERQUEUEITEMOUTPUTMODULE_H
#define QUADEN_PISSRENDERQUEUEITEMOUTPUTMODULE_H

#include <cstdio>

#include "Quaden_PISSRenderQueueKVPEntry.h"

class QuadenPISSRenderQueueItemOutputModule {
  public:
    QuadenPISSRenderQueueItemOutputModule() : _entries(kPISSRenderQueueEntryLayout) {}
    QuadenPISSRenderQueueItemOutputModule(const QuadenPISSRenderQueueItemOutputModule&) = delete;
    QuadenPISSRenderQueueItemOutputModule& operator=(const QuadenPISSRenderQueueItemOutputModule&) =
        delete;

    // Appends a string entry (copies; a null value stays null). No check for an existing key.
    // 0 for a null group or key, or when memory runs out.
    int Add(const char* group, const char* key, const char* value);
    // First entry whose key and group match: *out is a malloc'ed copy of its value (null when it
    // has none) and the result 1; else *out is null and the result 0.
    int GetItem(char** out, const char* group, const char* key);

    // Puts the cursor on the first entry: 1 when there is one, else 0.
    int PrepareOMKVPList() { return _entries.Prepare(); }
    // The entry at the cursor, which moves on; null at the end.
    sRenderQueueItemKVPEntry* GetNextOMKVPInList() {
        return static_cast<sRenderQueueItemKVPEntry*>(_entries.Next());
    }
    int GetNumberOfKVPEntries() const { return static_cast<int>(_entries.Count()); }

    // Writes the module's block as the queue file holds it: "\t\t{", its entries, "\t\t}".
    void WriteToFile(FILE* file) const;
    // Whether every entry line of the block fits kPISSLongestLine.
    bool LinesReadBackWhole() const { return _entries.LongestLine("\t\t\t") <= kPISSLongestLine; }

    // How an item's list of modules finds the link of each (QuadenPISSEntryList).
    static const sPISSEntryLayout kListLayout;

  private:
    QuadenPISSEntryList _entries;
    // The link of the item's module list, reached through kListLayout's offset.
    [[maybe_unused]] QuadenPISSRenderQueueItemOutputModule* _next = nullptr;
};

#endif
