#include "Quaden_PISSRenderQueueItem.h"

#include <cstdlib>
#include <cstring>

#include "VeskLog.h"

QuadenPISSRenderQueueItem::QuadenPISSRenderQueueItem()
    : _first(nullptr),
      _last(nullptr),
      _cursor(nullptr),
      _firstModule(nullptr),
      _lastModule(nullptr),
      _moduleCursor(nullptr),
      _entryCount(0),
      _moduleCount(0) {}

QuadenPISSRenderQueueItem::~QuadenPISSRenderQueueItem() {
    PISSFreeRenderQueueEntries(_first);
    while (_firstModule != nullptr) {
        QuadenPISSRenderQueueItemOutputModule* next = _firstModule->_next;
        delete _firstModule;
        _firstModule = next;
    }
}

int QuadenPISSRenderQueueItem::Add(const char* group, const char* key, const char* value) {
    sRenderQueueItemKVPEntry* entry = PISSNewRenderQueueEntry(group, key, 0, value, 0);
    if (entry == nullptr) {
        vesk_logError("RenderQueueItem::Add could not add key: %s\n",
                      key != nullptr ? key : "(null)");
        return 0;
    }
    PISSAppendRenderQueueEntry(&_first, &_last, entry);
    ++_entryCount;
    return 1;
}

int QuadenPISSRenderQueueItem::Add(const char* group, const char* key, int value) {
    sRenderQueueItemKVPEntry* entry = PISSNewRenderQueueEntry(group, key, 1, nullptr, value);
    if (entry == nullptr) {
        vesk_logError("RenderQueueItem::Add could not add key: %s\n",
                      key != nullptr ? key : "(null)");
        return 0;
    }
    PISSAppendRenderQueueEntry(&_first, &_last, entry);
    ++_entryCount;
    return 1;
}

int QuadenPISSRenderQueueItem::GetItem(char** out, const char* group, const char* key) {
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

int QuadenPISSRenderQueueItem::GetItem(int* out, const char* group, const char* key) {
    if (out == nullptr) {
        return 0;
    }
    sRenderQueueItemKVPEntry* entry = PISSFindRenderQueueEntry(_first, group, key);
    *out = entry != nullptr ? entry->_intValue : 0;
    return entry != nullptr ? 1 : 0;
}

int QuadenPISSRenderQueueItem::ChangeItem(const char* group, const char* key, const char* value) {
    sRenderQueueItemKVPEntry* entry = PISSFindRenderQueueEntry(_first, group, key);
    return entry != nullptr ? PISSReplaceRenderQueueString(entry, value) : 0;
}

int QuadenPISSRenderQueueItem::ChangeItem(const char* group, const char* key, int value) {
    sRenderQueueItemKVPEntry* entry = PISSFindRenderQueueEntry(_first, group, key);
    if (entry == nullptr) {
        return 0;
    }
    entry->_intValue = value;
    return 1;
}

int QuadenPISSRenderQueueItem::PrepareKeyValuePairList() {
    _cursor = _first;
    return _first != nullptr ? 1 : 0;
}

sRenderQueueItemKVPEntry* QuadenPISSRenderQueueItem::GetNextKeyValuePairInList() {
    sRenderQueueItemKVPEntry* entry = _cursor;
    if (entry != nullptr) {
        _cursor = entry->_next;
    }
    return entry;
}

int QuadenPISSRenderQueueItem::AddNewOutputModule(QuadenPISSRenderQueueItemOutputModule* module) {
    if (module == nullptr) {
        return 0;
    }
    module->_next = nullptr;
    if (_lastModule == nullptr) {
        _firstModule = module;
    } else {
        _lastModule->_next = module;
    }
    _lastModule = module;
    ++_moduleCount;
    return 1;
}

int QuadenPISSRenderQueueItem::PrepareOuputModuleList() {
    _moduleCursor = _firstModule;
    return _firstModule != nullptr ? 1 : 0;
}

QuadenPISSRenderQueueItemOutputModule* QuadenPISSRenderQueueItem::GetNextOutputModuleInList() {
    QuadenPISSRenderQueueItemOutputModule* module = _moduleCursor;
    if (module != nullptr) {
        _moduleCursor = module->_next;
    }
    return module;
}

sRenderQueueItemKVPEntry* QuadenPISSRenderQueueItem::getItemData(
    const sRenderQueueItemKVPEntry* entry, char* key, int keySize, char* value, int valueSize) {
    if (entry == nullptr) {
        return nullptr;
    }
    if (key != nullptr && keySize > 0) {
        snprintf(key, static_cast<size_t>(keySize), "%s", entry->_key);
    }
    if (value != nullptr && valueSize > 0) {
        if (entry->_type == 0) {
            snprintf(value, static_cast<size_t>(valueSize), "%s",
                     entry->_stringValue != nullptr ? entry->_stringValue : "");
        } else {
            snprintf(value, static_cast<size_t>(valueSize), "%d", entry->_intValue);
        }
    }
    return entry->_next;
}

void QuadenPISSRenderQueueItem::WriteToFile(FILE* file) const {
    fputs("{\n", file);
    for (const sRenderQueueItemKVPEntry* entry = _first; entry != nullptr; entry = entry->_next) {
        PISSWriteRenderQueueEntry(file, "\t", entry);
    }
    fputs("\t{\n", file);
    for (QuadenPISSRenderQueueItemOutputModule* module = _firstModule; module != nullptr;
         module = module->_next) {
        fputs("\t\t{\n", file);
        for (const sRenderQueueItemKVPEntry* entry = module->_first; entry != nullptr;
             entry = entry->_next) {
            PISSWriteRenderQueueEntry(file, "\t\t\t", entry);
        }
        fputs("\t\t}\n", file);
    }
    fputs("\t}\n}\n", file);
}
