#include "PackageRequest.h"

#include <regex.h>

#include <cstring>

bool PackageRequest::isValidEmailAddress(const char* address) {
    if (!address) {
        return false;
    }
    char buffer[1025];
    memset(buffer, 0, sizeof buffer);
    strncpy(buffer, address, 1024);

    regex_t expression;
    if (regcomp(&expression,
                "^([a-zA-Z0-9])+([\\.a-zA-Z0-9_-])*@([a-zA-Z0-9_-])+(\\.[a-zA-Z0-9_-]+)*\\."
                "([a-zA-Z]{2,6})$",
                REG_EXTENDED | REG_NOSUB) != 0) {
        return false;
    }
    bool matched = regexec(&expression, buffer, 0, nullptr, 0) == 0;
    regfree(&expression);
    return matched;
}
