// The support form's e-mail check (PackageRequest::isValidEmailAddress) against a plain reading
// of its expression: a local part of letters, digits, '.', '_', '-' and '\\' (a backslash inside
// a bracket expression stands for itself) that starts with a letter or digit, one '@', then labels
// of letters, digits, '_' and '-' joined by dots, at least two, the last of two to six letters;
// nothing longer than 1024 bytes.
#include <cstring>
#include <string>

#include "FuzzSandbox.h"
#include "PackageRequest.h"

namespace {

bool isAlnum(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}
bool isWord(char c) {
    return isAlnum(c) || c == '_' || c == '-';
}

bool expected(const std::string& address) {
    size_t at = address.find('@');
    if (address.size() > 1024 || at == std::string::npos || at == 0 || !isAlnum(address[0])) {
        return false;
    }
    for (size_t i = 1; i < at; ++i) {
        if (!isWord(address[i]) && address[i] != '.' && address[i] != '\\') {
            return false;
        }
    }
    std::string domain = address.substr(at + 1);
    size_t lastDot = domain.rfind('.');
    if (lastDot == std::string::npos) {
        return false;
    }
    std::string top = domain.substr(lastDot + 1);
    if (top.size() < 2 || top.size() > 6) {
        return false;
    }
    for (char c : top) {
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) {
            return false;
        }
    }
    std::string labels = domain.substr(0, lastDot) + ".";
    for (size_t start = 0; start < labels.size();) {
        size_t dot = labels.find('.', start);
        if (dot == start) {
            return false;
        }
        for (size_t i = start; i < dot; ++i) {
            if (!isWord(labels[i])) {
                return false;
            }
        }
        start = dot + 1;
    }
    return true;
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "valid", "ann.lee-1@mail-host.example.de");
    fuzz_seed(folder, "invalid", ".ann@x..y.toolong");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string address(reinterpret_cast<const char*>(data), size);
    address.resize(strlen(address.c_str()));
    fuzz_check(PackageRequest::isValidEmailAddress(address.c_str()) == expected(address),
               "the check and its expression disagree");
    return 0;
}
