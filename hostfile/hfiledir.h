/// @file
/// HFileDir: the names that match a wildcard pattern, one at a time.
#pragma once

#include "../foundation/result.h"
#include "../platform/export.h"

#include <cstdint>

/// A walk over the entries of one directory that match a pattern. Each comes out as a name that can be used as it is.
///
///     HFileDir scan;
///     char name[261];
///     for (bool more = scan.FindFirst(name, "logs/*.txt"); more; more = scan.FindNext(name)) ...
///     if (scan.Result() != resDone || scan.Skipped() > 0) ...           there is more than what came out
///
///     idle --Start--> started --FindNext--> scanning --FindNext, no more--> ended
///       ^---------------- Stop, or a first FindNext that finds nothing -------'
///
/// Patterns. Separators are '\' and '/'; the last component may hold wildcards, what stands in front of it is taken as
/// it is. A drive alone in front ("c:*") finds nothing on a system that has no drives. '*' stands for any run of bytes.
/// '?' stands for one byte that is no dot, or for nothing at the end of the name and in front of a dot. A dot that a
/// wildcard follows also stands for the end of the name, so "*.*" matches every name and "a.*" also "a". The dot of a
/// "*." that ends the pattern also stands for the end of a name without any dot. All other bytes, brackets too, stand
/// for themselves in their own case. Hidden entries match as any other, and the two that every directory has of itself,
/// "." and "..", come out where the pattern matches them.
///
/// Names. An entry that is a file which can be read comes out with its full path, if that has at most 127 characters;
/// everything else, directories above all, as the pattern's directory followed by the entry's name
/// (HFile::GetFullName). No file is opened for that. Order is the system's. An entry is passed over if its name, joined
/// to the directory, has more than 260 characters, or if it contains a '\', which would be taken for a separator;
/// Skipped tells how many were.
///
/// A pattern without wildcards is looked up and not searched for: it costs a few calls, however many entries there are,
/// and finds its file also in a directory that may be searched but not read.
///
/// Failures look like the end: no match, no such directory, no permission, trouble on the way. Result tells them apart.
/// Nothing halts.
/// Ownership: the object keeps the pattern and, while it scans, one open directory, which Stop and the destructor
/// close. Threads: no lock; one thread at a time uses an object, and objects are independent of each other. Cost: one
/// step of the directory and a few calls of the system per name; the memory does not grow with the directory.
class VFILE_API HFileDir {
  public:
    /// An idle object.
    HFileDir();

    /// An object on which Start(pattern) has been called.
    explicit HFileDir(const char* pattern);

    /// Stops.
    virtual ~HFileDir();

    HFileDir(const HFileDir&) = delete;
    HFileDir& operator=(const HFileDir&) = delete;

    /// Ends any scan and prepares one for `pattern`, without a look at the disk. With a null or empty pattern, or one
    /// of more than 260 characters, the object is idle.
    void Start(const char* pattern);

    /// Ends any scan and forgets it: the object is idle, and Count is 0.
    void Stop();

    /// Start(pattern) and the first FindNext. A null `name` ends any scan and gives false.
    bool FindFirst(char* name, const char* pattern);

    /// True with the next name in `name`, a buffer of 261 bytes; false with an empty `name` if there is none. If there
    /// is none at all, the object is idle again. A null `name` gives false and changes nothing.
    bool FindNext(char* name);

    /// How many names this scan has given. Stays after the last one, until Stop or Start.
    std::int32_t Count() const;

    /// How many entries that match this scan has passed over so far, since no name can be given to them. As Result, it
    /// stays after the last name and after a scan that found nothing, until Stop or Start.
    std::int32_t Skipped() const;

    /// Why this scan has ended before it had gone through all entries: resIllegalPath (no such directory),
    /// resNoPermission (it may not be read), resDiskParityError, ... or resIllegalName for a pattern that was too long
    /// for Start; resDone if it has gone through all, also if none matched, or has not ended yet.
    Res Result() const;

  private:
    void Init();
    bool FindEntry(char* entry);
    void CloseSearch();
    void ConstructName(char* name, const char* entry);

    std::int32_t state;       // 0 idle, 1 started, 2 scanning, 3 ended
    std::int32_t count;       // names given by this scan
    char spec[261];           // the pattern as it was given
    char dir[261];            // what stands in front of its last component; ends in a separator if not empty
    std::intptr_t findHandle; // the open directory, -1 if none
    std::int32_t skipped;     // matching entries of this scan that can't be named
    Res result;               // why this scan stopped before its end
};
