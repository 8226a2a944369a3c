#include "PackageRedaction.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include "VeskFile.h"
#include "VeskFolderWalk.h"
#include "VeskPath.h"
#include "VeskPlatform.h"

namespace {

// A staged text larger than this is not read into memory to be rewritten: the job stops instead
// of sending it unhidden. Far beyond any log or capture the job takes.
const size_t kTextLimit = size_t(1) << 30;
// A map is a few lines per name and address.
const size_t kMapLimit = 16u << 20;

// The names of a hosts file: every field after the address, without the loopback names every
// machine has.
void addHostsFileNames(const std::string& text, Pseudonymizer* pseudonymizer) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line.substr(0, line.find('#')));
        std::string address, name;
        fields >> address;
        while (fields >> name) {
            if (name.compare(0, 9, "localhost") != 0 && name.compare(0, 4, "ip6-") != 0 &&
                name != "broadcasthost") {
                pseudonymizer->addHostName(name);
            }
        }
    }
}

}  // namespace

PackageRedaction::PackageRedaction() = default;
PackageRedaction::~PackageRedaction() = default;

std::string PackageRedaction::mapPathFor(const std::string& archivePath) {
    return archivePath + ".map";
}

bool PackageRedaction::start(const std::string& mapPath, std::string* why) {
    if (!mapPath.empty()) {
        std::string text, reason;
        if (!vesk_readRegularFile(mapPath.c_str(), kMapLimit, &text, &reason)) {
            *why = "the pseudonym map \"" + vesk_printablePath(mapPath) +
                   "\" cannot be read: " + reason;
            return false;
        }
        if (!_pseudonymizer.loadMap(text, &reason)) {
            *why = "\"" + vesk_printablePath(mapPath) + "\" is not a pseudonym map: " + reason;
            return false;
        }
    }
    std::string name, text;
    if (vesk_hostName(&name)) {
        _pseudonymizer.addHostName(name);
    }
    if (vesk_readRegularFile(vesk_machinePath("/etc/hostname").c_str(), 4096, &text)) {
        std::istringstream words(text);
        while (words >> name) {
            _pseudonymizer.addHostName(name);
        }
    }
    if (vesk_readRegularFile(vesk_machinePath("/etc/hosts").c_str(), kMapLimit, &text)) {
        addHostsFileNames(text, &_pseudonymizer);
    }
    std::string login, fullName, home;
    vesk_loginName(&login);
    vesk_userFullName(&fullName);
    vesk_homeFolder(&home);
    _pseudonymizer.setUser(login, fullName, home);
    return true;
}

bool PackageRedaction::redactFile(const std::string& path, std::string* why) {
    std::string text, reason;
    if (!vesk_readRegularFile(path.c_str(), kTextLimit, &text, &reason)) {
        *why = "\"" + vesk_printablePath(path) + "\" could not be read to hide names: " + reason;
        return false;
    }
    if (memchr(text.data(), '\0', text.size())) {
        return true;
    }
    std::string hidden = _pseudonymizer.apply(text);
    if (hidden == text) {
        return true;
    }
    // The staged copy is the job's own: rewritten in place, without the syncs of an atomic
    // replace (a failure fails the job, and the folder is then no package).
    FILE* file = vesk_fopenRegular(path.c_str(), "wb", &reason);
    bool written = file && fwrite(hidden.data(), 1, hidden.size(), file) == hidden.size();
    if (file && fclose(file) != 0) {
        written = false;
    }
    if (!written) {
        *why = "\"" + vesk_printablePath(path) + "\" could not be rewritten with names hidden: " +
               (reason.empty() ? strerror(errno) : reason);
        return false;
    }
    return true;
}

bool PackageRedaction::redactFolder(const std::string& folder, std::string* why) {
    VeskFolderWalk walk;
    if (!walk.start(folder, false)) {
        *why = "the staging folder \"" + vesk_printablePath(folder) +
               "\" cannot be read: " + strerror(errno);
        return false;
    }
    while (walk.depth() > 0) {
        VeskFolderWalk::Entry entry;
        if (!walk.nextEntry(&entry)) {
            if (!walk.leave() && walk.depth() > 0) {
                *why = "the staging folder \"" + vesk_printablePath(folder) + "\" was moved";
                return false;
            }
            continue;
        }
        if (entry.isFolder) {
            if (!walk.enter(entry.name)) {
                *why = "the staging folder \"" +
                       vesk_printablePath(walk.path() + "/" + entry.name) +
                       "\" cannot be read: " + strerror(errno);
                return false;
            }
            continue;
        }
        if (!redactFile(walk.path() + "/" + entry.name, why)) {
            return false;
        }
    }
    return true;
}

bool PackageRedaction::prepareMap(const std::string& mapPath, std::string* why) {
    _map.reset(new VeskAtomicFile(mapPath, 0600));
    const std::string text = _pseudonymizer.mapText();
    // An older map of another mode keeps it through the rename: the stand-ins' real values are
    // for this user's eyes only, whatever the older file allowed.
    if (!_map->open() || fchmod(fileno(_map->stream()), 0600) != 0 ||
        fwrite(text.data(), 1, text.size(), _map->stream()) != text.size()) {
        *why = "the pseudonym map \"" + vesk_printablePath(mapPath) +
               "\" cannot be written: " + (_map->error().empty() ? strerror(errno) : _map->error());
        return false;
    }
    return true;
}

bool PackageRedaction::commitMap(std::string* why) {
    if (!_map || !_map->commit()) {
        *why = "the pseudonym map could not be saved: " + (_map ? _map->error() : std::string());
        return false;
    }
    return true;
}
