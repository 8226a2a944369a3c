// One setting of the product configuration file: a key and its value text. The value "default"
// stands for the key's built-in default (VeskConfig resolves it on lookup). A plain value type;
// copies are independent.
#ifndef CORVIX_RUNTIME_VESK_CONFIGENTRY_H
#define CORVIX_RUNTIME_VESK_CONFIGENTRY_H

#include <string>

class Vesk_ConfigEntry {
  public:
    Vesk_ConfigEntry() = default;
    // A null key or value counts as empty. persistent is carried for the product's plug-in,
    // which writes true everywhere; nothing here reads it.
    Vesk_ConfigEntry(const char* key, const char* value, bool persistent);

    void setKey(const char* key);
    void setValue(const char* value);

    const char* getKey() const { return _key.c_str(); }
    const char* getValue() const { return _value.c_str(); }
    bool isPersistent() const { return _persistent; }

  private:
    std::string _key;
    std::string _value;
    bool _persistent = false;
};

#endif
