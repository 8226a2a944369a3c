// QuadenPISSRenderQueueItem: one job of the render queue: typed key/value entries in the order
// they were added, and the job's output modules.
//
// Ownership: the item owns its entries and every module handed to AddNewOutputModule. A queue
// that takes the item (QuadenPISSRenderQueue::AddNewRenderQueueItem) owns and frees it. GetItem's
// strings are malloc'ed copies the caller frees with free(); entries and modules handed out by the
// iterations stay owned by the item and must not be used after it is freed.
//
// Lookups compare the key, then the group, exactly, and take the first match; the type is not
// looked at: ask an entry with the accessor of its own type.
//
// Threads: none of its own; an item is used by one thread at a time, like its queue.
#ifndef QUADEN_PISSRENDERQUEUEITEM_H
#define QUADEN_PISSRENDERQUEUEITEM_H

#include <cstdio>

#include "Quaden_PISSRenderQueueItemOutputModule.h"
#include "Quaden_PISSRenderQueueKVPEntry.h"

class QuadenPISSRenderQueueItem {
  public:
    QuadenPISSRenderQueueItem()
        : _entries(kPISSRenderQueueEntryLayout),
          _modules(QuadenPISSRenderQueueItemOutputModule::kListLayout) {}
    QuadenPISSRenderQueueItem(const QuadenPISSRenderQueueItem&) = delete;
    QuadenPISSRenderQueueItem& operator=(const QuadenPISSRenderQueueItem&) = delete;

    // Append an entry (copies; a null string value stays null). No check for an existing key.
    // 0 for a null group or key, or when memory runs out.
    int Add(const char* group, const char* key, const char* value);
    int Add(const char* group, const char* key, int value);

    // First match: *out is a malloc'ed copy of its string value (null when it has none), 1.
    // No match: *out null, 0.
    int GetItem(char** out, const char* group, const char* key);
    // First match: *out is its int value, 1. No match: *out 0, 0.
    int GetItem(int* out, const char* group, const char* key);
    // Replace the value of the first match (a string with a copy, null leaving none): 1; 0 when
    // nothing matches or memory runs out.
    int ChangeItem(const char* group, const char* key, const char* value);
    int ChangeItem(const char* group, const char* key, int value);

    int NumberOfKeyValuePairsInList() const { return static_cast<int>(_entries.Count()); }
    int PrepareKeyValuePairList() { return _entries.Prepare(); }
    sRenderQueueItemKVPEntry* GetNextKeyValuePairInList() {
        return static_cast<sRenderQueueItemKVPEntry*>(_entries.Next());
    }

    // Takes ownership of module and appends it (null gives 0).
    int AddNewOutputModule(QuadenPISSRenderQueueItemOutputModule* module) {
        return _modules.AppendRecord(module);
    }
    int NumberOfOutputModulesInList() const { return static_cast<int>(_modules.Count()); }
    // The name has always been spelt so; callers use it.
    int PrepareOuputModuleList() { return _modules.Prepare(); }
    QuadenPISSRenderQueueItemOutputModule* GetNextOutputModuleInList() {
        return static_cast<QuadenPISSRenderQueueItemOutputModule*>(_modules.Next());
    }

    // The first entry (null when there is none), to walk with getItemData.
    sRenderQueueItemKVPEntry* getHeadItem() const {
        return static_cast<sRenderQueueItemKVPEntry*>(_entries.First());
    }
    // The first entry of group and key; null when none.
    const sRenderQueueItemKVPEntry* FindEntry(const char* group, const char* key) const {
        return static_cast<const sRenderQueueItemKVPEntry*>(_entries.Find(group, key));
    }
    // Copies entry's key and its value as text (an int as "%d", a missing string value as "")
    // into the buffers, each cut to its size - 1 and zero-terminated; returns the next entry.
    // A null entry gives null and leaves the buffers alone.
    static sRenderQueueItemKVPEntry* getItemData(const sRenderQueueItemKVPEntry* entry, char* key,
                                                 int keySize, char* value, int valueSize);

    // Writes the item's block in the queue file format: "{", its entries, the module list (also
    // when empty) and "}", each line indented by tabs.
    void WriteToFile(FILE* file) const;
    // Whether every line of the block fits kPISSLongestLine, so that the queue reads it back as
    // written.
    bool LinesReadBackWhole() const;

  private:
    int add(const char* group, const char* key, int type, const char* value, int intValue);

    QuadenPISSEntryList _entries;
    QuadenPISSEntryList _modules;
};

#endif
