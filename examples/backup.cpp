// backup FILE: keeps a copy of FILE beside it under the next free backup extension, and lists the backups there are.
//
//   notes.txt -> notes.~xt, notes.~1t, notes.~2t, ... notes.~99
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr int NameSize = 261; // bytes of a file name, terminator included

int Fail(const char* name, Res res) {
    char words[64];
    HFile::GetResMsg(words, sizeof words, res);
    std::fprintf(stderr, "%s: %s\n", name, words);
    return 1;
}

struct FileParts {
    char drive[3], dir[256], name[256], ext[256 + 2]; // room for two digits more
};

// Copies `file` to the first backup name that is free; `backup` gets that name. A name that another process takes at
// the same moment is refused by the copy itself, and the next one is tried.
Res MakeBackup(const char* file, FileParts& parts, char* backup) {
    Res res = resAlreadyExists;
    while (res == resAlreadyExists && HFile::GetNextBackupExt(parts.ext)) {
        HFile::BuildName(backup, parts.drive, parts.dir, parts.name, parts.ext);
        HFile::Copy(file, backup, res, false);
    }
    return res;
}

void ListBackups(const FileParts& parts) {
    char pattern[NameSize];
    HFile::BuildName(pattern, parts.drive, parts.dir, parts.name, ".~*");
    HFileDir scan;
    char name[NameSize];
    int count = 0;
    for (bool more = scan.FindFirst(name, pattern); more; more = scan.FindNext(name)) {
        HFile f;
        if (HFile::IsDirectory(name) || !f.OpenSeqRead(name)) continue;
        std::printf("%11d  %s\n", static_cast<int>(f.Length()), name);
        ++count;
    }
    std::printf("%d backups\n", count);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || std::strlen(argv[1]) >= NameSize) {
        std::fprintf(stderr, "usage: backup FILE\n");
        return 2;
    }
    FileParts parts;
    HFile::SplitName(parts.drive, parts.dir, parts.name, parts.ext, argv[1]);
    char backup[NameSize];
    const Res res = MakeBackup(argv[1], parts, backup);
    if (res != resDone) return Fail(argv[1], res);
    std::printf("%s -> %s\n", argv[1], backup);
    ListBackups(parts);
    return 0;
}
