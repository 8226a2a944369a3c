#include "PackageRequest.h"

#include <regex.h>

#include <algorithm>
#include <cstring>

bool PackageRequest::isValidEmailAddress(const char* address) {
    // An address longer than the form's buffer is refused whole: judging only the part that fits
    // would pass an address that is not the one written into the manifest.
    if (!address || strlen(address) > kEmailMaxLength) {
        return false;
    }
    char buffer[kEmailMaxLength + 1];
    memset(buffer, 0, sizeof buffer);
    strncpy(buffer, address, kEmailMaxLength);

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

bool PackageRequest::excludes(const std::string& rowName) const {
    return std::find(_excludedRows.begin(), _excludedRows.end(), rowName) != _excludedRows.end();
}
