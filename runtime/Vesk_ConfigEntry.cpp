#include "Vesk_ConfigEntry.h"

Vesk_ConfigEntry::Vesk_ConfigEntry(const char* key, const char* value, bool persistent)
    : _key(key ? key : ""), _value(value ? value : ""), _persistent(persistent) {}

void Vesk_ConfigEntry::setKey(const char* key) {
    _key = key ? key : "";
}

void Vesk_ConfigEntry::setValue(const char* value) {
    _value = value ? value : "";
}
