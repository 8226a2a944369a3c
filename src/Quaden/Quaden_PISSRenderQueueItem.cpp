#include "Quaden_PISSRenderQueueItem.h"

#include "VeskLog.h"

int QuadenPISSRenderQueueItem::add(const char* group, const char* key, int type, const char* value,
                                   int intValue) {
    if (!_entries.Append(group, key, type, value, intValue)) {
        vesk_logError("RenderQueueItem::Add could not add key: %s\n",
                      key != nullptr ? key : "(null)");
        return 0;
    }
    return 1;
}

int QuadenPISSRenderQueueItem::Add(const char* group, const char* key, const char* value) {
    return add(group, key, kPISSStringEntry, value, 0);
}

int QuadenPISSRenderQueueItem::Add(const char* group, const char* key, int value) {
    return add(group, key, kPISSIntEntry, nullptr, value);
}

int QuadenPISSRenderQueueItem::GetItem(char** out, const char* group, const char* key) {
    return out != nullptr ? _entries.GetString(out, group, key) : 0;
}

int QuadenPISSRenderQueueItem::GetItem(int* out, const char* group, const char* key) {
    return out != nullptr ? _entries.GetInt(out, group, key) : 0;
}

int QuadenPISSRenderQueueItem::ChangeItem(const char* group, const char* key, const char* value) {
    return _entries.ChangeString(group, key, value);
}

int QuadenPISSRenderQueueItem::ChangeItem(const char* group, const char* key, int value) {
    return _entries.ChangeInt(group, key, value);
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

bool QuadenPISSRenderQueueItem::LinesReadBackWhole() const {
    if (_entries.LongestLine("\t") > kPISSLongestLine) {
        return false;
    }
    for (const void* module = _modules.First(); module != nullptr;
         module = _modules.NextOf(module)) {
        if (!static_cast<const QuadenPISSRenderQueueItemOutputModule*>(module)
                 ->LinesReadBackWhole()) {
            return false;
        }
    }
    return true;
}

void QuadenPISSRenderQueueItem::WriteToFile(FILE* file) const {
    fputs("{\n", file);
    _entries.WriteTo(file, "\t");
    fputs("\t{\n", file);
    for (const void* module = _modules.First(); module != nullptr;
         module = _modules.NextOf(module)) {
        static_cast<const QuadenPISSRenderQueueItemOutputModule*>(module)->WriteToFile(file);
    }
    fputs("\t}\n}\n", file);
}
