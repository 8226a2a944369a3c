// RegexBudget: see RegexBudget.h.
#include "RegexBudget.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

// Anything above the budget is as bad as anything else: counting stops there, so that no
// product overflows.
double capped(double nodes) {
    return std::min(nodes, kRegexNodeBudget + 1);
}

class Estimate {
  public:
    explicit Estimate(const char* text) : _p(text) {}

    // The whole expression: alternatives up to the end (an unmatched ')' ends a group that was
    // never opened; it is counted as a character and the rest goes on).
    double whole() {
        double nodes = alternatives(0);
        while (*_p == ')') {
            ++_p;
            nodes = capped(nodes + 1 + alternatives(0));
        }
        return nodes;
    }

  private:
    double alternatives(int depth) {
        if (depth > kRegexDepthBudget) {
            _p += strlen(_p);  // the rest is not looked at
            return kRegexNodeBudget + 1;
        }
        double nodes = sequence(depth);
        while (*_p == '|') {
            ++_p;
            nodes = capped(nodes + 1 + sequence(depth));
        }
        return nodes;
    }

    double sequence(int depth) {
        double nodes = 0;
        while (*_p != '\0' && *_p != '|' && *_p != ')') {
            double item = 1;
            if (*_p == '(') {
                ++_p;
                item = capped(1 + alternatives(depth + 1));
                if (*_p == ')') {
                    ++_p;
                }
            } else if (*_p == '[') {
                skipBracket();
            } else if (*_p == '\\') {
                ++_p;
                if (*_p != '\0') {
                    ++_p;
                }
            } else {
                ++_p;
            }
            // Each repetition applies to all that came before it: "a++" is "(a+)+".
            for (long copies; (copies = repetition()) > 0;) {
                item = capped(item * static_cast<double>(copies) + 1);
            }
            nodes = capped(nodes + item);
        }
        return nodes;
    }

    // Reads a repetition operator at the current place: how many copies of the repeated part it
    // spells out (at least 1), or 0 when there is none.
    long repetition() {
        if (*_p == '*' || *_p == '?') {
            ++_p;
            return 1;
        }
        if (*_p == '+') {
            ++_p;
            return 2;
        }
        if (*_p != '{') {
            return 0;
        }
        // "{n}", "{n,}", "{n,m}" and "{,m}"; anything else is no bound (a character).
        const char* q = _p + 1;
        long least = number(&q), most = least;
        bool open = false;
        if (*q == ',') {
            ++q;
            open = !std::isdigit(static_cast<unsigned char>(*q));
            most = open ? least : number(&q);
        }
        if (*q != '}' || (q == _p + 1)) {
            return 0;
        }
        _p = q + 1;
        return std::max(open ? least + 1 : std::max(least, most), 1L);
    }

    // Reads the digits at *q (none: 0), at most a value far past any budget.
    static long number(const char** q) {
        long value = 0;
        while (std::isdigit(static_cast<unsigned char>(**q))) {
            value = std::min(value * 10 + (**q - '0'), 1000000L);
            ++*q;
        }
        return value;
    }

    // Passes over a bracket expression: "[", an optional "^", a "]" that is a member, then up to
    // the closing "]", passing whole over "[:class:]", "[=e=]" and "[.sym.]".
    void skipBracket() {
        ++_p;
        if (*_p == '^') {
            ++_p;
        }
        if (*_p == ']') {
            ++_p;
        }
        while (*_p != '\0' && *_p != ']') {
            if (*_p == '[' && (_p[1] == ':' || _p[1] == '=' || _p[1] == '.')) {
                const char kind = _p[1];
                _p += 2;
                while (*_p != '\0' && !(*_p == kind && _p[1] == ']')) {
                    ++_p;
                }
                if (*_p != '\0') {
                    _p += 2;
                }
            } else {
                ++_p;
            }
        }
        if (*_p == ']') {
            ++_p;
        }
    }

    const char* _p;
};

}  // namespace

bool regexFitsBudget(const char* expression) {
    return Estimate(expression).whole() <= kRegexNodeBudget;
}
