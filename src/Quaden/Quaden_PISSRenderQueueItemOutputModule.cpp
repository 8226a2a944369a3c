#include "Quaden_PISSRenderQueueItemOutputModule.h"

#include <cstdlib>
#include <cstring>

#include "VeskLog.h"

QuadenPISSRenderQueueItemOutputModule::QuadenPISSRenderQueueItemOutputModule()
    : _first(nullptr), _last(nullptr), _cursor(nullptr), _count(0), _next(nullptr) {}

QuadenPISSRenderQueueItemOutputModule::~QuadenPISSRenderQueueItemOutputModule() {
    PISSFreeRenderQueueEntries(_first);
}

int QuadenPISSRenderQueueItemOutputModule::Add(const char* group, const char* key,
                                               const char* value) {
    sRenderQueueItemKVPEntry* entry = PISSNewRenderQueueEntry(group, key, 0, value, 0);
    if (entry == nullptr) {
        vesk_logError("RenderQueueItemOutputModule::Add could not add key: %s\n",
                      key != nullptr ? key : "(null)");
        return 0;
    }
    PISSAppendRenderQueueEntry(&_first, &_last, entry);
    ++_count;
    return 1;
}

int QuadenPISSRenderQueueItemOutputModule::GetItem(char** out, const char* group, const char* key) {
    if (out == nullptr) {
        return 0;
    }
    *out = nullptr;
    sRenderQueueItemKVPEntry* entry = PISSFindRenderQueueEntry(_first, group, key);
    if (entry == nullptr) {
        return 0;
    }
    if (entry->_stringValue != nullptr) {
        *out = strdup(entry->_stringValue);
    }
    return 1;
}

int QuadenPISSRenderQueueItemOutputModule::PrepareOMKVPList() {
    _cursor = _first;
    return _first != nullptr ? 1 : 0;
}

sRenderQueueItemKVPEntry* QuadenPISSRenderQueueItemOutputModule::GetNextOMKVPInList() {
    sRenderQueueItemKVPEntry* entry = _cursor;
    if (entry != nullptr) {
        _cursor = entry->_next;
    }
    return entry;
}
