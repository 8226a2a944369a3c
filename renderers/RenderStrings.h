// Small string helpers of the render control file reader, shared with the console-following state
// machine, and the UTF-8 test that the renderers' XML files and listings rely on. Plain functions;
// any thread.
#ifndef CORVIX_RENDERERS_RENDERSTRINGS_H
#define CORVIX_RENDERERS_RENDERSTRINGS_H

#include <cstddef>
#include <string>

// A new malloc'ed copy of s[first] through s[last] inclusive, NUL-terminated; the caller frees it
// with free(). Null when s is null, first is negative, last is not greater than first (a
// one-character range is refused on purpose) or memory runs out. Positions past the end of s
// read as NUL, so a range running over the end yields the string's tail.
char* r_strdup(const char* s, int first, int last);

// Removes trailing space characters (only ' ') in place and returns s. Null gives null; an empty
// string and one made only of spaces come back unchanged.
char* trim(char* s);

// The length (1 to 4) of the well-formed UTF-8 sequence at text[0], or 0 when the bytes there
// are none (a stray byte, an overlong form, a surrogate, past U+10FFFF, or cut off by the end of
// the left bytes). left must be at least 1.
size_t render_utf8SequenceLength(const unsigned char* text, size_t left);

// True when every byte of text belongs to a well-formed UTF-8 sequence.
bool render_isUtf8(const std::string& text);

#endif
