// corvix-support's manual page: a written roff template whose placeholders are filled from the
// command line's definition, so that every verb and option is documented as the program has it.
#ifndef CORVIX_PACKAGING_CLIMANPAGE_H
#define CORVIX_PACKAGING_CLIMANPAGE_H

#include <string>
#include <vector>

#include "CliReference.h"

// Returns templateText with "@VERSION@" replaced by version, "@OPTIONS@" by the program's own
// options (commands[0]) as a tagged list, and "@VERBS@" by one subsection per verb, nested verbs
// included, each with its synopsis, description, options and arguments. Text from the definition
// is escaped for roff; the template is taken as it stands.
std::string cliManualPage(const std::string& templateText,
                          const std::vector<CliCommandInfo>& commands, const std::string& version);

#endif
