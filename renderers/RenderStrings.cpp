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

size_t render_utf8SequenceLength(const unsigned char* text, size_t left) {
    unsigned char lead = text[0];
    if (lead < 0x80) {
        return 1;
    }
    size_t length = 0;
    // The second byte's range rules out overlong forms, surrogates and code points past
    // U+10FFFF; the others need only be continuation bytes.
    unsigned char low = 0x80, high = 0xbf;
    if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        low = lead == 0xe0 ? 0xa0 : 0x80;
        high = lead == 0xed ? 0x9f : 0xbf;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        low = lead == 0xf0 ? 0x90 : 0x80;
        high = lead == 0xf4 ? 0x8f : 0xbf;
    } else {
        return 0;
    }
    if (left < length || text[1] < low || text[1] > high) {
        return 0;
    }
    for (size_t i = 2; i < length; ++i) {
        if ((text[i] & 0xc0) != 0x80) {
            return 0;
        }
    }
    return length;
}

bool render_isUtf8(const std::string& text) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (size_t i = 0; i < text.size();) {
        size_t length = render_utf8SequenceLength(bytes + i, text.size() - i);
        if (length == 0) {
            return false;
        }
        i += length;
    }
    return true;
}
