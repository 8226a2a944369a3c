// What the settings-store harnesses share: the entries of a store as comparable text, and
// whether a store's lines fit what its reader takes whole (a store holding a longer one refuses to
// commit).
#ifndef CORVIX_FUZZ_FUZZSTORES_H
#define CORVIX_FUZZ_FUZZSTORES_H

#include <string>

#include "Quaden_PISSKVPStore.h"

// Every entry, in list order, as group, key, type and value.
std::string fuzz_entriesOf(QuadenPISSKVPStore& store);

// True when no entry's line passes kPISSLongestLine.
bool fuzz_linesFit(QuadenPISSKVPStore& store);

#endif
