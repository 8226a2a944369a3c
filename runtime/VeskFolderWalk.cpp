#include "VeskFolderWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "VeskPath.h"

namespace {

const int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;

std::string withoutTrailingSlashes(const std::string& path) {
    size_t end = path.find_last_not_of('/');
    return end == std::string::npos ? path.substr(0, 1) : path.substr(0, end + 1);
}

// The folder's entries without "." and "..", typed without following links.
std::vector<VeskFolderWalk::Entry> listFolder(int fd) {
    std::vector<VeskFolderWalk::Entry> entries;
    int copy = dup(fd);
    DIR* dir = copy >= 0 ? fdopendir(copy) : nullptr;
    if (!dir) {
        if (copy >= 0) {
            ::close(copy);
        }
        return entries;
    }
    while (struct dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) {
            continue;
        }
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            // Some file systems leave the type out of the listing.
            struct stat info;
            isFolder = fstatat(fd, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode);
        }
        entries.push_back({name, isFolder});
    }
    closedir(dir);
    return entries;
}

}  // namespace

VeskFolderWalk::~VeskFolderWalk() {
    close();
}

void VeskFolderWalk::close() {
    for (Frame& frame : _frames) {
        if (frame.fd >= 0) {
            ::close(frame.fd);
        }
    }
    _frames.clear();
    _inside.clear();
    _firstHeld = 0;
}

bool VeskFolderWalk::start(const std::string& path, bool followLink) {
    close();
    std::string folder = withoutTrailingSlashes(path);
    int fd = open(folder.c_str(), kFolderFlags | (followLink ? 0 : O_NOFOLLOW));
    return fd >= 0 && push(fd, path);
}

bool VeskFolderWalk::enter(const std::string& name) {
    if (_frames.empty()) {
        errno = EINVAL;
        return false;
    }
    int fd = openat(_frames.back().fd, name.c_str(), kFolderFlags | O_NOFOLLOW);
    return fd >= 0 && push(fd, name);
}

bool VeskFolderWalk::push(int fd, const std::string& name) {
    struct stat info;
    int error = fstat(fd, &info) != 0                       ? errno
                : _inside.count({info.st_dev, info.st_ino}) ? ELOOP
                                                            : 0;
    if (error != 0) {
        ::close(fd);
        errno = error;
        return false;
    }
    _inside.insert({info.st_dev, info.st_ino});
    Frame frame;
    frame.fd = fd;
    frame.device = info.st_dev;
    frame.inode = info.st_ino;
    frame.name = name;
    frame.entries = listFolder(fd);
    _frames.push_back(std::move(frame));
    if (_frames.size() - _firstHeld > kHeldFolders) {
        ::close(_frames[_firstHeld].fd);
        _frames[_firstHeld].fd = -1;
        ++_firstHeld;
    }
    return true;
}

bool VeskFolderWalk::leave() {
    if (_frames.empty()) {
        errno = EINVAL;
        return false;
    }
    Frame& current = _frames.back();
    if (_frames.size() >= 2) {
        Frame& parent = _frames[_frames.size() - 2];
        if (parent.fd < 0) {
            int fd = openat(current.fd, "..", kFolderFlags);
            struct stat info;
            if (fd < 0 || fstat(fd, &info) != 0 || info.st_dev != parent.device ||
                info.st_ino != parent.inode) {
                int error = fd < 0 ? errno : ESTALE;
                if (fd >= 0) {
                    ::close(fd);
                }
                errno = error;
                return false;
            }
            parent.fd = fd;
            _firstHeld = _frames.size() - 2;
        }
    }
    ::close(current.fd);
    _inside.erase({current.device, current.inode});
    _frames.pop_back();
    return true;
}

bool VeskFolderWalk::nextEntry(Entry* entry) {
    if (_frames.empty()) {
        return false;
    }
    Frame& frame = _frames.back();
    if (frame.next >= frame.entries.size()) {
        return false;
    }
    *entry = frame.entries[frame.next++];
    return true;
}

std::vector<VeskFolderWalk::Entry>& VeskFolderWalk::pendingEntries() {
    Frame& frame = _frames.back();
    frame.entries.erase(frame.entries.begin(),
                        frame.entries.begin() + static_cast<ptrdiff_t>(frame.next));
    frame.next = 0;
    return frame.entries;
}

int VeskFolderWalk::fd() const {
    return _frames.empty() ? -1 : _frames.back().fd;
}

const std::string& VeskFolderWalk::name() const {
    static const std::string kNone;
    return _frames.empty() ? kNone : _frames.back().name;
}

std::string VeskFolderWalk::path() const {
    std::string path;
    for (const Frame& frame : _frames) {
        if (!path.empty() && path.back() != '/') {
            path += '/';
        }
        path += frame.name;
    }
    return path;
}

int vesk_removeAt(int folder, const char* name) {
    if (unlinkat(folder, name, 0) == 0) {
        return 0;
    }
    if (errno != EISDIR && errno != EPERM) {
        return -1;
    }
    // unlink refuses folders (EISDIR, or EPERM on some systems); remove(3) then tries rmdir.
    int error = errno;
    if (unlinkat(folder, name, AT_REMOVEDIR) == 0) {
        return 0;
    }
    if (errno == ENOTDIR) {
        errno = error;
    }
    return -1;
}

