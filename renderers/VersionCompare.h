// The renderers' own version-string ordering. It replaces the C library function of the same name
// for every caller in this project, so it lives in its own namespace: the two never clash at link
// time, and a call must name corvix::strverscmp to reach it.
//
// Rule: digit runs compare as numbers (so 1.10 follows 1.9 and R10 follows R9), a digit sorts
// after any other character or the end at the same position, other bytes compare as unsigned
// bytes, case-sensitively. Two distinct empty strings compare as less (-1) both ways; every other
// pair is ordered consistently. A digit run counts its first 99 digits only. A null pointer reads
// as an empty string. Pure function, any thread.
#ifndef CORVIX_RENDERERS_VERSIONCOMPARE_H
#define CORVIX_RENDERERS_VERSIONCOMPARE_H

namespace corvix {

// -1, 0 or 1 as a sorts before, with or after b. The same pointer twice gives 0.
int strverscmp(const char* a, const char* b);

}  // namespace corvix

#endif
