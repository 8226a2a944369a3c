// QuadenPISSEntryList: the one list the store keeps every kind of record in — the entries of the
// settings stores and of the frame cache registry, the entries and output modules of a render
// queue item, and the nodes of the queue itself: first, last, cursor and count of a singly linked
// list in the order records were added, with the lookups, changes and line writing of the store's
// key/value entries.
//
// The records keep the product's own field order, which differs from one kind to the next, so the
// list does not know their type: an sPISSEntryLayout (one constant per kind, beside the record's
// declaration) says where a record keeps its link and, for key/value entries, its group, key,
// type and values. The store classes hand their callers the records cast back to their own type.
//
// Key/value lookups take the first entry whose key and then group equal the arguments exactly (a
// null argument matches nothing); the type is not looked at.
//
// Ownership: the list owns its records and frees them (strings included) when they are removed or
// the list is destroyed. Memory is malloc'ed; strings handed to callers are released with free().
// Threads: the list takes no lock; each store guards it as its own contract says.
#ifndef QUADEN_PISSENTRYLIST_H
#define QUADEN_PISSENTRYLIST_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Entry types of key/value records.
enum { kPISSStringEntry = 0, kPISSIntEntry = 1 };

// The longest line, its line feed not counted, that the stores' readers take whole: they read in
// pieces of 1023 characters, and each piece of a longer line is read as a line of its own.
const size_t kPISSLongestLine = 1022;

// An offset that a kind of record does not have.
const size_t kPISSNoField = static_cast<size_t>(-1);

// Where a kind of record keeps its fields: offsetof() of each, in the record's own type.
struct sPISSEntryLayout {
    size_t _next;  // the link to the following record
    // Frees a record and all it owns; null for key/value entries, which the list allocates and
    // frees itself.
    void (*_destroy)(void* record);
    // Key/value entries only (kPISSNoField for other records):
    size_t _size;    // sizeof the record
    size_t _group;   // char*, owned
    size_t _key;     // char*, owned
    size_t _string;  // char*, owned; null for an int entry or a string entry without value
    size_t _type;    // int: kPISSStringEntry or kPISSIntEntry
    size_t _int;     // int; kPISSNoField for records that hold strings only
};

// The layout of a key/value entry, which the list allocates and frees itself; number is
// kPISSNoField for entries that hold strings only.
constexpr sPISSEntryLayout PISSKeyValueLayout(size_t size, size_t next, size_t group, size_t key,
                                              size_t string, size_t type, size_t number) {
    return {next, nullptr, size, group, key, string, type, number};
}

// The layout of a record that is only linked, and freed by destroy.
constexpr sPISSEntryLayout PISSLinkedLayout(size_t next, void (*destroy)(void* record)) {
    return {next,         destroy,      kPISSNoField, kPISSNoField,
            kPISSNoField, kPISSNoField, kPISSNoField, kPISSNoField};
}

class QuadenPISSEntryList {
  public:
    // layout must outlive the list (every layout is a constant).
    explicit QuadenPISSEntryList(const sPISSEntryLayout& layout) : _layout(&layout) {}
    ~QuadenPISSEntryList() { Clear(); }
    QuadenPISSEntryList(const QuadenPISSEntryList&) = delete;
    QuadenPISSEntryList& operator=(const QuadenPISSEntryList&) = delete;

    // Frees every record: the list is empty, its cursor cleared and its count 0.
    void Clear();
    // Appends a key/value entry holding copies of group, key and string (a null string stays
    // null): 1, or 0 for a null group or key or when memory runs out.
    int Append(const char* group, const char* key, int type, const char* string, int number);
    // Appends a record made by the caller, which the list owns from then on. Null gives 0.
    int AppendRecord(void* record);

    // The first key/value entry with that group and key; null when none.
    void* Find(const char* group, const char* key) const;
    // First match: *out is a malloc'ed copy of its string value (null when it has none), 1.
    // No match: *out null, 0.
    int GetString(char** out, const char* group, const char* key) const;
    // First match: *out is its int value, 1. No match: *out 0, 0.
    int GetInt(int* out, const char* group, const char* key) const;
    // Replace the value of the first match (a string with a copy, null leaving none): 1; 0 when
    // nothing matches or memory runs out (the old value is then kept).
    int ChangeString(const char* group, const char* key, const char* value);
    int ChangeInt(const char* group, const char* key, int value);
    // Frees every entry of group, whatever its key; returns how many went.
    int RemoveGroup(const char* group);
    // Writes every entry's line in list order after indent: "group string<TAB>key value" (a
    // missing value written empty) or "group int<TAB>key number". An entry of another type stops
    // the writing: 0, with the lines before it written.
    int WriteTo(FILE* file, const char* indent) const;
    // The length of the longest line WriteTo would write (line feed not counted); 0 for none.
    // Writers refuse a list whose lines pass kPISSLongestLine: read back, such a line would come
    // as other entries (a long path cut short, its tail taken for a line of its own).
    size_t LongestLine(const char* indent) const;

    // Walking and relinking, for lists whose records move (the render queue's nodes).
    void* First() const { return _first; }
    void* Last() const { return _last; }
    void* NextOf(const void* record) const;
    // Unlinks record, which follows previous (null: record is the first); the caller owns it
    // until it is inserted again.
    void Unlink(void* record, void* previous);
    // Links record in after previous (null: at the front); the list owns it again.
    void InsertAfter(void* record, void* previous);
    // Unlinks and frees record, which follows previous.
    void Remove(void* record, void* previous);

    uint32_t Count() const { return _count; }
    // Puts the cursor on the first record: 1 when there is one, else 0.
    int Prepare();
    // The record at the cursor, which moves on; null at the end.
    void* Next();

  private:
    void** link(const void* record) const;
    void destroy(void* record) const;

    const sPISSEntryLayout* _layout;
    void* _first = nullptr;
    void* _last = nullptr;
    void* _cursor = nullptr;
    uint32_t _count = 0;
};

#endif
