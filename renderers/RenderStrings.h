// Small string helpers of the render control file reader, shared with the console-following state
// machine. Plain functions over C strings; any thread.
#ifndef CORVIX_RENDERERS_RENDERSTRINGS_H
#define CORVIX_RENDERERS_RENDERSTRINGS_H

// A new malloc'ed copy of s[first] through s[last] inclusive, NUL-terminated; the caller frees it
// with free(). Null when s is null, first is negative, last is not greater than first (a
// one-character range is refused on purpose) or memory runs out. Positions past the end of s
// read as NUL, so a range running over the end yields the string's tail.
char* r_strdup(const char* s, int first, int last);

// Removes trailing space characters (only ' ') in place and returns s. Null gives null; an empty
// string and one made only of spaces come back unchanged.
char* trim(char* s);

#endif
