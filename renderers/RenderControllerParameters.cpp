// RenderController::deserializeParameterVector: a parameter block back into one command line.
#include <regex.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "RenderController.h"
#include "RenderStrings.h"
#include "VeskLog.h"

namespace {

// A group of a match, trimmed, as a string; "" when the group is empty or absent. The copy runs
// through the group's end offset, one character further, which is the blank the trim removes.
std::string groupText(const char* line, const regmatch_t& group, bool* present) {
    *present = false;
    if (group.rm_so == -1) {
        return std::string();
    }
    char* copy = r_strdup(line, group.rm_so, group.rm_eo);
    if (!copy) {
        return std::string();
    }
    std::string text = trim(copy);
    free(copy);
    *present = true;
    return text;
}

}  // namespace

bool RenderController::deserializeParameterVector(std::vector<std::string>* lines, char* out,
                                                  unsigned long outSize) {
    regex_t expression;
    if (regcomp(&expression, "^ext.([A-Za-z0-9]+) (.*) \\(\\$END\\) ([A-Za-z0-9]*)",
                REG_EXTENDED) != 0) {
        return false;
    }

    std::string leader, trailer;
    std::map<long, std::string> byPosition;
    std::vector<std::string> extras;
    if (lines) {
        for (const std::string& line : *lines) {
            regmatch_t groups[4];
            if (regexec(&expression, line.c_str(), 4, groups, 0) != 0) {
                vesk_logError("\ndeserialization: No match");
                continue;
            }
            bool hasName, hasValue, hasKey;
            std::string name = groupText(line.c_str(), groups[1], &hasName);
            std::string value = groupText(line.c_str(), groups[2], &hasValue);
            std::string key = groupText(line.c_str(), groups[3], &hasKey);
            // A placeholder ("$..." value) keeps its name; its value is never written.
            bool placeholder = hasValue && !value.empty() && value[0] == '$';
            std::string written = placeholder ? std::string() : value;

            if (key == "leader") {
                leader = written;
            } else if (key == "trailer") {
                trailer = written;
            } else if (hasName && hasValue) {
                std::string argument = "-" + name;
                if (!placeholder) {
                    argument += " " + value;
                }
                long position = atol(key.c_str());
                if (!byPosition.emplace(position, argument).second) {
                    extras.push_back(argument);
                }
            }
        }
    }

    std::string command;
    if (!leader.empty()) {
        command += leader + " ";
    }
    for (const auto& entry : byPosition) {
        command += entry.second + " ";
    }
    for (const std::string& extra : extras) {
        command += extra + " ";
    }
    command += trailer;
    if (out && outSize > 0) {
        snprintf(out, outSize, "%s", command.c_str());
    }
    regfree(&expression);
    return true;
}
