// The keys that name a level of the layered settings lookup (QuadenPISSConfigHelper):
// a project (its name, hashed into the group of its entries, and the folder that holds its
// settings file) and a composition (its name, hashed likewise, and its project, whose settings
// file holds the composition's entries too).
//
// Plain records: they own copies of their texts; a composition refers to its project's keys,
// which must outlive it. Any thread may read them.
#ifndef QUADEN_PISSCONFIGKEYS_H
#define QUADEN_PISSCONFIGKEYS_H

#include <string>

struct QuadenPISSProjectKeys {
    QuadenPISSProjectKeys(const std::string& projectName, const std::string& projectPath)
        : _projectName(projectName), _projectPath(projectPath) {}

    std::string _projectName;
    std::string _projectPath;
};

struct QuadenPISSCompKeys {
    QuadenPISSCompKeys(const std::string& compName, const QuadenPISSProjectKeys& project)
        : _compName(compName), _project(project) {}

    std::string _compName;
    const QuadenPISSProjectKeys& _project;
};

#endif
