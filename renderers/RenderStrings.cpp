#include "RenderStrings.h"

#include <cstdlib>
#include <cstring>

char* r_strdup(const char* s, int first, int last) {
    if (!s || last <= first || first < 0) {
        return nullptr;
    }
    size_t count = static_cast<size_t>(last - first) + 1;
    char* copy = static_cast<char*>(calloc(count + 1, 1));
    if (!copy) {
        return nullptr;
    }
    size_t length = strlen(s);
    if (static_cast<size_t>(first) < length) {
        size_t available = length - static_cast<size_t>(first);
        memcpy(copy, s + first, available < count ? available : count);
    }
    return copy;
}

char* trim(char* s) {
    if (!s || *s == 0) {
        return s;
    }
    size_t i = strlen(s) - 1;
    while (i > 0 && s[i] == ' ') {
        --i;
    }
    if (s[i] != ' ') {
        s[i + 1] = 0;
    }
    return s;
}
