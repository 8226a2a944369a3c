#include "PackageRows.h"

#include <cctype>

std::string packageRowName(const PackageRow& row) {
    std::string name;
    for (const char* c = row._label; *c; ++c) {
        name += *c == ' ' ? '-' : static_cast<char>(tolower(static_cast<unsigned char>(*c)));
    }
    return name;
}
