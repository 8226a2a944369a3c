#include "VersionCompare.h"

#include <cstddef>
#include <cstring>

namespace {

// Digit runs are kept as text, so runs of any length compare exactly as decimal integers.
const size_t kRunSize = 100;

struct DigitRun {
    char _digits[kRunSize];
    size_t _length = 0;

    void start(unsigned char c) {
        _length = 0;
        append(c);
    }
    void append(unsigned char c) {
        if (_length < kRunSize - 1) {
            _digits[_length++] = static_cast<char>(c);
        }
    }
};

bool isDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}

int compareRuns(const DigitRun& a, const DigitRun& b) {
    size_t i = 0;
    while (i < a._length && a._digits[i] == '0') {
        ++i;
    }
    size_t j = 0;
    while (j < b._length && b._digits[j] == '0') {
        ++j;
    }
    size_t lengthA = a._length - i;
    size_t lengthB = b._length - j;
    if (lengthA != lengthB) {
        return lengthA < lengthB ? -1 : 1;
    }
    int c = memcmp(a._digits + i, b._digits + j, lengthA);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

}  // namespace

namespace corvix {

int strverscmp(const char* a, const char* b) {
    if (a == b) {
        return 0;
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(a ? a : "");
    const unsigned char* q = reinterpret_cast<const unsigned char*>(b ? b : "");
    bool numberMode = false;
    DigitRun runA;
    DigitRun runB;
    // The first step is taken even when both strings are empty: the end on the left then reads
    // as less, which is how two empty versions have always compared.
    do {
        bool digitP = isDigit(*p);
        bool digitQ = isDigit(*q);
        if (!numberMode) {
            if (digitP && !digitQ) {
                return 1;
            }
            if (digitQ && !digitP) {
                return -1;
            }
            if (digitP && digitQ) {
                numberMode = true;
                runA.start(*p++);
                runB.start(*q++);
                continue;
            }
            if (*p == 0) {
                return -1;
            }
            if (*q == 0) {
                return 1;
            }
            if (*p != *q) {
                return *p > *q ? 1 : -1;
            }
            ++p;
            ++q;
        } else {
            if (!digitP && !digitQ) {
                int c = compareRuns(runA, runB);
                if (c != 0) {
                    return c;
                }
                // Text mode goes on at the characters that ended the runs.
                numberMode = false;
                continue;
            }
            // A side that has left its run waits for the other.
            if (digitP) {
                runA.append(*p++);
            }
            if (digitQ) {
                runB.append(*q++);
            }
        }
    } while (*p != 0 || *q != 0);
    return numberMode ? compareRuns(runA, runB) : 0;
}

}  // namespace corvix
