#include "StringMatcher.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "RegexBudget.h"
#include "RenderStrings.h"
#include "VeskLog.h"

StringMatcher::StringMatcher(const char* expression, bool isExtraction)
    : _expression(nullptr),
      _valid(false),
      _isExtraction(isExtraction),
      _contextOwnershipMode(kContextNotOwned),
      _contextInfo(nullptr),
      _action(nullptr) {
    memset(&_compiled, 0, sizeof _compiled);
    if (expression) {
        // Measured first: a hostile control file's expression could claim all memory when
        // compiled. Too large an expression is invalid, as one that does not compile is.
        if (!regexFitsBudget(expression)) {
            vesk_log("StringMatcher: expression too large to compile, it matches nothing: %.80s",
                     expression);
        } else {
            _valid = regcomp(&_compiled, expression, REG_EXTENDED) == 0;
        }
        _expression = strdup(expression);
    }
}

StringMatcher::~StringMatcher() {
    if (_valid) {
        regfree(&_compiled);
    }
    free(_expression);
    if (_contextInfo) {
        if (_contextOwnershipMode == kContextOwnedCString) {
            free(_contextInfo);
        } else if (_contextOwnershipMode != kContextNotOwned) {
            vesk_log(
                "StringMatcher: Deletion of C++ contextInfo objects is currently not "
                "supported.");
        }
    }
}

bool StringMatcher::doesMatch(const char* line) {
    if (_isExtraction) {
        return doesMatchWithExtraction(line);
    }
    if (!line || !_valid || regexec(&_compiled, line, 0, nullptr, 0) != 0) {
        return false;
    }
    vesk_logDev("StringMatcher:: we have a match %s %s", _expression, line);
    if (_action) {
        _action->call(_contextInfo, nullptr);
    }
    return true;
}

char* StringMatcher::extract(const char* line, bool* matched) {
    *matched = false;
    if (!line || !_valid) {
        return nullptr;
    }
    regmatch_t groups[2];
    if (regexec(&_compiled, line, 2, groups, 0) != 0 || groups[1].rm_so == -1) {
        return nullptr;
    }
    *matched = true;
    // Start through end offset inclusive: one character more than the group.
    return r_strdup(line, groups[1].rm_so, groups[1].rm_eo);
}

bool StringMatcher::doesMatchWithExtraction(const char* line) {
    bool matched = false;
    char* param = extract(line, &matched);
    if (param) {
        vesk_logDev("StringMatcher:: we have a match %s %s", _expression, line);
        vesk_logDev("StringMatcher:: extracted param %s", param);
        if (_action) {
            _action->call(_contextInfo, param);
        }
        free(param);
    }
    return matched;
}

bool StringMatcher::matchWithExtraction(const char* line, char* out, unsigned long outSize) {
    if (!line || !out || outSize == 0) {
        return false;
    }
    bool matched = false;
    char* param = extract(line, &matched);
    if (param) {
        snprintf(out, outSize, "%s", param);
        free(param);
    }
    return matched;
}
