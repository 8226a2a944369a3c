// Walking down a folder tree without following links, looping or recursing, and deleting one.
//
// Users' disks hold links to folders elsewhere, trees nested thousands of levels deep and bind
// mounts of a folder inside itself. A walk built on path strings and recursion follows the link
// (and empties the folder it points to), cuts or overflows its path buffers, exhausts the stack,
// or never ends. VeskFolderWalk enters each folder relative to its parent (openat with
// O_NOFOLLOW), so no path is ever built and the depth is bounded by nothing but memory; it holds
// at most kHeldFolders descriptors and reopens an ancestor through ".." when it climbs back,
// checking device and inode, so a tree moved during the walk stops it instead of sending it
// elsewhere; a folder already on the way down is not entered again.
//
// One thread uses one walk. Nothing prints or throws: failures come back as false with errno set.
#ifndef CORVIX_RUNTIME_VESKFOLDERWALK_H
#define CORVIX_RUNTIME_VESKFOLDERWALK_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

class VeskFolderWalk {
  public:
    struct Entry {
        std::string name;
        // A real folder; a link to one is not.
        bool isFolder = false;
    };

    // Descriptors held at once; deeper ancestors are let go and reopened on the way back.
    static const size_t kHeldFolders = 64;

    VeskFolderWalk() = default;
    ~VeskFolderWalk();
    VeskFolderWalk(const VeskFolderWalk&) = delete;
    VeskFolderWalk& operator=(const VeskFolderWalk&) = delete;

    // Opens path as the first folder and lists it. Trailing slashes are ignored. Without
    // followLink, a path that is itself a link fails (ELOOP or ENOTDIR) instead of being followed.
    bool start(const std::string& path, bool followLink);

    // Enters and lists the subfolder name of the current folder, which then becomes current.
    // False when it cannot be opened, is not a folder (a link is not), or is one of the folders
    // the walk is already inside (ELOOP).
    bool enter(const std::string& name);

    // Climbs back to the parent folder. False when the parent could not be reopened as the same
    // folder (the tree was moved); the walk must then be abandoned.
    bool leave();

    // Hands out the current folder's next entry, in the order the listing gave them; false when
    // none is left (or no folder is entered).
    bool nextEntry(Entry* entry);

    // The current folder's entries not yet handed out; the caller may reorder or drop them.
    // Only while depth() > 0.
    std::vector<Entry>& pendingEntries();

    // Folders entered and not left: 0 before start() and after the first folder is left.
    size_t depth() const { return _frames.size(); }
    // The current folder's descriptor, for unlinkat and friends.
    int fd() const;
    // The current folder's name in its parent (the start path for the first folder).
    const std::string& name() const;
    // The current folder as start path and names, for messages only: it may be of any length.
    std::string path() const;

  private:
    struct Frame {
        int fd = -1;
        dev_t device = 0;
        ino_t inode = 0;
        std::string name;
        std::vector<Entry> entries;
        size_t next = 0;
    };

    bool push(int fd, const std::string& name);
    void close();

    std::vector<Frame> _frames;
    std::set<std::pair<dev_t, ino_t>> _inside;
    size_t _firstHeld = 0;
};

// What vesk_removeTree did.
struct VeskTreeRemoval {
    // Non-folder entries it tried to remove, and how many of those went.
    int attempted = 0;
    int removed = 0;
    // Entries that could not be removed or folders that could not be read, hidden folders
    // (left by design) aside; problem describes the first of them ("<path>: <reason>").
    int failed = 0;
    std::string problem;
    // A dry run's list: each entry that would go, in the order it would (a folder after what it
    // holds), and the bytes of the files among them. Empty after a real run.
    std::vector<std::string> wouldRemove;
    int64_t bytes = 0;
};

// Deletes the tree at path: in each folder every non-folder entry (files, links, hidden files)
// first, then each subfolder whose name does not begin with '.', then the folder itself. Hidden
// folders are neither entered nor removed, so the folders holding one stay. A link is removed,
// never followed, also when path itself is one (with or without a trailing slash); a path that
// is no folder is removed as it is. A missing path is no failure.
//
// With dryRun the same walk deletes nothing: each entry it would remove is counted as removed and
// listed in wouldRemove instead, and a folder is listed when nothing it holds would stay.
VeskTreeRemoval vesk_removeTree(const char* path, bool dryRun = false);

// remove(3) relative to a folder descriptor: unlinks name, or removes it as an empty folder.
// Returns 0, or -1 with errno set.
int vesk_removeAt(int folder, const char* name);

#endif