namespace {

void recordFailure(VeskTreeRemoval* result, const std::string& path, int error) {
    if (result->failed++ == 0) {
        result->problem = vesk_printablePath(path) + ": " + strerror(error);
    }
}

std::string joined(const std::string& folder, const std::string& name) {
    return folder + (!folder.empty() && folder.back() == '/' ? "" : "/") + name;
}

// One tree removal, or its dry run: the walk is the same, only the deleting differs.
class TreeRemover {
  public:
    TreeRemover(bool dryRun, VeskTreeRemoval* result) : _dryRun(dryRun), _result(result) {}

    // Removes the current folder's non-folder entries and keeps its visible subfolders pending.
    // A hidden subfolder stays, and with it the current folder.
    void removeFiles(VeskFolderWalk& walk) {
        _keeps.resize(walk.depth(), false);
        std::vector<VeskFolderWalk::Entry>& entries = walk.pendingEntries();
        for (const VeskFolderWalk::Entry& entry : entries) {
            if (entry.isFolder) {
                _keeps.back() = _keeps.back() || entry.name[0] == '.';
                continue;
            }
            ++_result->attempted;
            if (_dryRun) {
                struct stat info;
                if (fstatat(walk.fd(), entry.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
                    wouldRemove(joined(walk.path(), entry.name),
                                S_ISREG(info.st_mode) ? info.st_size : 0);
                    ++_result->removed;
                }
            } else if (unlinkat(walk.fd(), entry.name.c_str(), 0) == 0) {
                ++_result->removed;
            } else if (errno != ENOENT) {
                recordFailure(_result, joined(walk.path(), entry.name), errno);
            }
        }
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [](const VeskFolderWalk::Entry& entry) {
                                         return !entry.isFolder || entry.name[0] == '.';
                                     }),
                      entries.end());
    }

    // What remove(3) does to an entry that could not be entered as a folder (openError says
    // why): a file or link goes; a folder that could not be read stays, and counts as a failure.
    void removeUnopened(int folder, const std::string& name, const std::string& path,
                        int openError) {
        if (openError == ENOENT) {
            return;
        }
        if (_dryRun) {
            struct stat info;
            if (fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
                return;
            }
            if (!S_ISDIR(info.st_mode)) {
                wouldRemove(path, S_ISREG(info.st_mode) ? info.st_size : 0);
                return;
            }
            keep();
            recordFailure(_result, path, openError);
            return;
        }
        if (vesk_removeAt(folder, name.c_str()) == 0 || errno == ENOENT) {
            return;
        }
        bool notEmpty = errno == ENOTEMPTY || errno == EEXIST;
        keep();
        recordFailure(_result, path, notEmpty ? openError : errno);
    }

    // After the walk has left the folder name (at path) for its parent, the open folder parent.
    void removeLeftFolder(int parent, const std::string& name, const std::string& path) {
        bool kept = _keeps.size() > 0 && _keeps.back();
        _keeps.pop_back();
        if (_dryRun) {
            if (kept) {
                keep();
            } else {
                wouldRemove(path + "/", 0);
            }
        } else if (unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0 && removalFailed(errno)) {
            keep();
            recordFailure(_result, path, errno);
        }
    }

    // The first folder, after the walk has left it.
    void removeRoot(const std::string& root) {
        bool kept = _keeps.size() > 0 && _keeps.back();
        if (_dryRun) {
            if (!kept) {
                wouldRemove(root + "/", 0);
            }
        } else if (rmdir(root.c_str()) != 0 && removalFailed(errno)) {
            recordFailure(_result, root, errno);
        }
    }

  private:
    // A folder left non-empty by a hidden folder, or by an entry already counted, is no new
    // failure.
    static bool removalFailed(int error) {
        return error != ENOENT && error != ENOTEMPTY && error != EEXIST;
    }

    void keep() {
        if (!_keeps.empty()) {
            _keeps.back() = true;
        }
    }

    void wouldRemove(const std::string& path, int64_t bytes) {
        _result->wouldRemove.push_back(path);
        _result->bytes += bytes;
    }

    bool _dryRun;
    VeskTreeRemoval* _result;
    // For each folder the walk is in: whether something in it stays.
    std::vector<bool> _keeps;
};

}  // namespace

VeskTreeRemoval vesk_removeTree(const char* path, bool dryRun) {
    VeskTreeRemoval result;
    if (!path || !*path) {
        return result;
    }
    TreeRemover remover(dryRun, &result);
    std::string root = withoutTrailingSlashes(path);
    VeskFolderWalk walk;
    if (!walk.start(path, false)) {
        remover.removeUnopened(AT_FDCWD, root, root, errno);
        return result;
    }
    remover.removeFiles(walk);
    for (;;) {
        VeskFolderWalk::Entry entry;
        if (walk.nextEntry(&entry)) {
            if (walk.enter(entry.name)) {
                remover.removeFiles(walk);
            } else {
                remover.removeUnopened(walk.fd(), entry.name, joined(walk.path(), entry.name),
                                       errno);
            }
            continue;
        }
        if (walk.depth() == 1) {
            break;
        }
        std::string done = walk.path();
        std::string name = walk.name();
        if (!walk.leave()) {
            recordFailure(&result, done, errno);
            return result;
        }
        remover.removeLeftFolder(walk.fd(), name, done);
    }
    walk.leave();
    remover.removeRoot(root);
    return result;
}
