// The edits of vfedit, each done on a content that is in a VFile. That is one of the class itself, with no operation
// overridden: then searches, lines and saves go over whole blocks instead of byte by byte.
#pragma once

#include "vfedit_args.h"
#include "vfedit_input.h"
#include "vfedit_space.h"
#include "vfedit_terminal.h"
#include "vfile/vfile.h"

#include <algorithm>
#include <cstdint>

// What the edits of a run work with.
struct Work {
    VFile& content;
    Space& space;
    Progress& progress;
    Report& report;       // what edits print
    const Output& output; // where the result will go
    const char* name;     // of IN, for messages
    const CommandLine& line;
};

// Inserts all that `input` has at `pos`; `verb` is for the progress line. False: told.
bool InsertInput(const Work& work, std::int32_t pos, Input& input, const char* verb);

constexpr int FirstPlaces = 3;
struct Done {
    std::int64_t matches = 0;          // found, replaced or patched
    std::int32_t at[FirstPlaces] = {}; // the first of them

    void Count(std::int32_t place) {
        if (matches < FirstPlaces) at[matches] = place;
        ++matches;
    }
};

// Does one edit. False: told.
bool DoEdit(const Work& work, const Edit& edit, Done& done);

// For the edits themselves.

constexpr int PieceBytes = 64 * 1024; // of one transfer
extern thread_local unsigned char piece[PieceBytes];

// What a position means now.
std::int32_t Position(const Work& work, std::int32_t position, bool fromEnd);

// The part of the content that the edit is about. False if there is none of it: told, but no failure.
bool FindRange(const Work& work, const Edit& edit, std::int32_t& from, std::int32_t& to);

// False, and told, if the result is a failure.
bool Told(const char* name, Res res);

// Goes over [from, to) and hands each piece to `use`, which returns false to stop.
template <typename Use>
bool ForEachPiece(const Work& work, std::int32_t from, std::int32_t to, Use use) {
    VFile& content = work.content;
    content.SetPos(from);
    for (std::int32_t at = from; at < to;) {
        const int n = content.ReadBytes(piece, std::min(PieceBytes, to - at));
        if (n == 0 || !use(n)) return false;
        at += n;
        work.progress.At(at);
    }
    return true;
}
