#include "FuzzStores.h"

#include <cstring>

namespace {

// The value as the store writes it.
std::string writtenValue(const tConfigKVPEntry* entry) {
    return entry->_type == kPISSIntEntry ? std::to_string(entry->_intValue)
           : entry->_stringValue         ? std::string(entry->_stringValue)
                                         : std::string();
}

}  // namespace

std::string fuzz_entriesOf(QuadenPISSKVPStore& store) {
    std::string text;
    store.PrepareKeyValuePairList();
    while (tConfigKVPEntry* entry = store.GetNextKeyValuePairInList()) {
        // "\2" stands for a string entry without value.
        bool none = entry->_type != kPISSIntEntry && entry->_stringValue == nullptr;
        text += std::string(entry->_group) + '\1' + entry->_key + '\1' +
                std::to_string(entry->_type) + '\1' + (none ? "\2" : writtenValue(entry)) + '\n';
    }
    return text;
}

bool fuzz_linesFit(QuadenPISSKVPStore& store) {
    store.PrepareKeyValuePairList();
    while (tConfigKVPEntry* entry = store.GetNextKeyValuePairInList()) {
        // "group int<TAB>key value" or "group string<TAB>key value".
        size_t length = strlen(entry->_group) + strlen(entry->_key) + writtenValue(entry).size() +
                        (entry->_type == kPISSIntEntry ? 6 : 9);
        if (length > kPISSLongestLine) {
            return false;
        }
    }
    return true;
}
