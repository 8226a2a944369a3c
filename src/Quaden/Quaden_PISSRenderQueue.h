// QuadenPISSRenderQueue: the product's queue of background render jobs, "RQ.txt" in the render
// queue folder ("DirectoryLocationOfRenderQueue" of the global settings, else the default folder
// below the machine root). The folder also holds "ShadowRQ.txt" (every Commit writes it first and
// then copies it over "RQ.txt"), "RQ-History.txt" (retired jobs, appended) and the folder
// "RQProjects" with the counter "cpro2-count.cpr" for backup project names.
//
// File format: one block per item, indented by tabs exactly so (readers split on blanks and do
// not depend on it):
//   {
//   <TAB>group string<TAB>key value          (or "group int<TAB>key number")
//   <TAB>{                                   the module list, written also when empty
//   <TAB><TAB>{                              one module
//   <TAB><TAB><TAB>group string<TAB>key value
//   <TAB><TAB>}
//   <TAB>}
//   }
//
// Lifecycle: construct (builds the paths and folders), StartTransaction (loads "RQ.txt" and keeps
// it open), change the list in memory, Commit (rewrites through the shadow and lets go of the
// file), destroy. The held handle of "RQ.txt" is the queue's lock between the product's
// processes; it is a convention, not an exclusive lock: another process's StartTransaction still
// opens the file while it is held, and two processes committing at once can lose each other's
// items or leave a torn "RQ.txt" (the shadow is copied over it in place). A torn file loads with
// warnings in the log; the items read before the damage stay in the list.
//
// Files that cannot be trusted are refused, never waited on: "RQ.txt" that is not a regular file
// or is larger than kPISSRenderQueueFileMaxBytes fails StartTransaction with a warning, and the
// queue then refuses to Commit over it until a StartTransaction succeeds. A path that would be
// longer than 1023 bytes is refused with an error in the log, never cut.
//
// The reader keeps the product's quirks, which files in the field depend on:
// - An item written without modules reads back with one empty module, swallows the block after
//   it (as a module list) and, when it is the last block, is dropped. Writers always give an
//   item at least one module.
// - An unfinished last item is dropped while the load reports success.
// - Ids are the item count at the time of appending and are never renumbered: after a deletion a
//   new item can get the id of an existing one; lookups by id take the first.
//
// Ownership: the queue owns every item appended to it and frees it on deletion or destruction.
// Items handed out by the iteration and lookups stay owned by the queue.
//
// Threads: no mutex; one queue object is used by one thread at a time.
//
// Failures are logged through the product log (warnings for the reader and the lock, errors for
// construction, commit and history) and reported as 0; nothing throws.
#ifndef QUADEN_PISSRENDERQUEUE_H
#define QUADEN_PISSRENDERQUEUE_H

#include <cstdio>

#include "Quaden_PISSEntryList.h"
#include "Quaden_PISSRenderQueueItem.h"

// A node of the queue's list: the item, its id and the following node.
struct sRenderQueueNode {
    QuadenPISSRenderQueueItem* _item;
    int _id;
    sRenderQueueNode* _next;
};

class QuadenPISSRenderQueue {
  public:
    QuadenPISSRenderQueue();
    ~QuadenPISSRenderQueue();
    QuadenPISSRenderQueue(const QuadenPISSRenderQueue&) = delete;
    QuadenPISSRenderQueue& operator=(const QuadenPISSRenderQueue&) = delete;

    // Empties the list and reloads it from "RQ.txt", which stays open as the lock (a handle still
    // held from an earlier call is opened afresh, so a second call reloads the queue). A missing
    // file is created: 1 with what it holds, an empty list unless another process wrote it in
    // the meantime. 0 when it cannot be created or opened (21 attempts, 1 ms apart), is refused
    // (see above), or holds a fault (the items before it stay in the list).
    int StartTransaction();
    // Writes the list to "ShadowRQ.txt", lets go of the lock and copies the shadow over "RQ.txt"
    // in chunks of 1024 bytes. 0 when "RQ.txt" was refused by the last StartTransaction, a job has
    // a line longer than kPISSLongestLine (it would read back as other lines) or the shadow cannot
    // be written ("RQ.txt" untouched, the lock still held), or the copy breaks off ("RQ.txt"
    // partly written).
    int Commit();
    // Closes the held handle of "RQ.txt": 1 when one was open, else 0.
    int CloseFileIfOpen();

    int PrepareRenderQueueList();
    QuadenPISSRenderQueueItem* GetNextRenderQueueItemInList();
    // The item of the first node with that id; null for an id below 1 or not found.
    QuadenPISSRenderQueueItem* GetSpecificRenderQueueItemInList(int id);
    int NumberOfRenderQueueItemsInList() const { return static_cast<int>(_nodes.Count()); }

    // Takes ownership of item and appends it with id count + 1. Null gives 0.
    int AddNewRenderQueueItem(QuadenPISSRenderQueueItem* item);
    // Appends item unless an existing item has every entry of item's group with equal values
    // (an item without entries counts as a duplicate of any item). 1 when appended (the queue
    // owns it), 0 when refused (the caller keeps it). Costs one pass over every item in the
    // queue: the check that keeps a job from being queued twice.
    int AddNewRenderQueueItem(QuadenPISSRenderQueueItem* item, const char* group);
    // Remove and free the first node with that id, or the node at that 0-based position; 0 when
    // there is none.
    int DeleteRenderQueueItem(int id);
    int DeleteRenderQueueItemAtIndex(int index);
    int DeleteAllRenderQueueItems();
    // Moves the item with id from before the item with id to; to an id that no node has moves it
    // to the end. from == to and to == from + 1 change nothing. 1 on success; 0 for an id below 1
    // or no item with id from.
    int MoveRenderQueueItem(int from, int to);
    // Appends the item with that id to "RQ-History.txt" and removes that same item from the list
    // ("RQ.txt" changes at the next Commit). 0 when the history file cannot be opened or written,
    // no item has that id or the item has a line longer than kPISSLongestLine: nothing is removed
    // then.
    int MoveRenderQueueItemToHistory(int id);
    // Writes "<projects folder>CPro2BGRQProject_<n>.aep" into dst, n counting 1, 2, ... across
    // calls and processes through "cpro2-count.cpr"; a number whose backup project already exists
    // is passed over. 1 with the name, also when the counter cannot be stored (an error in the
    // log). 0, with dst empty and the counter unchanged, without a projects folder or when the
    // name would not fit dst (size - 1 characters) or a path.
    int CreateBackupProjectName(char* dst, int size);

    // The paths the queue works on (null when they could not be built).
    const char* getRenderQueueFilePath() const { return _queuePath; }
    const char* getShadowFilePath() const { return _shadowPath; }
    const char* getProjectsFolderPath() const { return _projectsPath; }

  private:
    sRenderQueueNode* findNode(int id, sRenderQueueNode** previous) const;
    int openQueueFile();
    int readItem(FILE* file, int* complete);
    int readOutputModuleList(FILE* file, QuadenPISSRenderQueueItem* item);
    int copyShadowOverQueue();
    static int isDuplicate(QuadenPISSRenderQueueItem* item, QuadenPISSRenderQueueItem* existing,
                           const char* group);

    char* _queuePath;
    FILE* _lock;
    QuadenPISSEntryList _nodes;
    char* _shadowPath;
    char* _projectsPath;
    // " \t", kept with the queue's other fields; the reader splits lines with PISSSplitStoreLine,
    // whose separators are the same.
    [[maybe_unused]] const char* _separators;
    bool _queueRefused;  // the last StartTransaction could not read "RQ.txt"
};

#endif
