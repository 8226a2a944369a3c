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

#include "Quaden_PISSRenderQueueKVPEntry.h"

class QuadenPISSRenderQueueItem;

class QuadenPISSRenderQueueItemOutputModule {
  public:
    QuadenPISSRenderQueueItemOutputModule();
    ~QuadenPISSRenderQueueItemOutputModule();
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
    int PrepareOMKVPList();
    // The entry at the cursor, which moves on; null at the end.
    sRenderQueueItemKVPEntry* GetNextOMKVPInList();
    int GetNumberOfKVPEntries() const { return _count; }

  private:
    friend class QuadenPISSRenderQueueItem;  // links its modules through _next

    sRenderQueueItemKVPEntry* _first;
    sRenderQueueItemKVPEntry* _last;
    sRenderQueueItemKVPEntry* _cursor;
    int _count;
    QuadenPISSRenderQueueItemOutputModule* _next;
};

#endif
